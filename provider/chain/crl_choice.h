#ifndef QX_PROVIDER_CHAIN_CRL_CHOICE_H_
#define QX_PROVIDER_CHAIN_CRL_CHOICE_H_

#include <cstddef>
#include <vector>

#include "provider/chain/path_search.h"
#include "provider/chain/time_window.h"
#include "provider/chain/verify.h"

namespace qx {

/// chooseCrls gives the CRLs that the verifier shall choose among for the first `count` certificates
/// of a path. Of several with an issuer's name those remain that its key signed: libcrypto takes the
/// newest before it looks at the signature, and a forged one must not hide the real one. CRLs signed
/// over MD2, MD4 or MD5 are left out. `window` is narrowed by their dates.
std::vector<CrlPtr> chooseCrls(const Path& path,
                               std::size_t count,
                               const TrustSource& trust,
                               const CrlIndex& extra,
                               TimeWindow& window);

}  // namespace qx

#endif
