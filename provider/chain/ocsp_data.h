#ifndef QX_PROVIDER_CHAIN_OCSP_DATA_H_
#define QX_PROVIDER_CHAIN_OCSP_DATA_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <vector>

#include <openssl/ocsp.h>

#include "provider/der/tag.h"
#include "provider/hash/kept_hash.h"
#include "provider/result.h"
#include "provider/store/shared_objects.h"

namespace qx {

/// OcspData is one answer of a status responder, a BasicOCSPResponse (RFC 6960, 4.2.1). It never changes
/// and is shared as CrlData is. What it gives lives as long as it does.
class OcspData {
 public:
  /// The most bytes of an answer that are fetched, or read from a file; one has some thousand.
  static constexpr std::size_t kMaxSize = 1U << 20U;

  /// parse copies one DER OCSPResponse or BasicOCSPResponse and reads its head; bytes behind it are left
  /// out. The statuses and the signature are not looked at. Errors: CRYPT_E_ASN1_...;
  /// ERROR_INVALID_DATA for an OCSPResponse that is an error or of another type than basic.
  static Result<std::shared_ptr<const OcspData>> parse(der::Bytes der);

  ~OcspData();
  OcspData(const OcspData&) = delete;
  OcspData& operator=(const OcspData&) = delete;
  OcspData(OcspData&&) = delete;
  OcspData& operator=(OcspData&&) = delete;

  /// The whole BasicOCSPResponse.
  der::Bytes basic() const { return basic_; }

  /// The hash of basic(); that by one algorithm is kept.
  HashValue hash(HashAlgorithm algorithm) const { return hash_.of(algorithm, basic_); }

  /// When it was signed, in seconds since 1970, and the GeneralizedTime that says so, as it stands.
  std::time_t producedAt() const { return producedAt_; }

  der::Bytes producedAtDer() const { return producedAtDer_; }

  /// The ResponderID as it stands: [1] with a Name or [2] with the SHA-1 of a key.
  der::Bytes responderId() const { return responderId_; }

  /// SHA-1 of basic().
  const std::array<std::uint8_t, 20>& sha1() const { return sha1_; }

  /// The same answer as libcrypto sees it, decoded at the first call and kept; null when libcrypto
  /// cannot read it. The caller does not free it.
  OCSP_BASICRESP* response() const;

 private:
  explicit OcspData(der::Bytes basic) : basic_(basic.begin(), basic.end()) {}

  Result<void> readHead();

  const std::vector<std::uint8_t> basic_;
  der::Bytes responderId_;
  der::Bytes producedAtDer_;
  std::time_t producedAt_ = 0;
  std::array<std::uint8_t, 20> sha1_{};
  mutable std::atomic<OCSP_BASICRESP*> response_ = nullptr;
  KeptHash hash_;
};

using OcspPtr = std::shared_ptr<const OcspData>;

/// 200 answers of at most 16 KB.
template <>
Result<OcspPtr> parseShared(der::Bytes der);

}  // namespace qx

#endif
