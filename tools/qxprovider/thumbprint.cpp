#include "tools/qxprovider/thumbprint.h"

#include <cctype>
#include <charconv>

#include "tools/common/error.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

// Blanks and colons are left out, as they are often copied.
Thumbprint readThumbprint(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else if (c != ' ' && c != ':') {
      digits.clear();
      break;
    }
  }
  Thumbprint thumbprint{};
  if (digits.size() != thumbprint.size() * 2) {
    throw ToolError(ExitCode::Usage, "'" + text + "' is not a thumbprint (40 hexadecimal digits)");
  }
  for (std::size_t i = 0; i < thumbprint.size(); ++i) {
    const char* at = digits.data() + (i * 2);
    std::from_chars(at, at + 2, thumbprint.at(i), 16);
  }
  return thumbprint;
}

}  // namespace

std::vector<StoredCertificate> findCertificates(Location location,
                                                const std::string& store,
                                                const std::string& thumbprint) {
  const Thumbprint wanted = readThumbprint(thumbprint);
  const auto held = openStore(location, store);
  std::vector<StoredCertificate> found;
  for (const std::size_t position : held->find(wanted)) {
    if (held->certificates().at(position).location == location) {
      found.push_back(held->certificates().at(position));
    }
  }
  if (found.empty()) {
    throw ToolError(ExitCode::Input,
                    store + ": holds no certificate " + thumbprint + " (cert list shows all)");
  }
  return found;
}

}  // namespace qx::admin
