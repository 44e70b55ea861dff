#ifndef QX_PROVIDER_OPENSSL_ENGINE_H_
#define QX_PROVIDER_OPENSSL_ENGINE_H_

#include <openssl/types.h>

#include "provider/result.h"

namespace qx {

/// gostEngine loads the GOST engine at the first call and gives it ever after: once in a process, safe
/// from several threads. After it, libcrypto reads and writes keys, certificates and CRLs with GOST
/// keys and finds GOST digests and ciphers by name; nothing is made a default, and the host's
/// configuration file is neither needed nor kept from being read.
/// The caller borrows the engine. Error: NTE_PROV_DLL_NOT_FOUND, with a trace line; the next call
/// tries again.
Result<ENGINE*> gostEngine();

/// gostDigest gives the engine's digest of a NID (NID_id_GostR3411_94, NID_id_GostR3411_2012_256,
/// NID_id_GostR3411_2012_512), or null when there is no engine. The engine's R 34.11-94 of an empty
/// message is wrong.
const EVP_MD* gostDigest(int nid);

/// gostCipher gives the engine's cipher of a NID, or null when there is no engine. Which set of
/// GOST 28147-89 such a cipher begins with depends on the process's environment.
const EVP_CIPHER* gostCipher(int nid);

}  // namespace qx

#endif
