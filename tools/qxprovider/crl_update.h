#ifndef QX_TOOLS_QXPROVIDER_CRL_UPDATE_H_
#define QX_TOOLS_QXPROVIDER_CRL_UPDATE_H_

#include "tools/common/tool.h"

namespace qx::admin {

/// addCrlUpdate adds the verb "update" to the noun "crl".
void addCrlUpdate(CLI::App& noun, tools::Tool& tool);

}  // namespace qx::admin

#endif
