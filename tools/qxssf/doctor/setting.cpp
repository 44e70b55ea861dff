#include "tools/qxssf/doctor/setting.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cstdlib>

namespace qx::ssf::doctor {
namespace {

constexpr std::uint64_t kUnixEpochSeconds = 11'644'473'600;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::size_t kPasswordEntry = std::size_t{1} << 16U;

std::string homeOfPasswordDatabase() {
  std::array<char, kPasswordEntry> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  const int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  return error == 0 && found != nullptr ? found->pw_dir : "";
}

}  // namespace

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
  const std::string home = homeOfPasswordDatabase();
  return {.value = home.starts_with('/') ? home + below : "", .source = "the password database"};
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

std::uint64_t ticksNow() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  return (static_cast<std::uint64_t>(now.time_since_epoch().count()) + kUnixEpochSeconds) *
         kTicksPerSecond;
}

std::string quoted(const std::string& text) {
  const auto isPlain = [](unsigned char c) {
    return std::isalnum(c) != 0 ||
           std::string("/._-+:@").find(static_cast<char>(c)) != std::string::npos;
  };
  if (!text.empty() && std::ranges::all_of(text, isPlain)) {
    return text;
  }
  std::string word = "'";
  for (const char c : text) {
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return word + "'";
}

}  // namespace qx::ssf::doctor
