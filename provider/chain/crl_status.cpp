#include "provider/chain/crl_status.h"

#include <openssl/x509v3.h>

#include "provider/chain/crl_scope.h"
#include "provider/chain/revoked_at.h"
#include "provider/chain/signature_length.h"
#include "provider/chain/weak_digest.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr int kRemovedFromCrl = 2;  // as X509_CRL_get0_by_cert says it

bool isProcessed(X509_EXTENSION* extension) {
  const int kind = OBJ_obj2nid(X509_EXTENSION_get_object(extension));
  return kind == NID_issuing_distribution_point || kind == NID_authority_key_identifier;
}

// A critical extension of one entry may change what other entries mean (RFC 5280, 5.3).
bool isUnderstood(X509_CRL* crl) {
  int i = -1;
  while ((i = X509_CRL_get_ext_by_critical(crl, 1, i)) >= 0) {
    if (!isProcessed(X509_CRL_get_ext(crl, i))) {
      return false;
    }
  }
  const STACK_OF(X509_REVOKED)* entries = X509_CRL_get_REVOKED(crl);
  for (int entry = 0; entry < sk_X509_REVOKED_num(entries); ++entry) {
    if (X509_REVOKED_get_ext_by_critical(sk_X509_REVOKED_value(entries, entry), 1, -1) >= 0) {
      return false;
    }
  }
  return true;
}

std::optional<UpdatePeriod> periodOf(const X509_CRL* crl) {
  const std::optional<std::time_t> begin = secondsOf(X509_CRL_get0_lastUpdate(crl));
  const std::optional<std::time_t> end = secondsOf(X509_CRL_get0_nextUpdate(crl));
  if (!begin || (!end && X509_CRL_get0_nextUpdate(crl) != nullptr)) {
    return std::nullopt;
  }
  return UpdatePeriod{.begin = *begin, .end = end.value_or(UpdatePeriod().end)};
}

bool isRevokedIn(X509_CRL* crl, X509* subject, const RevocationMoment& moment) {
  X509_REVOKED* entry = nullptr;
  const int found = X509_CRL_get0_by_cert(crl, &entry, subject);
  return found != 0 && found != kRemovedFromCrl &&
         (!moment.asOf || isRevokedAt<const X509_REVOKED>(*moment.asOf,
                                                          X509_REVOKED_get0_revocationDate(entry),
                                                          entry,
                                                          X509_REVOKED_get_ext_d2i));
}

}  // namespace

std::optional<Statement> readCrl(const CrlPtr& crl,
                                 const CertificateData& subject,
                                 const RevocationMoment& moment) {
  if (crl->crl() == nullptr) {
    return std::nullopt;
  }
  const std::optional<UpdatePeriod> period = periodOf(crl->crl());
  const char* const refusal = period ? whyNotAbout(*crl, subject) : "its dates cannot be read";
  if (!period || refusal != nullptr) {
    QX_TRACE("a CRL is not used: %s", refusal);
    return std::nullopt;
  }
  return Statement{.period = *period,
                   .reliable = period->holdsFor(moment) && isUnderstood(crl->crl()),
                   .revoked = isRevokedIn(crl->crl(), subject.x509(), moment),
                   .evidence = {.crl = crl, .ocsp = nullptr}};
}

bool isSignedBy(const CrlData& crl, const CertificateData& issuer) {
  EVP_PKEY* key = X509_get0_pubkey(issuer.x509());
  return key != nullptr && !hasWeakSignature(crl.crl()) && !hasSignatureOfWrongLength(crl.crl()) &&
         (X509_get_key_usage(issuer.x509()) & KU_CRL_SIGN) != 0 &&
         X509_CRL_verify(crl.crl(), key) == 1;
}

}  // namespace qx
