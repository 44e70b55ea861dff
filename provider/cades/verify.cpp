#include "provider/cades/verify.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "provider/cades/chain_finding.h"
#include "provider/cades/named_signer.h"
#include "provider/cades/oids.h"
#include "provider/chain/evaluate.h"
#include "provider/message/known_certificate.h"
#include "provider/message/verify.h"

namespace qx {
namespace {

std::vector<CrlPtr> crlsOf(const CertificateSet& set) {
  std::vector<CrlPtr> crls;
  for (std::size_t i = 0; i < set.size(); ++i) {
    if (const auto crl = CrlData::parse(*set.at(i))) {
      crls.push_back(*crl);
    }
  }
  return crls;
}

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

// The steps of a verification, in their order.
class Verification {
 public:
  Verification(DecodedSigned& message, const SignerInfo& signer)
      : message_(message),
        signer_(signer),
        certificates_(certificatesOf(message.data().certificates())),
        crls_(crlsOf(message.data().crls())) {}

  CadesVerification run();

 private:
  Finding findCertificate();
  Finding checkSignature();
  Finding checkChain();

  DecodedSigned& message_;
  const SignerInfo& signer_;
  std::vector<CertificatePtr> certificates_;
  std::vector<CrlPtr> crls_;
  CadesVerification result_;
};

Finding Verification::findCertificate() {
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

Finding Verification::checkChain() {
  const Result<VerdictPtr> verdict =
      evaluateNow({.certificate = result_.signer, .certificates = certificates_, .crls = crls_});
  return verdict ? findingOf(**verdict) : Finding{CADES_STATUS_NO_CHAIN, verdict.error()};
}

CadesVerification Verification::run() {
  result_.signingTime = signingTimeOf(signer_);
  for (const auto step :
       {&Verification::findCertificate, &Verification::checkSignature, &Verification::checkChain}) {
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
