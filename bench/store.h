#ifndef QX_BENCH_STORE_H_
#define QX_BENCH_STORE_H_

#include "bench/world.h"

namespace qx::bench {

/// reportStores prints what stores cost: a store of 10 000 certificates opened the first time and
/// again, and what each certificate that a search by name walks over adds to one SsfSign.
void reportStores(const World& world);

}  // namespace qx::bench

#endif
