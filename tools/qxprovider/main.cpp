#include "tools/common/tool.h"
#include "tools/qxprovider/commands.h"

int main(int argc, char** argv) {
  qx::tools::Tool tool("qxprovider",
                       "Administer the default provider: stores, certificates, keys, a test PKI");
  qx::admin::addStores(tool);
  qx::admin::addCerts(tool);
  qx::admin::addCrls(tool);
  qx::admin::addKeys(tool);
  qx::admin::addLandscape(tool);
  qx::admin::addRepair(tool);
  qx::admin::addLab(tool);
  return tool.run(argc, argv);
}
