#ifndef QX_PROVIDER_MESSAGE_DECODED_HASHED_H_
#define QX_PROVIDER_MESSAGE_DECODED_HASHED_H_

#include <memory>

#include "provider/der/values.h"
#include "provider/message/content_info.h"
#include "provider/message/decoded.h"

namespace qx {

/// DecodedHashed is a DigestedData (RFC 5652, 7).
class DecodedHashed final : public Decoded {
 public:
  static Result<std::unique_ptr<Decoded>> open(const der::Element& bare, bool detached);

  std::string_view type() const override;
  Result<void> param(DWORD type, DWORD index, ParamOutput& output) override;

  /// CMSG_CTRL_VERIFY_HASH: CRYPT_E_HASH_VALUE when the content has another hash, or is still missing.
  Result<void> control(DWORD type, const void* para) override;
  Result<void> addContent(der::Bytes part, bool final) override;

  der::Encoding bare() const override { return der::Encoding::borrowed(whole_); }

 private:
  explicit DecodedHashed(der::Bytes whole) : whole_(whole) {}

  Result<void> readFields(der::Reader& reader);
  Result<HashValue> computeHash();

  der::Bytes whole_;
  DWORD version_ = 0;
  der::AlgorithmIdentifier algorithm_;
  ContentInfo contentInfo_;
  std::vector<std::uint8_t> hash_;
  MessageContent content_;
};

}  // namespace qx

#endif
