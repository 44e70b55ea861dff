#include "provider/cades/named_signer.h"

#include <algorithm>

#include "platform/cert_chain.h"

#include "provider/cades/ess.h"
#include "provider/message/known_certificate.h"
#include "provider/message/verify.h"

namespace qx {

CertificatePtr findSigner(const SignerInfo& signer, std::span<const CertificatePtr> candidates) {
  const auto found = std::ranges::find_if(candidates, [&signer](const CertificatePtr& candidate) {
    return isNamedBy(*candidate, signer.id());
  });
  return found == candidates.end() ? nullptr : *found;
}

bool isNamedSigner(const CertificateData& certificate,
                   const SignerInfo& signer,
                   std::span<const CertificateRef> refs) {
  return isNamedBy(certificate, signer.id()) &&
         std::ranges::all_of(refs,
                             [&](const CertificateRef& ref) { return ref.matches(certificate); });
}

Result<CertificatePtr> findNamedSigner(const SignerInfo& signer,
                                       std::span<const CertificatePtr> candidates) {
  const Result<std::vector<CertificateRef>> refs = signerCertificateRefs(signer.signedAttributes());
  if (!refs) {
    return refs.failure();
  }
  const auto found = std::ranges::find_if(candidates, [&](const CertificatePtr& candidate) {
    return isNamedSigner(*candidate, signer, *refs);
  });
  return found == candidates.end() ? fail(CRYPT_E_SIGNER_NOT_FOUND)
                                   : Result<CertificatePtr>(*found);
}

namespace {

bool allowsChain(const std::vector<CertificateRef>& named, const std::vector<ChainElement>& chain) {
  return named.size() == 1 || std::ranges::all_of(chain, [&named](const ChainElement& element) {
           return (element.info & CERT_TRUST_IS_SELF_SIGNED) != 0 ||
                  std::ranges::any_of(named, [&element](const CertificateRef& ref) {
                    return ref.matches(*element.certificate);
                  });
         });
}

}  // namespace

bool allowsChain(const SignerInfo& signer, const std::vector<ChainElement>& chain) {
  return std::ranges::all_of(signer.signedAttributes(), [&chain](const Attribute& attribute) {
    const Result<std::vector<CertificateRef>> named = readSigningCertificate(attribute);
    return !named || allowsChain(*named, chain);
  });
}

Result<void> verifyByCertificate(const SignerInfo& signer,
                                 std::string_view contentType,
                                 MessageContent& content,
                                 const CertificateData& certificate) {
  const Result<PublicKeyPtr> key = sharedPublicKey(certificate.spki());
  return key ? verifySigner(signer, contentType, content, **key) : key.failure();
}

}  // namespace qx
