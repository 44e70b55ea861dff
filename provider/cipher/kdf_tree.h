#ifndef QX_PROVIDER_CIPHER_KDF_TREE_H_
#define QX_PROVIDER_CIPHER_KDF_TREE_H_

#include "provider/der/tag.h"
#include "provider/support/wipe.h"

namespace qx {

/// kdfTree derives two keys of 32 octets, one behind the other: KDF_TREE_GOSTR3411_2012_256 with R = 1
/// and 512 bits (RFC 7836, 4.5).
SecretBytes kdfTree(der::Bytes key, der::Bytes label, der::Bytes seed);

}  // namespace qx

#endif
