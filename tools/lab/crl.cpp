#include <string>
#include <vector>

#include <openssl/x509v3.h>

#include "tools/lab/certificate.h"
#include "tools/lab/error.h"
#include "tools/lab/extension.h"
#include "tools/lab/pki.h"

namespace qx::lab {
namespace {

void addExtensions(X509_CRL* crl, const CrlOptions& options, X509* issuer) {
  ExtensionMaker maker(issuer, /*subject=*/nullptr, crl);
  std::vector<Extension> extensions = options.extensions;
  if (options.keyIdentifier) {
    extensions.push_back({.name = "authorityKeyIdentifier", .value = "keyid"});
  }
  for (const auto& [name, value] : extensions) {
    const X509ExtensionPtr extension = maker.make(name, value);
    check(X509_CRL_add_ext(crl, extension.get(), /*loc=*/-1), name.c_str());
  }
}

void addNumber(X509_CRL* crl, std::uint64_t number) {
  const auto value = owned<Asn1IntegerPtr>(ASN1_INTEGER_new(), "CRL number");
  check(ASN1_INTEGER_set_uint64(value.get(), number), "CRL number");
  check(X509_CRL_add1_ext_i2d(crl, NID_crl_number, value.get(), /*crit=*/0, X509V3_ADD_DEFAULT),
        "CRL number");
}

void setReason(X509_REVOKED* row, int reason) {
  const OpensslOwner<ASN1_ENUMERATED, ASN1_ENUMERATED_free> value(ASN1_ENUMERATED_new());
  check(ASN1_ENUMERATED_set(value.get(), reason), "reason");
  check(X509_REVOKED_add1_ext_i2d(row, NID_crl_reason, value.get(), /*crit=*/0, X509V3_ADD_DEFAULT),
        "reason");
}

void addRevoked(X509_CRL* crl, const RevokedEntry& entry) {
  auto row = owned<X509RevokedPtr>(X509_REVOKED_new(), "revoked certificate");
  const Asn1IntegerPtr serial = serialFromHex(entry.serial);
  const auto when = owned<Asn1TimePtr>(ASN1_TIME_new(), "time");
  setOffset(when.get(), entry.when);
  check(X509_REVOKED_set_serialNumber(row.get(), serial.get()), "serial number");
  check(X509_REVOKED_set_revocationDate(row.get(), when.get()), "revocation date");
  if (entry.reason >= 0) {
    setReason(row.get(), entry.reason);
  }
  check(X509_CRL_add0_revoked(crl, row.get()), "revoked certificate");
  static_cast<void>(row.release());  // NOLINT(bugprone-unused-return-value): the list owns it now.
}

void setTimes(X509_CRL* crl, const CrlOptions& options) {
  const auto time = owned<Asn1TimePtr>(ASN1_TIME_new(), "time");
  setOffset(time.get(), options.thisUpdate);
  check(X509_CRL_set1_lastUpdate(crl, time.get()), "thisUpdate");
  if (options.hasNextUpdate) {
    setOffset(time.get(), options.nextUpdate);
    check(X509_CRL_set1_nextUpdate(crl, time.get()), "nextUpdate");
  }
}

}  // namespace

X509CrlPtr Authority::crl(const CrlOptions& options) const {
  auto crl = owned<X509CrlPtr>(X509_CRL_new(), "CRL");
  check(X509_CRL_set_version(crl.get(), X509_CRL_VERSION_2), "version");
  check(X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(certificate())), "issuer");
  setTimes(crl.get(), options);
  for (const RevokedEntry& entry : options.revoked) {
    addRevoked(crl.get(), entry);
  }
  addNumber(crl.get(), options.number);
  addExtensions(crl.get(), options, certificate());
  check(X509_CRL_sort(crl.get()), "CRL");
  check(X509_CRL_sign(crl.get(), key(), digestFor(options.digest, key())), "signing a CRL");
  return crl;
}

}  // namespace qx::lab
