#ifndef QX_PROVIDER_HASH_LIBCRYPTO_HASH_H_
#define QX_PROVIDER_HASH_LIBCRYPTO_HASH_H_

#include <memory>

#include "provider/hash/hash.h"

namespace qx {

std::unique_ptr<HashState> libcryptoMd5();
std::unique_ptr<HashState> libcryptoSha1();
std::unique_ptr<HashState> libcryptoSha256();
std::unique_ptr<HashState> libcryptoSha384();
std::unique_ptr<HashState> libcryptoSha512();

}  // namespace qx

#endif
