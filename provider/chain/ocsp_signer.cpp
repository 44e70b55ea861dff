#include "provider/chain/ocsp_signer.h"

#include <algorithm>
#include <vector>

#include <openssl/x509v3.h>

#include "provider/chain/path_search.h"
#include "provider/chain/signature_length.h"
#include "provider/chain/weak_digest.h"
#include "provider/hash/hash.h"
#include "provider/openssl/encoded.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

// An answer carries its responder's certificate, perhaps a chain. Who wants us to work for ever has
// more.
constexpr std::size_t kMaxCarried = 16;
constexpr std::size_t kMaxSearched = 200;
constexpr std::size_t kMaxTried = 4;  // of one name: a responder's old and new certificate

/// How an answer names its responder.
class ResponderName {
 public:
  explicit ResponderName(const OCSP_BASICRESP* answer) {
    OCSP_resp_get0_id(answer, &keyHash_, &name_);
  }

  bool fits(const CertificateData& certificate) const {
    if (certificate.x509() == nullptr) {
      return false;
    }
    return name_ != nullptr
               ? X509_NAME_cmp(name_, X509_get_subject_name(certificate.x509())) == 0
               : std::ranges::equal(
                     der::Bytes(ASN1_STRING_get0_data(keyHash_),
                                static_cast<std::size_t>(ASN1_STRING_length(keyHash_))),
                     hashOf(HashAlgorithm::Sha1, certificate.publicKeyBits()).bytes());
  }

 private:
  const ASN1_OCTET_STRING* keyHash_ = nullptr;
  const X509_NAME* name_ = nullptr;
};

CertificatePtr copyOf(const X509* certificate) {
  const Result<CertificatePtr> copy = CertificateData::parse(encodedBy(i2d_X509, certificate));
  return copy ? *copy : nullptr;
}

/// The certificates in the answer, decoded as all others are.
std::vector<CertificatePtr> carriedBy(const OCSP_BASICRESP* answer) {
  std::vector<CertificatePtr> certificates;
  const STACK_OF(X509)* stack = OCSP_resp_get0_certs(answer);
  const auto count =
      std::min(static_cast<std::size_t>(std::max(0, sk_X509_num(stack))), kMaxCarried);
  for (std::size_t i = 0; i < count; ++i) {
    if (CertificatePtr copy = copyOf(sk_X509_value(stack, static_cast<int>(i))); copy != nullptr) {
      certificates.push_back(std::move(copy));
    }
  }
  return certificates;
}

bool isSignedBy(const OCSP_BASICRESP* answer, const CertificateData& signer) {
  EVP_PKEY* key = X509_get0_pubkey(signer.x509());
  if (key == nullptr || hasWeakSignature(answer) || hasSignatureOfWrongLength(answer)) {
    return false;
  }
  const EvpMdCtxPtr context(EVP_MD_CTX_new());
  const EvpPkeyCtxPtr operation(EVP_PKEY_CTX_new_from_pkey(libraryContext(), key, nullptr));
  if (context == nullptr || operation == nullptr) {
    throw std::bad_alloc();
  }
  EVP_MD_CTX_set_pkey_ctx(context.get(), operation.get());
  return ASN1_item_verify_ctx(ASN1_ITEM_rptr(OCSP_RESPDATA),
                              OCSP_resp_get0_tbs_sigalg(answer),
                              OCSP_resp_get0_signature(answer),
                              OCSP_resp_get0_respdata(answer),
                              context.get()) == 1;
}

bool isCertifiedBy(const CertificateData& responder, const CertificateData& issuer) {
  return X509_check_issued(issuer.x509(), responder.x509()) == X509_V_OK &&
         !hasWeakSignature(responder.x509()) && !hasSignatureOfWrongLength(responder.x509()) &&
         X509_get0_pubkey(issuer.x509()) != nullptr &&
         X509_verify(responder.x509(), X509_get0_pubkey(issuer.x509())) == 1;
}

// The usage must be named: "any usage" makes nobody a responder.
bool isResponder(X509* certificate) {
  constexpr std::uint32_t kUnreadable = EXFLAG_INVALID | EXFLAG_CRITICAL;
  const std::uint32_t flags = X509_get_extension_flags(certificate);
  return (flags & kUnreadable) == 0 && (flags & EXFLAG_XKUSAGE) != 0 &&
         (X509_get_extended_key_usage(certificate) & XKU_OCSP_SIGN) != 0;
}

bool has(const X509* certificate, int extension) {
  return X509_get_ext_by_NID(certificate, extension, -1) >= 0;
}

const char* whyNotHeard(const CertificateData& responder,
                        const CertificateData& issuer,
                        const OcspSignerRules& rules) {
  const X509* certificate = responder.x509();
  if (!isResponder(responder.x509())) {
    return "is no responder";
  }
  if (!isValidAt(responder, rules.time)) {
    return "is out of its time";
  }
  if (!isCertifiedBy(responder, issuer)) {
    return "is of another issuer";
  }
  if (has(certificate, NID_id_pkix_OCSP_noCheck)) {
    return nullptr;
  }
  if (has(certificate, NID_crl_distribution_points) || has(certificate, NID_info_access)) {
    return "would have to be looked up itself";
  }
  return rules.isRevoked(responder) ? "is revoked" : nullptr;
}

}  // namespace

bool isSignedFor(const OcspData& answer,
                 const CertificateData& issuer,
                 const OcspSignerRules& rules) {
  const OCSP_BASICRESP* response = answer.response();
  const ResponderName name(response);
  if (name.fits(issuer) && isSignedBy(response, issuer)) {
    return true;
  }
  std::vector<CertificatePtr> candidates = carriedBy(response);
  const auto searched = rules.certificates.first(std::min(rules.certificates.size(), kMaxSearched));
  candidates.insert(candidates.end(), searched.begin(), searched.end());
  const char* refusal = "is not found, or did not sign it";
  std::size_t tried = 0;
  const bool isHeard = std::ranges::any_of(candidates, [&](const CertificatePtr& candidate) {
    const bool isSigner =
        name.fits(*candidate) && ++tried <= kMaxTried && isSignedBy(response, *candidate);
    refusal = isSigner ? whyNotHeard(*candidate, issuer, rules) : refusal;
    return isSigner && refusal == nullptr;
  });
  if (!isHeard) {
    QX_TRACE("an OCSP answer is not used: its signer %s", refusal);
  }
  return isHeard;
}

}  // namespace qx
