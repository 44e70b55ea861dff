#ifndef QX_PROVIDER_KEY_SHARED_KEYS_H_
#define QX_PROVIDER_KEY_SHARED_KEYS_H_

#include <memory>

#include "provider/der/tag.h"
#include "provider/key/public_key.h"
#include "provider/result.h"

namespace qx {

using PublicKeyPtr = std::shared_ptr<const PublicKey>;

/// sharedPublicKey is PublicKey::parse over what this process keeps: the last 500 keys, of at most 4 KB.
/// The same bytes give the same key, which knows what libcrypto prepared for it: to decode a key and to
/// prepare it takes as long as a verification with RSA. Safe from several threads.
Result<PublicKeyPtr> sharedPublicKey(der::Bytes spki);

}  // namespace qx

#endif
