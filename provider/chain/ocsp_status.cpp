#include "provider/chain/ocsp_status.h"

#include <algorithm>
#include <string_view>

#include <openssl/ocsp.h>
#include <openssl/x509v3.h>

#include "provider/chain/dotted.h"
#include "provider/chain/revoked_at.h"
#include "provider/chain/time_window.h"
#include "provider/hash/hash.h"

namespace qx {
namespace {

// Answers are about one certificate, or a few; who wants us to work for ever names more.
constexpr int kMaxStatuses = 1000;

der::Bytes bytesOf(const ASN1_STRING* string) {
  return {ASN1_STRING_get0_data(string), static_cast<std::size_t>(ASN1_STRING_length(string))};
}

const HashInfo* hashNamedBy(const ASN1_OBJECT* oid) {
  return hashByOid(dotted(oid));
}

bool isHashOf(const ASN1_OCTET_STRING* hash, HashAlgorithm algorithm, der::Bytes content) {
  return std::ranges::equal(bytesOf(hash), hashOf(algorithm, content).bytes());
}

/// The status is that of the certificate with this serial number, of the authority with this name and
/// key (RFC 6960, 4.1.1).
bool isAbout(OCSP_SINGLERESP* status,
             const CertificateData& subject,
             const CertificateData& issuer) {
  ASN1_OCTET_STRING* nameHash = nullptr;
  ASN1_OBJECT* hashOid = nullptr;
  ASN1_OCTET_STRING* keyHash = nullptr;
  ASN1_INTEGER* serial = nullptr;
  OCSP_id_get0_info(&nameHash,
                    &hashOid,
                    &keyHash,
                    &serial,
                    // NOLINTNEXTLINE(*-const-cast): it is only read
                    const_cast<OCSP_CERTID*>(OCSP_SINGLERESP_get0_id(status)));
  if (ASN1_INTEGER_cmp(serial, X509_get0_serialNumber(subject.x509())) != 0) {
    return false;
  }
  const HashInfo* hash = hashNamedBy(hashOid);
  const CERT_NAME_BLOB& name = subject.info().Issuer;
  return hash != nullptr && isHashOf(nameHash, hash->algorithm, {name.pbData, name.cbData}) &&
         isHashOf(keyHash, hash->algorithm, issuer.publicKeyBits());
}

OCSP_SINGLERESP* statusAbout(OCSP_BASICRESP* answer,
                             const CertificateData& subject,
                             const CertificateData& issuer) {
  const int count = std::min(OCSP_resp_count(answer), kMaxStatuses);
  for (int i = 0; i < count; ++i) {
    if (OCSP_SINGLERESP* status = OCSP_resp_get0(answer, i); isAbout(status, subject, issuer)) {
      return status;
    }
  }
  return nullptr;
}

// The nonce alone may be critical: who asked compares it.
bool isUnderstood(OCSP_BASICRESP* answer, OCSP_SINGLERESP* status) {
  int i = -1;
  while ((i = OCSP_BASICRESP_get_ext_by_critical(answer, 1, i)) >= 0) {
    const X509_EXTENSION* extension = OCSP_BASICRESP_get_ext(answer, i);
    // NOLINTNEXTLINE(*-const-cast): it is only read
    if (OBJ_obj2nid(X509_EXTENSION_get_object(const_cast<X509_EXTENSION*>(extension))) !=
        NID_id_pkix_OCSP_Nonce) {
      return false;
    }
  }
  return OCSP_SINGLERESP_get_ext_by_critical(status, 1, -1) < 0;
}

}  // namespace

std::optional<Statement> readAnswer(const OcspPtr& answer,
                                    const CertificateData& subject,
                                    const CertificateData& issuer,
                                    const RevocationMoment& moment) {
  OCSP_BASICRESP* response = answer->response();
  OCSP_SINGLERESP* status = response == nullptr ? nullptr : statusAbout(response, subject, issuer);
  if (status == nullptr) {
    return std::nullopt;
  }
  ASN1_GENERALIZEDTIME* revokedAt = nullptr;
  ASN1_GENERALIZEDTIME* thisUpdate = nullptr;
  ASN1_GENERALIZEDTIME* nextUpdate = nullptr;
  const int kind = OCSP_single_get0_status(status, nullptr, &revokedAt, &thisUpdate, &nextUpdate);
  const std::optional<std::time_t> begin = secondsOf(thisUpdate);
  const std::optional<std::time_t> end = secondsOf(nextUpdate);
  const bool isKnown = kind == V_OCSP_CERTSTATUS_GOOD || kind == V_OCSP_CERTSTATUS_REVOKED;
  if (!isKnown || !begin || (nextUpdate != nullptr && !end)) {
    return std::nullopt;
  }
  const UpdatePeriod period{.begin = *begin, .end = end.value_or(*begin + kClockSkew)};
  return Statement{
      .period = period,
      .reliable = period.holdsFor(moment, kClockSkew) && isUnderstood(response, status),
      .revoked = kind == V_OCSP_CERTSTATUS_REVOKED &&
                 (!moment.asOf ||
                  isRevokedAt(*moment.asOf, revokedAt, status, OCSP_SINGLERESP_get1_ext_d2i)),
      .evidence = {.crl = nullptr, .ocsp = answer}};
}

}  // namespace qx
