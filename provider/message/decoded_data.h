#ifndef QX_PROVIDER_MESSAGE_DECODED_DATA_H_
#define QX_PROVIDER_MESSAGE_DECODED_DATA_H_

#include <memory>

#include "provider/message/content.h"
#include "provider/message/decoded.h"

namespace qx {

/// DecodedData is a message of type data.
class DecodedData final : public Decoded {
 public:
  static Result<std::unique_ptr<Decoded>> open(const der::Element& bare, bool detached);

  std::string_view type() const override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;
  Result<void> control(DWORD type, const void* para) override;
  Result<void> addContent(der::Bytes part, bool final) override;

  der::Encoding bare() const override { return der::Encoding::borrowed(whole_); }

 private:
  explicit DecodedData(der::Bytes whole) : whole_(whole) {}

  der::Bytes whole_;
  MessageContent content_;
};

}  // namespace qx

#endif
