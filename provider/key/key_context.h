#ifndef QX_PROVIDER_KEY_KEY_CONTEXT_H_
#define QX_PROVIDER_KEY_KEY_CONTEXT_H_

#include <memory>

#include "platform/crypt_prov.h"

#include "provider/handle.h"
#include "provider/key/private_key.h"
#include "provider/result.h"

namespace qx {

/// usableKey gives the unlocked key behind a handle; it stays valid when the handle is released.
/// A PIN that was set and not tried yet is tried. Errors: ERROR_INVALID_HANDLE, NTE_NO_KEY for a
/// context without key, SCARD_W_WRONG_CHV for a locked one, NTE_BAD_KEYSET when the key's file cannot
/// be used, NTE_BAD_PUBLIC_KEY when it holds another key.
Result<std::shared_ptr<const PrivateKey>> usableKey(HCRYPTPROV handle);

/// isKeyContext tells whether a handle is one of ours and still open.
bool isKeyContext(HCRYPTPROV handle);

}  // namespace qx

#endif
