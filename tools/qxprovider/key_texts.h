#ifndef QX_TOOLS_QXPROVIDER_KEY_TEXTS_H_
#define QX_TOOLS_QXPROVIDER_KEY_TEXTS_H_

#include <optional>
#include <string>
#include <vector>

#include "provider/key/key_store.h"
#include "tools/common/report.h"
#include "tools/lab/pki.h"

namespace qx::admin {

/// kindNames are the kinds of key that can be generated, as the command line names them.
std::vector<std::string> kindNames();

/// kindByName is the kind with this name, one of kindNames().
lab::KeyKind kindByName(const std::string& name);

/// keyTypeName names the type of a key that exists: "gost2012-256", "rsa2048", "p256".
std::string keyTypeName(KeyType type, unsigned bits);

/// warnOfRights warns of a key file that others can read: for the user's keys anybody else, for the
/// machine's all but their group.
void warnOfRights(const std::string& path, Location location, tools::Report& report);

/// keyPath is the path of a key file of a location.
std::string keyPath(Location location, const std::string& fileName);

}  // namespace qx::admin

#endif
