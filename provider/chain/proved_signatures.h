#ifndef QX_PROVIDER_CHAIN_PROVED_SIGNATURES_H_
#define QX_PROVIDER_CHAIN_PROVED_SIGNATURES_H_

#include <cstddef>
#include <cstdint>
#include <functional>

#include "provider/hash/hash.h"
#include "provider/store/certificate_data.h"
#include "provider/support/kept_lately.h"

namespace qx {

/// What a signature is under.
enum class SignedKind : std::uint8_t { Certificate, Crl };

/// ProvedSignatures remembers which signatures were found good, so that a list or an authority's
/// certificate that is met again is not verified again. Whether a signature is good depends on what is
/// signed and on the signer's certificate, and on nothing that may change: neither trust nor dates nor
/// revocation are remembered here. What was not good is not remembered either.
class ProvedSignatures {
 public:
  /// `capacity` is the number of signatures; the oldest makes room for the next.
  explicit ProvedSignatures(std::size_t capacity) : proved_(capacity) {}

  /// isProved tells whether `whole` (an object with its signature) was found good before under the
  /// signer's certificate.
  bool isProved(SignedKind kind, der::Bytes whole, const CertificateData& signer);

  /// note remembers that it is good.
  void note(SignedKind kind, der::Bytes whole, const CertificateData& signer);

  /// prove asks `verify` about what was not proved yet.
  bool prove(SignedKind kind,
             der::Bytes whole,
             const CertificateData& signer,
             const std::function<bool()>& verify);

  std::size_t size() { return proved_.size(); }

 private:
  static HashValue keyOf(SignedKind kind, der::Bytes whole, const CertificateData& signer);

  KeptLately<HashValue, bool> proved_;
};

/// processProvedSignatures is what everybody in this process shares.
ProvedSignatures& processProvedSignatures();

}  // namespace qx

#endif
