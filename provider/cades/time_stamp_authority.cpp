#include "provider/cades/time_stamp_authority.h"

#include <string>
#include <utility>

#include "provider/cades/oids.h"
#include "provider/chain/faults.h"
#include "provider/chain/trust_error.h"
#include "provider/store/x509_fields.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr const char* kKeyUsage = "2.5.29.15";
constexpr const char* kExtendedKeyUsage = "2.5.29.37";

// More than one would let the authority's key be used for something else, too.
bool isOneTimeStampingUsage(const CERT_EXTENSION& extension) {
  DWORD error = ERROR_SUCCESS;
  x509::Fields usages =
      x509::Fields::outermost({extension.Value.pbData, extension.Value.cbData}, error);
  const std::string usage = usages.value(der::readOid(usages.next(der::kOid)));
  usages.end();
  return error == ERROR_SUCCESS && usage == oids::kTimeStamping;
}

// digitalSignature and nonRepudiation (RFC 5280, 4.2.1.3), one of them and nothing else.
bool isForSignatures(const CERT_EXTENSION& extension) {
  constexpr unsigned kSignatures = 0xC0;
  DWORD error = ERROR_SUCCESS;
  x509::Fields outside({extension.Value.pbData, extension.Value.cbData}, error);
  const der::BitString bits = x509::readBits(outside);
  outside.end();
  const bool isShort = error == ERROR_SUCCESS && bits.octets.size() == 1;
  return isShort && (bits.octets.front() & ~kSignatures) == 0 && bits.octets.front() != 0;
}

}  // namespace

bool isTimeStampAuthority(const CertificateData& certificate) {
  const CERT_EXTENSION* extended = certificate.extension(kExtendedKeyUsage);
  const CERT_EXTENSION* usage = certificate.extension(kKeyUsage);
  return extended != nullptr && extended->fCritical != FALSE && isOneTimeStampingUsage(*extended) &&
         (usage == nullptr || isForSignatures(*usage));
}

Result<VerdictPtr> trustAuthority(const ChainQuestion& question) {
  if (!isTimeStampAuthority(*question.certificate)) {
    return fail(CERT_E_WRONG_USAGE);
  }
  Result<VerdictPtr> verdict = evaluateNow(question);
  if (!verdict) {
    return verdict;
  }
  const DWORD errors = (*verdict)->errors;
  if ((errors & kRevocationUnknown) != 0) {
    QX_TRACE("whether the time-stamp authority is revoked is not known");
  }
  const Result<void> trusted = trustError(errors & ~kRevocationUnknown);
  return trusted ? std::move(verdict) : trusted.failure();
}

Result<void> trustAuthorityAsOf(const ChainQuestion& question, std::time_t time) {
  if (!isTimeStampAuthority(*question.certificate)) {
    return fail(CERT_E_WRONG_USAGE);
  }
  const Result<VerdictPtr> verdict = evaluateAsOf(question, time);
  return verdict ? trustError((*verdict)->errors) : verdict.failure();
}

}  // namespace qx
