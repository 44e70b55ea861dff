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
    Evidence references;
    const Result<TimeStamp> stamp = stampOver(stampedBySignatureStamp(signer), [&] {
      references = referencesTo(*chain);
      return Result<void>();
    });
    if (!stamp) {
      return stamp.failure();
    }
    const Result<JudgedChain> authority = judgeAuthority(*stamp);
    if (!authority) {
      return authority.failure();
    }
    const Result<SignerInfo> complete = withReferences(signer, *stamp, references);
    return complete ? withValues(*complete, *stamp, *chain, *authority) : complete.failure();
  }

 private:
  // References or values: the attribute about certificates and the one about revocation.
  struct Evidence {
    Octets certificates;
    Octets revocation;
  };

  Result<JudgedChain> judge(CertificatePtr certificate) const {
    return judgeChain({.certificate = std::move(certificate),
                       .certificates = certificates_,
                       .crls = crls_,
                       .network = network_});
  }

  // The service has judged already. What it did not know, the message may hold.
  Result<JudgedChain> judgeAuthority(const TimeStamp& stamp) {
    if (stamp.verdict() != nullptr) {
      if (Result<JudgedChain> judged = judgedChain(*stamp.verdict())) {
        return judged;
      }
    }
    const std::vector<CertificatePtr>& others = stamp.token().certificates();
    certificates_.insert(certificates_.end(), others.begin(), others.end());
    return judge(stamp.authority());
  }

  Result<TimeStamp> stampOver(const Stamped& stamped, const Meanwhile& work) {
    return service_->stamp(hash_, imprintOf(hash_, stamped).bytes(), work);
  }

  Evidence referencesTo(const JudgedChain& chain) const {
    const std::span<const CertificatePtr> authorities = std::span(chain.certificates).subspan(1);
    return {.certificates = encodeCertificateRefs(hash_, authorities),
            .revocation = encodeRevocationRefs(hash_, chain.evidence)};
  }

  // CAdES-C (RFC 5126, 4.4.2).
  static Result<SignerInfo> withReferences(const SignerInfo& signer,
                                           const TimeStamp& stamp,
                                           const Evidence& references) {
    const Octets stampAttribute =
        *encodeAttribute(oids::kSignatureTimeStamp, {stamp.token().encoded()});
    return signer.withAdded({stampAttribute, references.certificates, references.revocation});
  }

  // The first stamp's signature is verified while the second one is on its way. A hash of it has left by then, to
  // the authority that made it; when it is bad nothing else does.
  Result<SignerInfo> withValues(const SignerInfo& signer,
                                const TimeStamp& first,
                                const JudgedChain& chain,
                                const JudgedChain& authority) {
    const Result<Stamped> stamped = stampedByCadesCStamp(signer);
    if (!stamped) {
      return stamped.failure();
    }
    Evidence values;
    Result<void> isSigned = fail(TRUST_E_TIME_STAMP);
    const Result<TimeStamp> second = stampOver(*stamped, [&] {
      values = valuesOf(chain, authority);
      isSigned = first.verifySignature();
      return isSigned;
    });
    if (!second) {
      return second.failure();
    }
    if (isSigned) {
      isSigned = second->verifySignature();
    }
    if (!isSigned) {
      return isSigned.failure();
    }
    const Octets stampAttribute =
        *encodeAttribute(oids::kCadesCTimeStamp, {second->token().encoded()});
    return signer.withAdded({values.certificates, values.revocation, stampAttribute});
  }

  static Evidence valuesOf(const JudgedChain& chain, const JudgedChain& authority) {
    std::vector<CertificatePtr> certificates = chain.certificates;
    certificates.insert(
        certificates.end(), authority.certificates.begin(), authority.certificates.end());
    std::vector<RevocationEvidence> evidence = chain.evidence;
    evidence.insert(evidence.end(), authority.evidence.begin(), authority.evidence.end());
    return {.certificates = encodeCertificateValues(certificates),
            .revocation = encodeRevocationValues(evidence)};
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
