#include "provider/cades/enhance.h"

#include <span>
#include <utility>
#include <vector>

#include "provider/cades/ess.h"
#include "provider/cades/imprint.h"
#include "provider/cades/judged_chain.h"
#include "provider/cades/material.h"
#include "provider/cades/oids.h"
#include "provider/cades/references.h"
#include "provider/cades/signature_kind.h"
#include "provider/cades/signer_certificate.h"
#include "provider/cades/values.h"

namespace qx {
namespace {

using Octets = std::vector<std::uint8_t>;

// Stamps and references outlive the signature's own hash when that is a weak one.
Result<HashAlgorithm> lastingHash(const SignerInfo& signer) {
  const HashInfo* hash = trustedHash(signer.hashAlgorithm().oid);
  if (hash == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  return hash->algorithm == HashAlgorithm::Sha1 ? HashAlgorithm::Sha256 : hash->algorithm;
}

// Enhancement is the work on one signer.
class Enhancement {
 public:
  Enhancement(const SignedData& message,
              HashAlgorithm hash,
              TimeStampService& service,
              Network& network)
      : certificates_(certificatesOf(message.certificates())),
        crls_(crlsOf(message.crls())),
        hash_(hash),
        service_(&service),
        network_(&network) {}

  Result<SignerInfo> run(const SignerInfo& signer, CertificatePtr certificate) {
    // Judged first: who is not trusted needs no time stamp.
    const Result<JudgedChain> chain = judge(std::move(certificate));
    if (!chain) {
      return chain.failure();
    }
    const Result<TimeStamp> stamp = stampOver(stampedBySignatureStamp(signer));
    if (!stamp) {
      return stamp.failure();
    }
    const Result<JudgedChain> authority = judgeAuthority(*stamp);
    if (!authority) {
      return authority.failure();
    }
    const Result<SignerInfo> complete = withReferences(signer, stamp->token, *chain);
    return complete ? withValues(*complete, *chain, *authority) : complete.failure();
  }

 private:
  Result<JudgedChain> judge(CertificatePtr certificate) const {
    return judgeChain({.certificate = std::move(certificate),
                       .certificates = certificates_,
                       .crls = crls_,
                       .network = network_});
  }

  // The service has judged already. What it did not know, the message may hold.
  Result<JudgedChain> judgeAuthority(const TimeStamp& stamp) {
    if (stamp.verdict != nullptr) {
      if (Result<JudgedChain> judged = judgedChain(*stamp.verdict)) {
        return judged;
      }
    }
    certificates_.insert(certificates_.end(), stamp.certificates.begin(), stamp.certificates.end());
    return judge(stamp.authority);
  }

  Result<TimeStamp> stampOver(const Stamped& stamped) {
    return service_->stamp(hash_, imprintOf(hash_, stamped).bytes());
  }

  // CAdES-C (RFC 5126, 4.4.2).
  Result<SignerInfo> withReferences(const SignerInfo& signer,
                                    der::Bytes stamp,
                                    const JudgedChain& chain) const {
    const Octets stampAttribute = *encodeAttribute(oids::kSignatureTimeStamp, {stamp});
    const std::span<const CertificatePtr> authorities = std::span(chain.certificates).subspan(1);
    const Octets certificates = encodeCertificateRefs(hash_, authorities);
    const Octets revocation = encodeRevocationRefs(hash_, chain.evidence);
    return signer.withAdded({stampAttribute, certificates, revocation});
  }

  Result<SignerInfo> withValues(const SignerInfo& signer,
                                const JudgedChain& chain,
                                const JudgedChain& authority) {
    const Result<Stamped> stamped = stampedByCadesCStamp(signer);
    if (!stamped) {
      return stamped.failure();
    }
    const Result<TimeStamp> stamp = stampOver(*stamped);
    if (!stamp) {
      return stamp.failure();
    }
    std::vector<CertificatePtr> certificates = chain.certificates;
    certificates.insert(
        certificates.end(), authority.certificates.begin(), authority.certificates.end());
    std::vector<RevocationEvidence> evidence = chain.evidence;
    evidence.insert(evidence.end(), authority.evidence.begin(), authority.evidence.end());
    const Octets certificateValues = encodeCertificateValues(certificates);
    const Octets revocationValues = encodeRevocationValues(evidence);
    const Octets stampAttribute = *encodeAttribute(oids::kCadesCTimeStamp, {stamp->token});
    return signer.withAdded({certificateValues, revocationValues, stampAttribute});
  }

  std::vector<CertificatePtr> certificates_;
  std::vector<CrlPtr> crls_;
  HashAlgorithm hash_;
  TimeStampService* service_;
  Network* network_;
};

}  // namespace

Result<SignerInfo> enhancedSigner(const SignedData& message,
                                  const SignerInfo& signer,
                                  CertificatePtr certificate,
                                  TimeStampService& service,
                                  Network& network) {
  if (isEnhanced(signer)) {
    return fail(CRYPT_E_EXISTS);
  }
  const Result<HashAlgorithm> hash = lastingHash(signer);
  if (!hash) {
    return hash.failure();
  }
  if (certificate == nullptr) {
    Result<CertificatePtr> found = signerCertificate(message, signer);
    if (!found) {
      return found.failure();
    }
    certificate = *std::move(found);
  }
  return Enhancement(message, *hash, service, network).run(signer, std::move(certificate));
}

Result<void> enhance(SignedData& message, std::size_t index, TimeStampService& service) {
  const Result<const SignerInfo*> signer = message.signer(index);
  if (!signer) {
    return signer.failure();
  }
  if (isXLongType1(**signer)) {
    return {};
  }
  Network network;
  Result<SignerInfo> enhanced =
      enhancedSigner(message, **signer, /*certificate=*/nullptr, service, network);
  if (!enhanced) {
    return enhanced.failure();
  }
  message.replaceSigner(index, *std::move(enhanced));
  return {};
}

Result<void> enhanceAll(SignedData& message, TimeStampService& service) {
  Network network;  // one for all, so that many signers do not take many times as long
  std::vector<std::pair<std::size_t, SignerInfo>> enhanced;
  for (std::size_t i = 0; i < message.signers().size(); ++i) {
    const SignerInfo& signer = message.signers()[i];
    if (isXLongType1(signer)) {
      continue;
    }
    Result<SignerInfo> one =
        enhancedSigner(message, signer, /*certificate=*/nullptr, service, network);
    if (!one) {
      return one.failure();
    }
    enhanced.emplace_back(i, *std::move(one));
  }
  for (auto& [index, signer] : enhanced) {
    message.replaceSigner(index, std::move(signer));
  }
  return {};
}

}  // namespace qx
