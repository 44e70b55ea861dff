#include "tools/lab/time_stamp.h"

#include <utility>

#include <openssl/cms.h>
#include <openssl/ess.h>
#include <openssl/ts.h>

#include "provider/der/writer.h"
#include "tools/lab/certificate.h"
#include "tools/lab/encode.h"
#include "tools/lab/error.h"

namespace qx::lab {
namespace {

constexpr int kTokenSerialBits = 63;
constexpr unsigned kTokenFlags =
    CMS_BINARY | CMS_PARTIAL | CMS_NOSMIMECAP | CMS_NOCERTS;  // NOLINT(hicpp-signed-bitwise)

using CmsPtr = OpensslOwner<CMS_ContentInfo, CMS_ContentInfo_free>;
using TstInfoPtr = OpensslOwner<TS_TST_INFO, TS_TST_INFO_free>;
using ImprintPtr = OpensslOwner<TS_MSG_IMPRINT, TS_MSG_IMPRINT_free>;
using AccuracyPtr = OpensslOwner<TS_ACCURACY, TS_ACCURACY_free>;
using StampRequestPtr = OpensslOwner<TS_REQ, TS_REQ_free>;
using EssPtr = OpensslOwner<ESS_SIGNING_CERT, ESS_SIGNING_CERT_free>;
using EssV2Ptr = OpensslOwner<ESS_SIGNING_CERT_V2, ESS_SIGNING_CERT_V2_free>;

Asn1IntegerPtr integerOf(const Bytes& magnitude) {
  const auto number = owned<BigNumPtr>(
      BN_bin2bn(magnitude.data(), static_cast<int>(magnitude.size()), nullptr), "number");
  return owned<Asn1IntegerPtr>(BN_to_ASN1_INTEGER(number.get(), nullptr), "number");
}

Bytes magnitudeOf(const ASN1_INTEGER* integer) {
  const auto number = owned<BigNumPtr>(ASN1_INTEGER_to_BN(integer, nullptr), "number");
  Bytes bytes(static_cast<std::size_t>(BN_num_bytes(number.get())));
  BN_bn2bin(number.get(), bytes.data());
  return bytes;
}

void setImprint(TS_TST_INFO* info, const Imprint& imprint) {
  const auto made = owned<ImprintPtr>(TS_MSG_IMPRINT_new(), "imprint");
  const auto algorithm = owned<X509AlgorPtr>(X509_ALGOR_new(), "imprint");
  Bytes hash = imprint.hash;
  check(X509_ALGOR_set0(algorithm.get(),
                        OBJ_nid2obj(imprint.digest),
                        imprint.nullParameters ? V_ASN1_NULL : V_ASN1_UNDEF,
                        nullptr),
        "imprint");
  check(TS_MSG_IMPRINT_set_algo(made.get(), algorithm.get()), "imprint");
  check(TS_MSG_IMPRINT_set_msg(made.get(), hash.data(), static_cast<int>(hash.size())), "imprint");
  check(TS_TST_INFO_set_msg_imprint(info, made.get()), "imprint");
}

void setSerial(TS_TST_INFO* info) {
  const auto number = owned<BigNumPtr>(BN_new(), "serial number");
  check(BN_rand(number.get(), kTokenSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY),
        "serial number");
  const auto serial =
      owned<Asn1IntegerPtr>(BN_to_ASN1_INTEGER(number.get(), nullptr), "serial number");
  check(TS_TST_INFO_set_serial(info, serial.get()), "serial number");
}

void setTime(TS_TST_INFO* info, std::chrono::seconds offset) {
  const Asn1TimePtr time(ASN1_GENERALIZEDTIME_adj(
      nullptr, std::time(nullptr), /*offset_day=*/0, static_cast<long>(offset.count())));
  check(TS_TST_INFO_set_time(info, time.get()), "genTime");
}

void setAccuracy(TS_TST_INFO* info, int seconds) {
  const auto accuracy = owned<AccuracyPtr>(TS_ACCURACY_new(), "accuracy");
  const auto value = owned<Asn1IntegerPtr>(ASN1_INTEGER_new(), "accuracy");
  check(ASN1_INTEGER_set(value.get(), seconds), "accuracy");
  check(TS_ACCURACY_set_seconds(accuracy.get(), value.get()), "accuracy");
  check(TS_TST_INFO_set_accuracy(info, accuracy.get()), "accuracy");
}

Bytes makeInfo(const Imprint& imprint, const Bytes& nonce, const TimeStampOptions& options) {
  const auto info = owned<TstInfoPtr>(TS_TST_INFO_new(), "TSTInfo");
  const auto policy =
      owned<Asn1ObjectPtr>(OBJ_txt2obj(options.policy.c_str(), /*no_name=*/1), "time-stamp policy");
  check(TS_TST_INFO_set_version(info.get(), 1), "TSTInfo");
  check(TS_TST_INFO_set_policy_id(info.get(), policy.get()), "time-stamp policy");
  setImprint(info.get(), imprint);
  setSerial(info.get());
  setTime(info.get(), options.offset);
  if (options.accuracySeconds > 0) {
    setAccuracy(info.get(), options.accuracySeconds);
  }
  if (!nonce.empty()) {
    const Asn1IntegerPtr number = integerOf(nonce);
    check(TS_TST_INFO_set_nonce(info.get(), number.get()), "nonce");
  }
  return encode<TS_TST_INFO>(i2d_TS_TST_INFO, info.get(), "TSTInfo");
}

void addEss(CMS_SignerInfo* signer, int nid, const Bytes& value) {
  check(CMS_signed_add1_attr_by_NID(
            signer, nid, V_ASN1_SEQUENCE, value.data(), static_cast<int>(value.size())),
        "signing certificate");
}

void addEss(CMS_SignerInfo* signer, EssAttribute kind, X509* certificate, const EVP_MD* digest) {
  if (kind == EssAttribute::V1) {
    const auto made = owned<EssPtr>(
        OSSL_ESS_signing_cert_new_init(certificate, /*certs=*/nullptr, /*set_issuer_serial=*/1),
        "signing certificate");
    addEss(signer,
           NID_id_smime_aa_signingCertificate,
           encode<ESS_SIGNING_CERT>(i2d_ESS_SIGNING_CERT, made.get(), "signing certificate"));
  }
  if (kind == EssAttribute::V2) {
    const auto made =
        owned<EssV2Ptr>(OSSL_ESS_signing_cert_v2_new_init(
                            digest, certificate, /*certs=*/nullptr, /*set_issuer_serial=*/1),
                        "signing certificate");
    addEss(signer,
           NID_id_smime_aa_signingCertificateV2,
           encode<ESS_SIGNING_CERT_V2>(i2d_ESS_SIGNING_CERT_V2, made.get(), "signing certificate"));
  }
}

Imprint changed(Imprint imprint) {
  imprint.hash.back() ^= 1U;
  return imprint;
}

Bytes changed(Bytes nonce) {
  nonce.back() ^= 1U;
  return nonce;
}

}  // namespace

Imprint imprintOf(int digest, const Bytes& bytes) {
  const EVP_MD* method = digestFor(digest, /*key=*/nullptr);
  Bytes hash(static_cast<std::size_t>(EVP_MD_get_size(method)));
  check(EVP_Digest(bytes.data(), bytes.size(), hash.data(), nullptr, method, nullptr), "hash");
  return {.digest = digest, .hash = std::move(hash)};
}

TimeStampQuery readTimeStampQuery(const Bytes& request) {
  const auto read = decode<StampRequestPtr>(d2i_TS_REQ, request);
  if (read == nullptr) {
    throwError("this is no time-stamp request");
  }
  TS_MSG_IMPRINT* imprint = TS_REQ_get_msg_imprint(read.get());
  const ASN1_OBJECT* digest = nullptr;
  int parameters = V_ASN1_UNDEF;
  X509_ALGOR_get0(&digest, &parameters, nullptr, TS_MSG_IMPRINT_get_algo(imprint));
  const ASN1_OCTET_STRING* hash = TS_MSG_IMPRINT_get_msg(imprint);
  const unsigned char* octets = ASN1_STRING_get0_data(hash);
  TimeStampQuery query{.imprint = {.digest = OBJ_obj2nid(digest),
                                   .hash = {octets, octets + ASN1_STRING_length(hash)},
                                   .nullParameters = parameters == V_ASN1_NULL},
                       .nonce = {},
                       .certificate = TS_REQ_get_cert_req(read.get()) != 0};
  if (const ASN1_INTEGER* nonce = TS_REQ_get_nonce(read.get()); nonce != nullptr) {
    query.nonce = magnitudeOf(nonce);
  }
  return query;
}

TimeStampAuthority::TimeStampAuthority(EvpPkeyPtr key, X509Ptr certificate)
    : key_(std::move(key)), certificate_(std::move(certificate)) {}

TimeStampAuthority TimeStampAuthority::issuedBy(const Authority& issuer,
                                                KeyKind kind,
                                                CertificateOptions options) {
  if (options.subject.empty()) {
    options.subject = {{.type = "CN", .value = "Time Stamps"}};
  }
  if (options.keyUsage.empty()) {
    options.keyUsage = "digitalSignature";
  }
  if (options.extendedKeyUsage.empty()) {
    options.extendedKeyUsage = "critical,timeStamping";
  }
  EvpPkeyPtr key = generateKey(kind);
  X509Ptr certificate = issuer.issue(key.get(), options);
  return {std::move(key), std::move(certificate)};
}

// libcrypto's own time-stamp signer takes its time, digests and policies from a configuration and
// refuses what is wrong on purpose: the token is put together here instead.
Bytes TimeStampAuthority::token(const Imprint& imprint,
                                const Bytes& nonce,
                                const TimeStampOptions& options) const {
  const Bytes info = makeInfo(imprint, nonce, options);
  const EVP_MD* digest = digestFor(options.digest, key());
  const auto content =
      owned<BioPtr>(BIO_new_mem_buf(info.data(), static_cast<int>(info.size())), "TSTInfo");
  const auto cms =
      owned<CmsPtr>(CMS_sign(nullptr, nullptr, nullptr, nullptr, kTokenFlags), "token");
  check(CMS_set1_eContentType(cms.get(), OBJ_nid2obj(NID_id_smime_ct_TSTInfo)), "token");
  CMS_SignerInfo* signer = CMS_add1_signer(cms.get(), certificate(), key(), digest, kTokenFlags);
  if (signer == nullptr) {
    throwError("the time-stamp authority's certificate cannot sign");
  }
  addEss(signer,
         options.ess,
         options.essCertificate == nullptr ? certificate() : options.essCertificate,
         digest);
  if (options.certificate.value_or(true)) {
    check(CMS_add1_cert(cms.get(), certificate()), "certificates");
  }
  for (X509* other : options.others) {
    check(CMS_add1_cert(cms.get(), other), "certificates");
  }
  check(CMS_final(cms.get(), content.get(), nullptr, CMS_BINARY), "signing a time stamp");
  return encode<CMS_ContentInfo>(i2d_CMS_ContentInfo, cms.get(), "token");
}

Bytes TimeStampAuthority::answer(const Bytes& request, const TimeStampOptions& options) const {
  const auto read = decode<StampRequestPtr>(d2i_TS_REQ, request);
  if (read == nullptr) {
    return timeStampResponse(TimeStampStatus::Rejection, {});
  }
  const TimeStampQuery query = readTimeStampQuery(request);
  TimeStampOptions chosen = options;
  chosen.certificate = options.certificate.value_or(query.certificate);
  const bool otherNonce = options.wrongNonce && !query.nonce.empty();
  return timeStampResponse(TimeStampStatus::Granted,
                           token(options.wrongImprint ? changed(query.imprint) : query.imprint,
                                 otherNonce ? changed(query.nonce) : query.nonce,
                                 chosen));
}

Bytes timeStampResponse(TimeStampStatus status, const Bytes& token) {
  return der::sequence(der::sequence(der::integer(static_cast<std::uint8_t>(status))),
                       der::Encoding::borrowed(token))
      .bytes();
}

}  // namespace qx::lab
