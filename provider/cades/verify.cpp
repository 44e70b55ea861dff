#include "provider/cades/verify.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "provider/cades/chain_finding.h"
#include "provider/cades/material.h"
#include "provider/cades/named_signer.h"
#include "provider/cades/oids.h"
#include "provider/cades/referenced_data.h"
#include "provider/cades/stamp_check.h"
#include "provider/cades/time_stamp_authority.h"
#include "provider/cades/validation_data.h"
#include "provider/chain/evaluate.h"
#include "provider/message/known_certificate.h"
#include "provider/message/verify.h"

namespace qx {
namespace {

// What the signer claims; a malformed claim is none.
std::optional<FILETIME> signingTimeOf(const SignerInfo& signer) {
  const Attribute* attribute = findAttribute(signer.signedAttributes(), oids::kSigningTime);
  if (attribute == nullptr || attribute->values.size() != 1) {
    return std::nullopt;
  }
  const Result<der::Element> value = der::Reader(attribute->values.front()).next();
  const Result<FILETIME> time = value ? der::readTime(*value) : value.failure();
  return time ? std::optional(*time) : std::nullopt;
}

template <class T>
void append(std::vector<T>& all, std::span<const T> more) {
  all.insert(all.end(), more.begin(), more.end());
}

template <class Pointer>
void appendIfAny(std::vector<Pointer>& all, const Pointer& one) {
  if (one != nullptr) {
    all.push_back(one);
  }
}

// The steps of a verification, in their order.
class Verification {
 public:
  Verification(DecodedSigned& message, const SignerInfo& signer)
      : message_(message),
        signer_(signer),
        certificates_(certificatesOf(message.data().certificates())),
        crls_(crlsOf(message.data().crls())) {}

  ~Verification() = default;
  Verification(const Verification&) = delete;
  Verification& operator=(const Verification&) = delete;
  Verification(Verification&&) = delete;
  Verification& operator=(Verification&&) = delete;

  CadesVerification run();

 private:
  Finding findCertificate();
  Finding checkSignature();
  Finding readUnsigned();
  Finding proveSignatureStamps();
  Finding proveCadesCStamps();
  Finding checkReferences();
  Finding trustStamps();
  Finding checkChain();

  Result<void> trust(const ProvedStamp& stamp, std::optional<std::time_t> time) const;
  Finding chainNow() const;
  Finding chainAtStamp() const;
  Finding chainByReferences() const;
  Finding judgeAtStamp(const ChainQuestion& question) const;
  Finding judge(const Result<VerdictPtr>& verdict) const;

