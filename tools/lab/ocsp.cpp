#include "tools/lab/ocsp.h"

#include <ctime>
#include <utility>

#include <openssl/ocsp.h>

#include "tools/lab/certificate.h"
#include "tools/lab/encode.h"
#include "tools/lab/error.h"

namespace qx::lab {
namespace {

using BasicPtr = OpensslOwner<OCSP_BASICRESP, OCSP_BASICRESP_free>;
using ResponsePtr = OpensslOwner<OCSP_RESPONSE, OCSP_RESPONSE_free>;
using OcspRequestPtr = OpensslOwner<OCSP_REQUEST, OCSP_REQUEST_free>;
using CertIdPtr = OpensslOwner<OCSP_CERTID, OCSP_CERTID_free>;
using OctetStringPtr = OpensslOwner<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;

Asn1TimePtr timeAt(std::chrono::seconds offset) {
  return owned<Asn1TimePtr>(
      ASN1_GENERALIZEDTIME_adj(
          nullptr, std::time(nullptr), /*offset_day=*/0, static_cast<long>(offset.count())),
      "time");
}

CertIdPtr readCertId(const Bytes& der) {
  auto id = decode<CertIdPtr>(d2i_OCSP_CERTID, der);
  if (id == nullptr) {
    throwError("this is no CertID");
  }
  return id;
}

int statusNumber(OcspStatus status) {
  switch (status) {
    case OcspStatus::Good:
      return V_OCSP_CERTSTATUS_GOOD;
    case OcspStatus::Revoked:
      return V_OCSP_CERTSTATUS_REVOKED;
    case OcspStatus::Unknown:
      break;
  }
  return V_OCSP_CERTSTATUS_UNKNOWN;
}

void add(OCSP_BASICRESP* basic, const OcspEntry& entry) {
  const CertIdPtr id = readCertId(entry.certId);
  const Asn1TimePtr revokedAt = timeAt(entry.revokedAt);
  const Asn1TimePtr thisUpdate = timeAt(entry.thisUpdate);
  const Asn1TimePtr nextUpdate = entry.nextUpdate ? timeAt(*entry.nextUpdate) : Asn1TimePtr();
  if (OCSP_basic_add1_status(basic,
                             id.get(),
                             statusNumber(entry.status),
                             entry.reason,
                             revokedAt.get(),
                             thisUpdate.get(),
                             nextUpdate.get()) == nullptr) {
    throwError("OCSP status");
  }
}

// The signer writes the present time or leaves what is there, which nothing else can write.
void setProducedAt(OCSP_BASICRESP* basic, std::chrono::seconds offset) {
  auto* time = const_cast<ASN1_GENERALIZEDTIME*>(  // NOLINT(cppcoreguidelines-pro-type-const-cast)
      OCSP_resp_get0_produced_at(basic));
  if (ASN1_GENERALIZEDTIME_adj(
          time, std::time(nullptr), /*offset_day=*/0, static_cast<long>(offset.count())) ==
      nullptr) {
    throwError("producedAt");
  }
}

void addNonce(OCSP_BASICRESP* basic, Bytes nonce) {
  if (!nonce.empty()) {
    check(OCSP_basic_add1_nonce(basic, nonce.data(), static_cast<int>(nonce.size())), "nonce");
  }
}

BasicPtr makeBasic(const OcspResponder& responder,
                   const std::vector<OcspEntry>& entries,
                   const OcspOptions& options) {
  auto basic = owned<BasicPtr>(OCSP_BASICRESP_new(), "OCSP answer");
  for (const OcspEntry& entry : entries) {
    add(basic.get(), entry);
  }
  addNonce(basic.get(), options.nonce);
  setProducedAt(basic.get(), options.producedAt);
  auto others = owned<X509BorrowedStackPtr>(sk_X509_new_null(), "certificates");
  for (X509* other : options.others) {
    check(sk_X509_push(others.get(), other), "certificates");
  }
  const unsigned long flags = OCSP_NOTIME | (options.certificate ? 0UL : OCSP_NOCERTS) |
                              (options.byKey ? OCSP_RESPID_KEY : 0UL);
  check(OCSP_basic_sign(basic.get(),
                        responder.certificate(),
                        responder.key(),
                        digestFor(options.digest, responder.key()),
                        others.get(),
                        flags),
        "signing an OCSP answer");
  return basic;
}

std::string hexSerial(OCSP_CERTID* id) {
  ASN1_INTEGER* serial = nullptr;
  check(OCSP_id_get0_info(nullptr, nullptr, nullptr, &serial, id), "CertID");
  const auto number = owned<BigNumPtr>(ASN1_INTEGER_to_BN(serial, nullptr), "serial number");
  const OpensslOwner<char, freeOpensslMemory> hex(BN_bn2hex(number.get()));
  return hex == nullptr ? std::string() : std::string(hex.get());
}

// The extension's value is an OCTET STRING in an OCTET STRING.
Bytes readNonce(OCSP_REQUEST* request) {
  const int at = OCSP_REQUEST_get_ext_by_NID(request, NID_id_pkix_OCSP_Nonce, /*lastpos=*/-1);
  if (at < 0) {
    return {};
  }
  const ASN1_OCTET_STRING* value = X509_EXTENSION_get_data(OCSP_REQUEST_get_ext(request, at));
  const unsigned char* octets = ASN1_STRING_get0_data(value);
  const auto nonce = decode<OctetStringPtr>(d2i_ASN1_OCTET_STRING,
                                            Bytes(octets, octets + ASN1_STRING_length(value)));
  if (nonce == nullptr) {
    throwError("nonce");
  }
  const unsigned char* inner = ASN1_STRING_get0_data(nonce.get());
  return {inner, inner + ASN1_STRING_length(nonce.get())};
}

X509Ptr shared(X509* certificate) {
  check(X509_up_ref(certificate), "certificate");
  return X509Ptr(certificate);
}

EvpPkeyPtr shared(EVP_PKEY* key) {
  check(EVP_PKEY_up_ref(key), "key");
  return EvpPkeyPtr(key);
}

}  // namespace

Bytes ocspCertId(const X509* certificate, const X509* issuer, int digest) {
  const auto id = owned<CertIdPtr>(
      OCSP_cert_to_id(digestFor(digest, /*key=*/nullptr), certificate, issuer), "CertID");
  return encode<OCSP_CERTID>(i2d_OCSP_CERTID, id.get(), "CertID");
}

OcspQuery readOcspQuery(const Bytes& request) {
  const auto read = decode<OcspRequestPtr>(d2i_OCSP_REQUEST, request);
  if (read == nullptr) {
    throwError("this is no OCSP request");
  }
  OcspQuery query;
  for (int i = 0; i < OCSP_request_onereq_count(read.get()); ++i) {
    OCSP_CERTID* id = OCSP_onereq_get0_id(OCSP_request_onereq_get0(read.get(), i));
    query.wanted.push_back(
        {.certId = encode<OCSP_CERTID>(i2d_OCSP_CERTID, id, "CertID"), .serial = hexSerial(id)});
  }
  query.nonce = readNonce(read.get());
  return query;
}

bool isIssuerOf(const Bytes& certId, const X509* issuer) {
  const CertIdPtr id = readCertId(certId);
  ASN1_OBJECT* digest = nullptr;
  check(OCSP_id_get0_info(nullptr, &digest, nullptr, nullptr, id.get()), "CertID");
  const EVP_MD* method = EVP_get_digestbyobj(digest);
  if (method == nullptr) {
    return false;
  }
  const auto own = owned<CertIdPtr>(OCSP_cert_id_new(method,
                                                     X509_get_subject_name(issuer),
                                                     X509_get0_pubkey_bitstr(issuer),
                                                     /*serialNumber=*/nullptr),
                                    "CertID");
  return OCSP_id_issuer_cmp(id.get(), own.get()) == 0;
}

OcspResponder::OcspResponder(EvpPkeyPtr key, X509Ptr certificate)
    : key_(std::move(key)), certificate_(std::move(certificate)) {}

OcspResponder OcspResponder::issuedBy(const Authority& issuer,
                                      KeyKind kind,
                                      CertificateOptions options) {
  if (options.subject.empty()) {
    options.subject = {{.type = "CN", .value = "OCSP"}};
  }
  if (options.keyUsage.empty()) {
    options.keyUsage = "digitalSignature";
  }
  if (options.extendedKeyUsage.empty()) {
    options.extendedKeyUsage = "OCSPSigning";
  }
  if (options.extensions.empty()) {
    options.extensions = {{.name = "noCheck", .value = "ignored"}};
  }
  EvpPkeyPtr key = generateKey(kind);
  X509Ptr certificate = issuer.issue(key.get(), options);
  return {std::move(key), std::move(certificate)};
}

OcspResponder OcspResponder::of(const Authority& issuer) {
  return {shared(issuer.key()), shared(issuer.certificate())};
}

Bytes OcspResponder::basic(const std::vector<OcspEntry>& entries,
                           const OcspOptions& options) const {
  const BasicPtr made = makeBasic(*this, entries, options);
  return encode<OCSP_BASICRESP>(i2d_OCSP_BASICRESP, made.get(), "OCSP answer");
}

Bytes OcspResponder::response(const std::vector<OcspEntry>& entries,
                              const OcspOptions& options) const {
  const BasicPtr made = makeBasic(*this, entries, options);
  const auto whole = owned<ResponsePtr>(
      OCSP_response_create(OCSP_RESPONSE_STATUS_SUCCESSFUL, made.get()), "OCSP answer");
  return encode<OCSP_RESPONSE>(i2d_OCSP_RESPONSE, whole.get(), "OCSP answer");
}

Bytes ocspError(int status) {
  const auto whole = owned<ResponsePtr>(OCSP_response_create(status, nullptr), "OCSP answer");
  return encode<OCSP_RESPONSE>(i2d_OCSP_RESPONSE, whole.get(), "OCSP answer");
}

}  // namespace qx::lab
