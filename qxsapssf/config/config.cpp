#include "qxsapssf/config/config.h"

#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "qxsapssf/frame.h"

namespace qx {
namespace {

const char* environment(const char* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): read while the library is being loaded
  return std::getenv(name);
}

void readHexFlags(const char* name, std::uint32_t& flags) {
  const char* value = environment(name);
  unsigned number = 0;
  // NOLINTNEXTLINE(cert-err34-c): what is not a number leaves the default; hosts rely on %x as it reads
  if (value != nullptr && std::sscanf(value, "%x", &number) == 1) {
    flags = number;
  }
}

bool isYes(const char* value) {
  return strcasecmp(value, "YES") == 0 || strcasecmp(value, "TRUE") == 0 ||
         std::string_view(value) == "1";
}

/// A leading or doubled ";" gives an empty server, a trailing one none.
void splitServers(std::string_view value, std::list<std::string>& servers) {
  servers.clear();
  std::size_t position = 0;
  while (position < value.size()) {
    const std::size_t end = value.find(';', position);
    servers.emplace_back(value.substr(position, end - position));
    position = end == std::string_view::npos ? value.size() : end + 1;
  }
}

Config loadConfig() noexcept {
  Config config;
  guarded([&] { readEnvironment(config); }, [] {});
  return config;
}

}  // namespace

void readEnvironment(Config& config) {
  const char* userId = environment("QX_SSF_USERID");
  if (userId != nullptr && std::string_view(userId) == "CERT_HASH") {
    config.useCertHash = 1;
  }
  readHexFlags("QX_SSF_VERIFYCERTFLAGS", config.verifyCertFlags);
  readHexFlags("QX_SSF_VERIFYCERTFLAGS_ONSELECT", config.verifyCertFlagsOnSelect);
  const char* askPin = environment("QX_SSF_ASK_PIN_WHEN_EMPTY");
  if (askPin != nullptr && isYes(askPin)) {
    config.askPinWhenEmpty = 1;
  }
  const char* servers = environment("QX_SSF_ADD_TSP");
  if (servers != nullptr) {
    splitServers(servers, config.tspList);
  }
}

}  // namespace qx

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): exported, as hosts know it
qx::Config gConfig = qx::loadConfig();
