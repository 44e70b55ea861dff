#ifndef QX_PROVIDER_CIPHER_KEY_AGREEMENT_H_
#define QX_PROVIDER_CIPHER_KEY_AGREEMENT_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "provider/der/tag.h"
#include "provider/key/private_key.h"
#include "provider/key/public_key.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// The UKM of KEG: 16 octets for the agreement, 8 of seed, and the initial value of KExp15.
inline constexpr std::size_t kKegUkmSize = 32;

/// vko agrees on a key of kGostKeySize octets: VKO GOST R 34.10-2001 (RFC 4357, 5.2) or, for keys of
/// R 34.10-2012, VKO_GOSTR3410_2012_256 (RFC 7836, 4.3.1). `ukm` is kVkoUkmSize octets. NTE_BAD_DATA
/// for another length, NTE_BAD_KEY when the keys are of different kinds or curves, or not GOST keys.
Result<SecretBytes> vko(const PrivateKey& own, const PublicKey& other, der::Bytes ukm);

/// keg agrees on two keys of kGostKeySize octets, one behind the other (RFC 9189, 8.3.1); for keys of
/// R 34.10-2012 only. `ukm` is kKegUkmSize octets. Errors as for vko.
Result<SecretBytes> keg(const PrivateKey& own, const PublicKey& other, der::Bytes ukm);

/// EphemeralAgreement is a key that was agreed on with a key pair made for it alone.
struct EphemeralAgreement {
  SecretBytes key;
  std::vector<std::uint8_t> spki;  ///< SubjectPublicKeyInfo of the key pair
};

/// ephemeralVko agrees by vko with a new key pair on the curve of a public key. NTE_BAD_KEY when that is
/// no GOST key, NTE_BAD_DATA for a UKM of a wrong length, NTE_FAIL.
Result<EphemeralAgreement> ephemeralVko(const PublicKey& other, der::Bytes ukm);

}  // namespace qx

#endif
