#include "provider/chain/proved_signatures.h"

#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::size_t kRemembered = 4000;

}  // namespace

// Both parts are whole DER objects, which say themselves where they end.
HashValue ProvedSignatures::keyOf(SignedKind kind,
                                  der::Bytes whole,
                                  const CertificateData& signer) {
  const auto tag = static_cast<std::uint8_t>(kind);
  Hasher hasher(HashAlgorithm::Sha256);
  hasher.update({&tag, sizeof tag});
  hasher.update(signer.der());
  hasher.update(whole);
  return hasher.finish();
}

bool ProvedSignatures::isProved(SignedKind kind, der::Bytes whole, const CertificateData& signer) {
  return proved_.find(keyOf(kind, whole, signer)).has_value();
}

void ProvedSignatures::note(SignedKind kind, der::Bytes whole, const CertificateData& signer) {
  proved_.keep(keyOf(kind, whole, signer), true);
}

bool ProvedSignatures::prove(SignedKind kind,
                             der::Bytes whole,
                             const CertificateData& signer,
                             const std::function<bool()>& verify) {
  const HashValue key = keyOf(kind, whole, signer);
  if (proved_.find(key)) {
    return true;
  }
  const bool isGood = verify();
  if (isGood) {
    proved_.keep(key, true);
  }
  return isGood;
}

ProvedSignatures& processProvedSignatures() {
  static auto& proved = untilUnload(std::make_unique<ProvedSignatures>(kRemembered));
  return proved;
}

}  // namespace qx
