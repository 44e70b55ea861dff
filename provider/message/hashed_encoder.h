#ifndef QX_PROVIDER_MESSAGE_HASHED_ENCODER_H_
#define QX_PROVIDER_MESSAGE_HASHED_ENCODER_H_

#include <memory>
#include <string>
#include <vector>

#include "provider/message/encoder.h"

namespace qx {

/// HashedEncoder makes a DigestedData (RFC 5652, 7): content, or none, and its hash.
class HashedEncoder final : public Encoder {
 public:
  /// open copies the caller's record. E_INVALIDARG, CRYPT_E_UNKNOWN_ALGO.
  static Result<std::unique_ptr<Message>> open(DWORD flags,
                                               std::string contentType,
                                               const CMSG_HASHED_ENCODE_INFO* info);

 protected:
  std::string_view type() const override;
  Result<der::Encoding> bare() override;

  std::vector<HashAlgorithm> hashAlgorithms() const override { return {hash_.algorithm}; }

  Result<void> finish() override;
  Result<void> ownParam(DWORD type, DWORD index, ParamOutput& output) override;

 private:
  HashedEncoder(DWORD flags,
                std::string contentType,
                const HashInfo& hash,
                std::vector<std::uint8_t> algorithm);

  DWORD version() const;

  const HashInfo& hash_;
  std::vector<std::uint8_t> algorithm_;  // encoded
};

}  // namespace qx

#endif
