#include "tools/qxssf/doctor/setting.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

#include "tools/common/shell.h"

namespace qx::ssf::doctor {
namespace {

constexpr std::size_t kPasswordEntry = std::size_t{1} << 16U;

}  // namespace

Account account() {
  std::array<char, kPasswordEntry> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  const int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return error == 0 && found != nullptr ? Account{.name = found->pw_name, .home = found->pw_dir}
                                        : Account();
}

std::string variable(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? "" : value;
}

Setting userFolder() {
  if (const std::string own = variable("QXPROVIDER_USER_DIR"); !own.empty()) {
    return {.value = own, .source = "QXPROVIDER_USER_DIR"};
  }
  if (const std::string data = variable("XDG_DATA_HOME"); data.starts_with('/')) {
    return {.value = data + "/qxprovider", .source = "XDG_DATA_HOME"};
  }
  const std::string below = "/.local/share/qxprovider";
  if (const std::string home = variable("HOME"); home.starts_with('/')) {
    return {.value = home + below, .source = "HOME"};
  }
  const Account user = account();
  return {.value = user.home.starts_with('/') ? user.home + below : "",
          .source = "the password database"};
}

Setting machineFolder() {
  const std::string own = variable("QXPROVIDER_MACHINE_DIR");
  return own.empty() ? Setting{.value = "/var/lib/qxprovider", .source = "the default"}
                     : Setting{.value = own, .source = "QXPROVIDER_MACHINE_DIR"};
}

Setting configurationFile() {
  if (const std::string named = variable("QXPROVIDER_CONF"); !named.empty()) {
    return {.value = named, .source = "QXPROVIDER_CONF"};
  }
  const std::string own = variable("XDG_CONFIG_HOME") + "/qxprovider/provider.conf";
  if (variable("XDG_CONFIG_HOME").starts_with('/') && access(own.c_str(), F_OK) == 0) {
    return {.value = own, .source = "XDG_CONFIG_HOME"};
  }
  const std::string machine = "/etc/qxprovider/provider.conf";
  return {.value = access(machine.c_str(), F_OK) == 0 ? machine : "", .source = "the default"};
}

std::string quoted(const std::string& text) {
  const auto isPlain = [](unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string("/._-+:@").find(static_cast<char>(c)) != std::string::npos;
  };
  if (!text.empty() && std::ranges::all_of(text, isPlain)) {
    return text;
  }
  return tools::shellWord(text);
}

}  // namespace qx::ssf::doctor
