#ifndef QX_TOOLS_QXPROVIDER_CERT_VERBS_H_
#define QX_TOOLS_QXPROVIDER_CERT_VERBS_H_

#include "tools/common/tool.h"

namespace qx::admin {

// Each adds one verb to the noun "cert".
void addCertAnswer(CLI::App& noun, tools::Tool& tool);
void addCertExport(CLI::App& noun, tools::Tool& tool);
void addCertList(CLI::App& noun, tools::Tool& tool);
void addCertRenew(CLI::App& noun, tools::Tool& tool);
void addCertRequest(CLI::App& noun, tools::Tool& tool);

}  // namespace qx::admin

#endif
