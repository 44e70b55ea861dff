#ifndef QX_PROVIDER_KEY_PARAMETERS_H_
#define QX_PROVIDER_KEY_PARAMETERS_H_

#include "platform/crypt_prov.h"

#include "provider/key/key_context.h"
#include "provider/result.h"

namespace qx {

/// readParameter is CryptGetProvParam behind its handle: the two-pass size protocol over `data` and
/// `*size`. Errors: NTE_BAD_TYPE, NTE_BAD_FLAGS, ERROR_MORE_DATA, ERROR_NO_MORE_ITEMS,
/// ERROR_INVALID_PARAMETER, NTE_NO_KEY, SCARD_W_WRONG_CHV.
Result<void> readParameter(
    KeyContext& context, DWORD parameter, BYTE* data, DWORD* size, DWORD flags);

/// setParameter is CryptSetProvParam behind its handle. NTE_BAD_TYPE, NTE_BAD_FLAGS.
Result<void> setParameter(KeyContext& context, DWORD parameter, const BYTE* data, DWORD flags);

}  // namespace qx

#endif
