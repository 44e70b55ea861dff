#include "tools/qxprovider/issuers.h"

#include <algorithm>

#include <openssl/x509v3.h>

#include "provider/chain/signature_length.h"
#include "provider/chain/weak_digest.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"

namespace qx::admin {
namespace {

// Longer chains are mistakes: authorities that certify each other.
constexpr std::size_t kMaxChain = 16;

bool isSignedBy(X509* certificate, X509* issuer) {
  EVP_PKEY* key = X509_get0_pubkey(issuer);
  return key != nullptr && X509_check_issued(issuer, certificate) == X509_V_OK &&
         X509_verify(certificate, key) == 1;
}

}  // namespace

CertificatePtr issuerOf(const CertificateData& certificate, const TrustSource& trust) {
  const ErrorQueueGuard queue;
  X509* const x509 = certificate.x509();
  if (!gostEngine() || x509 == nullptr || hasWeakSignature(x509) ||
      hasSignatureOfWrongLength(x509)) {
    return nullptr;
  }
  const auto candidates = trust.withSubject(X509_get_issuer_name(x509));
  const auto found = std::ranges::find_if(candidates, [x509](const CertificatePtr& candidate) {
    return candidate->x509() != nullptr && isSignedBy(x509, candidate->x509());
  });
  return found == candidates.end() ? nullptr : *found;
}

std::vector<CertificatePtr> issuersOf(const CertificateData& certificate,
                                      const TrustSource& trust) {
  std::vector<CertificatePtr> chain;
  const CertificateData* last = &certificate;
  while (chain.size() < kMaxChain) {
    const CertificatePtr issuer = issuerOf(*last, trust);
    if (issuer == nullptr || sameCertificate(*issuer, *last)) {
      break;
    }
    chain.push_back(issuer);
    last = issuer.get();
  }
  return chain;
}

}  // namespace qx::admin
