#ifndef QX_TOOLS_QXPROVIDER_COMMANDS_H_
#define QX_TOOLS_QXPROVIDER_COMMANDS_H_

#include "tools/common/tool.h"

namespace qx::admin {

// Each adds one noun with its verbs, or a verb that stands alone.
void addStores(tools::Tool& tool);
void addCerts(tools::Tool& tool);
void addCrls(tools::Tool& tool);
void addKeys(tools::Tool& tool);
void addRepair(tools::Tool& tool);
void addLandscape(tools::Tool& tool);
void addLab(tools::Tool& tool);

}  // namespace qx::admin

#endif
