#ifndef QX_PROVIDER_MESSAGE_GOST_KEY_TRANSPORT_H_
#define QX_PROVIDER_MESSAGE_GOST_KEY_TRANSPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "provider/cipher/gost28147_wrap.h"
#include "provider/der/tag.h"
#include "provider/result.h"

// What the encrypted key of a GOST recipient looks like. Every read function fails with CRYPT_E_ASN1_...
// for other bytes; the lengths of keys and MACs are left to who unwraps them.

namespace qx {

/// GostKeyTransport is GostR3410-KeyTransport (RFC 4490, 4.2.1) with an ephemeral key.
struct GostKeyTransport {
  WrappedKey wrapped;
  std::string set;
  std::vector<std::uint8_t> ephemeralKey;  ///< SubjectPublicKeyInfo
  std::vector<std::uint8_t> ukm;
};

Result<GostKeyTransport> readGostKeyTransport(der::Bytes encoded);

/// encodeGostKeyTransport: CRYPT_E_OID_FORMAT.
Result<std::vector<std::uint8_t>> encodeGostKeyTransport(const GostKeyTransport& transport);

/// readWrappedKey reads Gost28147-89-EncryptedKey (RFC 4357, 8.1) without a mask.
Result<WrappedKey> readWrappedKey(der::Bytes encoded);

/// ExportedKeyTransport is GostR3410-KeyTransport of R 1323565.1.025-2019: a key that KExp15 exported.
struct ExportedKeyTransport {
  std::vector<std::uint8_t> exported;
  std::vector<std::uint8_t> ephemeralKey;  ///< SubjectPublicKeyInfo
  std::vector<std::uint8_t> ukm;
};

Result<ExportedKeyTransport> readExportedKeyTransport(der::Bytes encoded);

/// KeyWrapParameters is the wrapping algorithm inside a key agreement's parameters (RFC 4490, 4.1.1).
struct KeyWrapParameters {
  Gost28147Wrap wrap{};
  std::string set;
  std::vector<std::uint8_t> ukm;  ///< empty when it stands elsewhere
};

/// readKeyWrapParameters: also NTE_BAD_ALGID for another algorithm.
Result<KeyWrapParameters> readKeyWrapParameters(der::Bytes encoded);

}  // namespace qx

#endif
