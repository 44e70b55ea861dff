#include "provider/chain/ocsp_request.h"

#include <array>

#include "provider/openssl/encoded.h"
#include "provider/openssl/random.h"

namespace qx {
namespace {

constexpr std::size_t kOcspNonceLength = 16;
constexpr int kOtherNonce = 0;  // as OCSP_check_nonce says it

}  // namespace

Result<OcspQuery> OcspQuery::about(const CertificateData& subject, const CertificateData& issuer) {
  std::array<std::uint8_t, kOcspNonceLength> nonce{};
  if (const Result<void> filled = fillRandom(nonce); !filled) {
    return filled.failure();
  }
  OcspRequestPtr request(OCSP_REQUEST_new());
  OcspCertIdPtr id(OCSP_cert_to_id(EVP_sha1(), subject.x509(), issuer.x509()));
  if (request == nullptr || id == nullptr ||
      OCSP_request_add0_id(request.get(), id.get()) == nullptr) {
    return fail(E_OUTOFMEMORY);
  }
  // NOLINTNEXTLINE(bugprone-unused-return-value): the request owns it now
  static_cast<void>(id.release());
  if (OCSP_request_add1_nonce(request.get(), nonce.data(), kOcspNonceLength) != 1) {
    return fail(E_OUTOFMEMORY);
  }
  return OcspQuery(std::move(request));
}

std::vector<std::uint8_t> OcspQuery::der() const {
  return encodedBy<OCSP_REQUEST>(i2d_OCSP_REQUEST, request_.get());
}

bool OcspQuery::isAnsweredBy(const OcspData& answer) const {
  return answer.response() != nullptr &&
         OCSP_check_nonce(request_.get(), answer.response()) != kOtherNonce;
}

}  // namespace qx
