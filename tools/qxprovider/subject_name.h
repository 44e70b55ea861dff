#ifndef QX_TOOLS_QXPROVIDER_SUBJECT_NAME_H_
#define QX_TOOLS_QXPROVIDER_SUBJECT_NAME_H_

#include <string>

#include "provider/openssl/owned.h"

namespace qx::admin {

/// parseName reads a name as nameText writes it, in the same order: "C=RU, O=\"Bank, Ltd.\", CN=Ivan".
/// A value that holds a comma, a semicolon or a plus stands in quotes, a quote in it twice; "+" joins
/// attributes to one RDN. Attributes are called as nameText calls them, as libcrypto does, or by a
/// dotted OID. Throws ToolError (Usage).
X509NamePtr parseName(const std::string& text);

}  // namespace qx::admin

#endif
