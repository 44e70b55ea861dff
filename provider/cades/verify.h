#ifndef QX_PROVIDER_CADES_VERIFY_H_
#define QX_PROVIDER_CADES_VERIFY_H_

#include <optional>

#include "provider/cades/finding.h"
#include "provider/chain/name_index.h"
#include "provider/message/decoded_signed.h"

namespace qx {

/// CadesVerification is what was found out about one signature.
struct CadesVerification {
  Finding finding;
  /// The one that the signer names, as far as it was found; null else.
  CertificatePtr signer;
  /// What the signer says himself.
  std::optional<FILETIME> signingTime;
  /// The earliest signature time stamp, once all of them are proved and trusted.
  std::optional<FILETIME> stampTime;
};

/// verifyCades proves a signature as far as its attributes go (RFC 5126, annex C). A signer has to name
/// his certificate in a signed attribute, and his signature has to be good. Without a time stamp his
/// chain has to hold now; with one, at the time of the stamp, whose authority has to be trusted. With
/// references and values everything is decided by these alone, and nothing is fetched: the chain at the
/// time of the signature time stamp, that stamp's authority at the time of the CAdES-C time stamp, and
/// the authority of the latest stamp now.
CadesVerification verifyCades(DecodedSigned& message, const SignerInfo& signer);

}  // namespace qx

#endif
