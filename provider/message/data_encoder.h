#ifndef QX_PROVIDER_MESSAGE_DATA_ENCODER_H_
#define QX_PROVIDER_MESSAGE_DATA_ENCODER_H_

#include <memory>
#include <vector>

#include "provider/message/encoder.h"

namespace qx {

/// DataEncoder makes a message of type data: octets in a ContentInfo, nothing else.
class DataEncoder final : public Encoder {
 public:
  /// open: `info` must be null (E_INVALIDARG).
  static Result<std::unique_ptr<Message>> open(DWORD flags, const void* info);

 protected:
  std::string_view type() const override;
  Result<der::Encoding> bare() override;

  std::vector<HashAlgorithm> hashAlgorithms() const override { return {}; }

  Result<void> finish() override { return {}; }

  DWORD refusalOfParts() const override { return refusal_; }

  Result<void> ownParam(DWORD type, DWORD index, ParamOutput& output) override;

 private:
  explicit DataEncoder(DWORD flags);

  DWORD refusal_;
};

}  // namespace qx

#endif
