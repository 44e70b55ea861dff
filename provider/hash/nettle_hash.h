#ifndef QX_PROVIDER_HASH_NETTLE_HASH_H_
#define QX_PROVIDER_HASH_NETTLE_HASH_H_

#include <memory>

#include "provider/hash/hash.h"

namespace qx {

std::unique_ptr<HashState> nettleMd2();
std::unique_ptr<HashState> nettleGost94();
std::unique_ptr<HashState> nettleStreebog256();
std::unique_ptr<HashState> nettleStreebog512();

}  // namespace qx

#endif
