#include "tools/qxprovider/key_texts.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>

#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

using lab::KeyKind;

constexpr std::array kKinds = {KeyKind::Gost2012_256,
                               KeyKind::Gost2012_512,
                               KeyKind::Gost2001,
                               KeyKind::Rsa2048,
                               KeyKind::EcP256,
                               KeyKind::EcP384};

}  // namespace

std::vector<std::string> kindNames() {
  std::vector<std::string> names;
  std::ranges::transform(kKinds, std::back_inserter(names), lab::kindName);
  return names;
}

lab::KeyKind kindByName(const std::string& name) {
  const auto* found =
      std::ranges::find_if(kKinds, [&](KeyKind kind) { return lab::kindName(kind) == name; });
  return found == kKinds.end() ? kKinds.front() : *found;
}

std::string keyTypeName(KeyType type, unsigned bits) {
  switch (type) {
    case KeyType::Gost2001:
      return "gost2001";
    case KeyType::Gost2012_256:
      return "gost2012-256";
    case KeyType::Gost2012_512:
      return "gost2012-512";
    case KeyType::Rsa:
      return "rsa" + std::to_string(bits);
    case KeyType::Ec:
      return "p" + std::to_string(bits);
  }
  return "unknown";
}

void warnOfRights(const std::string& path, Location location, tools::Report& report) {
  struct stat status{};
  const mode_t others = location == Location::CurrentUser ? S_IRWXG | S_IRWXO : S_IRWXO;
  if (stat(path.c_str(), &status) == 0 && (status.st_mode & others) != 0) {
    report.warn(path + ": others can read this key; chmod " +
                (location == Location::CurrentUser ? "600" : "640") + " keeps it private");
  }
}

std::string keyPath(Location location, const std::string& fileName) {
  return require(rootFolder(location), "keys") + "/keys/" + fileName;
}

}  // namespace qx::admin
