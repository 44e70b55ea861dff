#ifndef QX_TOOLS_QXPROVIDER_THUMBPRINT_H_
#define QX_TOOLS_QXPROVIDER_THUMBPRINT_H_

#include <string>
#include <vector>

#include "provider/store/store_snapshot.h"
#include "provider/support/folders.h"

namespace qx::admin {

/// findCertificates gives the entries of a store with a thumbprint, forty hexadecimal digits with or
/// without blanks and colons, that lie in the given location itself. Throws ToolError: Usage for what
/// is no thumbprint, Input when there is none.
std::vector<StoredCertificate> findCertificates(Location location,
                                                const std::string& store,
                                                const std::string& thumbprint);

}  // namespace qx::admin

#endif
