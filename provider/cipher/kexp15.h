#ifndef QX_PROVIDER_CIPHER_KEXP15_H_
#define QX_PROVIDER_CIPHER_KEXP15_H_

#include "provider/cipher/gost3412.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// importKey is KImp15 (RFC 9189, 8.2.1): the key inside an export of KExp15. `exportKeys` is the key of
/// the MAC and, behind it, that of the cipher; `iv` is half a block. NTE_BAD_DATA when a length or the
/// MAC is wrong: other keys exported it, or it was changed.
Result<SecretBytes> importKey(BlockCipher cipher,
                              der::Bytes exportKeys,
                              der::Bytes iv,
                              der::Bytes exported);

}  // namespace qx

#endif
