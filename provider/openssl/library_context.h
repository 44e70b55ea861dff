#ifndef QX_PROVIDER_OPENSSL_LIBRARY_CONTEXT_H_
#define QX_PROVIDER_OPENSSL_LIBRARY_CONTEXT_H_

#include <openssl/types.h>

namespace qx {

/// libraryContext is a library context of our own with libcrypto's default provider in it, for
/// everything that needs no GOST: RSA, ECDSA, AES, PBKDF2, SHA. What the host loads, makes default or
/// switches off in its own contexts does not change our work, nor ours its. Made at first use, safe
/// from several threads, never freed: a provider that is loaded after this one was unloaded finds it.
/// Throws std::bad_alloc when it cannot be made.
OSSL_LIB_CTX* libraryContext();

}  // namespace qx

#endif