  DecodedSigned& message_;
  const SignerInfo& signer_;
  // What may stand between a certificate and its root, and what the message says about revocation.
  std::vector<CertificatePtr> certificates_;
  std::vector<CrlPtr> crls_;
  ValidationData data_;
  ProvedStamps signatureStamps_;
  ProvedStamps cadesCStamps_;
  ReferencedData referenced_;
  CadesVerification result_;
};

Finding Verification::findCertificate() {
  append<CertificatePtr>(certificates_, carriedCertificates(signer_));
  if (CertificatePtr known = knownCertificate(signer_.id(), {"Addressbook", "My"})) {
    certificates_.push_back(std::move(known));
  }
  const Result<CertificatePtr> named = findNamedSigner(signer_, certificates_);
  if (!named) {
    result_.signer = findSigner(signer_, certificates_);
    return {CADES_STATUS_NO_SIGNER_CERT, named.error()};
  }
  result_.signer = *named;
  return {};
}

Finding Verification::checkSignature() {
  const std::string& contentType = message_.data().contentInfo().type;
  if (const Result<void> type = checkContentType(signer_, contentType); !type) {
    return {CADES_STATUS_CONTENT_TYPE, type.error()};
  }
  const Result<void> good =
      verifyByCertificate(signer_, contentType, message_.content(), *result_.signer);
  return good ? Finding{} : Finding{CADES_STATUS_SIGNATURE, good.error()};
}

Finding Verification::readUnsigned() {
  return readValidationData(signer_, data_);
}

Finding Verification::proveSignatureStamps() {
  Result<ProvedStamps> proved =
      proveStamps(data_.signatureStamps, stampedBySignatureStamp(signer_), certificates_);
  if (!proved) {
    return {CADES_STATUS_SIGNATURE_STAMP, proved.error()};
  }
  signatureStamps_ = *std::move(proved);
  return {};
}

Finding Verification::proveCadesCStamps() {
  if (data_.cadesCStamps.empty()) {
    return {};
  }
  const Result<Stamped> covered = stampedByCadesCStamp(signer_);
  if (!covered) {
    return {CADES_STATUS_CADES_C_STAMP, covered.error()};
  }
  Result<ProvedStamps> proved = proveStamps(data_.cadesCStamps, *covered, certificates_);
  if (!proved) {
    return {CADES_STATUS_CADES_C_STAMP, proved.error()};
  }
  cadesCStamps_ = *std::move(proved);
  for (const ProvedStamp& stamp : signatureStamps_) {
    if (!canFollow(*earliest(cadesCStamps_).token, *stamp.token)) {
      return {CADES_STATUS_CADES_C_STAMP, TRUST_E_TIME_STAMP};
    }
  }
  return {};
}

Finding Verification::checkReferences() {
  if (!data_.isLong) {
    return {};
  }
  Result<ReferencedData> found = findReferenced(data_, certificates_, crls_);
  if (!found) {
    return {CADES_STATUS_REFERENCES, found.error()};
  }
  referenced_ = *std::move(found);
  return {};
}

// Now, or as of a past time. What a stamp carries itself is as good as what the signature does.
Result<void> Verification::trust(const ProvedStamp& stamp, std::optional<std::time_t> time) const {
  std::vector<CertificatePtr> certificates = certificates_;
  append<CertificatePtr>(certificates, stamp.token->certificates());
  std::vector<CrlPtr> crls = crls_;
  append<CrlPtr>(crls, data_.crls);
  append<CrlPtr>(crls, crlsOf(stamp.token->signedData().crls()));
  const ChainQuestion question{.certificate = stamp.authority,
                               .certificates = certificates,
                               .crls = crls,
                               .ocsp = data_.ocsp,
                               .online = !data_.isLong};
  if (time) {
    return trustAuthorityAsOf(question, *time);
  }
  const Result<VerdictPtr> now = trustAuthority(question);
  return now ? Result<void>{} : now.failure();
}

// A stamp is vouched for by the one over it; for the latest nothing does, so it has to hold now.
Finding Verification::trustStamps() {
  std::optional<std::time_t> time;
  for (const ProvedStamp& stamp : cadesCStamps_) {
    if (const Result<void> trusted = trust(stamp, std::nullopt); !trusted) {
      return {CADES_STATUS_CADES_C_STAMP, trusted.error()};
    }
    time = earliest(cadesCStamps_).seconds();
  }
  for (const ProvedStamp& stamp : signatureStamps_) {
    if (const Result<void> trusted = trust(stamp, time); !trusted) {
      return {CADES_STATUS_SIGNATURE_STAMP, trusted.error()};
    }
    result_.stampTime = earliest(signatureStamps_).token->info().time;
  }
  return {};
}

Finding Verification::checkChain() {
  if (data_.isLong) {
    return chainByReferences();
  }
  return signatureStamps_.empty() ? chainNow() : chainAtStamp();
}

Finding Verification::chainNow() const {
  return judge(
      evaluateNow({.certificate = result_.signer, .certificates = certificates_, .crls = crls_}));
}

// What is known today about revocation decides, but of the stamp's time: it is collected first.
Finding Verification::chainAtStamp() const {
  ChainQuestion question{
      .certificate = result_.signer, .certificates = certificates_, .crls = crls_};
  const Result<VerdictPtr> today = evaluateNow(question);
  if (!today) {
    return {CADES_STATUS_NO_CHAIN, today.error()};
  }
  std::vector<CrlPtr> crls = crls_;
  std::vector<OcspPtr> ocsp;
  for (const ChainElement& element : (*today)->elements) {
    appendIfAny(crls, element.evidence.crl);
    appendIfAny(ocsp, element.evidence.ocsp);
  }
  question.crls = crls;
  question.ocsp = ocsp;
  return judgeAtStamp(question);
}

// By what is referenced and nothing else: the CAdES-C stamp covers the references, not the values.
Finding Verification::chainByReferences() const {
  return judgeAtStamp({.certificate = result_.signer,
                       .certificates = referenced_.certificates,
                       .crls = referenced_.crls,
                       .ocsp = referenced_.ocsp});
}

Finding Verification::judgeAtStamp(const ChainQuestion& question) const {
  return judge(evaluateAsOf(question, earliest(signatureStamps_).seconds()));
}

Finding Verification::judge(const Result<VerdictPtr>& verdict) const {
  if (!verdict) {
    return {CADES_STATUS_NO_CHAIN, verdict.error()};
  }
  const Finding finding = findingOf(**verdict);
  const bool isForbidden = finding.isGood() && !allowsChain(signer_, (*verdict)->elements);
  return isForbidden ? Finding{CADES_STATUS_NO_CHAIN, CERT_E_CHAINING} : finding;
}

CadesVerification Verification::run() {
  result_.signingTime = signingTimeOf(signer_);
  for (const auto step : {&Verification::findCertificate,
                          &Verification::checkSignature,
                          &Verification::readUnsigned,
                          &Verification::proveSignatureStamps,
                          &Verification::proveCadesCStamps,
                          &Verification::checkReferences,
                          &Verification::trustStamps,
                          &Verification::checkChain}) {
    result_.finding = (this->*step)();
    if (!result_.finding.isGood()) {
      break;
    }
  }
  return std::move(result_);
}

}  // namespace

CadesVerification verifyCades(DecodedSigned& message, const SignerInfo& signer) {
  return Verification(message, signer).run();
}

}  // namespace qx
