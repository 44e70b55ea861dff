#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <fstream>
#include <string_view>

#include "tools/common/times.h"
#include "tools/qxssf/doctor/families.h"

namespace qx::ssf::doctor {
namespace {

using tools::ExitCode;

// The keys of provider.conf, by section.
constexpr const char* kKeys[] = {"tsp.default_url",
                                 "tsp.timeout_ms",
                                 "tsp.user",
                                 "tsp.password_file",
                                 "tsp.certificate_file",
                                 "tsp.key_file",
                                 "http.proxy",
                                 "http.ca_file",
                                 "revocation.online",
                                 "revocation.issuers",
                                 "revocation.timeout_ms",
                                 "trust.system_roots",
                                 "content.cipher_set",
                                 "pin.prompt",
                                 "pin.program",
                                 "pin.prompt_timeout_ms",
                                 "pin.cache_seconds",
                                 "pin.cache_max_seconds",
                                 "pin.kdf_rounds",
                                 "trace.output",
                                 "trace.file",
                                 "trace.format",
                                 "trace.level"};

constexpr const char* kOtherVariables[] = {"QXPROVIDER_USER_DIR",
                                           "QXPROVIDER_MACHINE_DIR",
                                           "QXPROVIDER_CONF",
                                           "QX_SSF_USERID",
                                           "QX_SSF_VERIFYCERTFLAGS",
                                           "QX_SSF_VERIFYCERTFLAGS_ONSELECT",
                                           "QX_SSF_ASK_PIN_WHEN_EMPTY",
                                           "QX_SSF_ADD_TSP"};

/// What changes the libraries below without being ours.
struct Foreign {
  const char* name;
  const char* effect;
};

constexpr Foreign kForeign[] = {
    {"OPENSSL_CONF", "gives the process another OpenSSL configuration"},
    {"OPENSSL_ENGINES", "lets the GOST engine be looked for elsewhere"},
    {"OPENSSL_MODULES", "lets OpenSSL's providers be looked for elsewhere"},
    {"CRYPT_PARAMS", "changes the GOST engine's parameters"},
    {"LD_PRELOAD", "puts other libraries before ours"},
    {"LD_LIBRARY_PATH", "lets libraries be looked for elsewhere first"},
};

// A clock may differ from that of a file server by so much.
constexpr std::time_t kClockTolerance = 300;

std::string variableOf(const std::string& key) {
  std::string name = "QXPROVIDER_" + key;
  for (char& c : name) {
    c = c == '.' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return name;
}

// Whoever reads a report need not learn the password that an address may hold.
std::string withoutPassword(const std::string& value) {
  const std::size_t start = value.find("://");
  const std::size_t at = value.rfind('@');
  return start == std::string::npos || at == std::string::npos || at < start
             ? value
             : value.substr(0, start + 3) + "..." + value.substr(at);
}

bool isKnown(const std::string& name) {
  return std::ranges::find(kOtherVariables, name) != std::end(kOtherVariables) ||
         std::ranges::any_of(kKeys, [&](const char* key) { return variableOf(key) == name; });
}

void examineClock(Findings& findings) {
  findings.good("clock", tools::isoTime(tools::ticksNow()));
  const std::time_t now = std::time(nullptr);
  const std::string root = userFolder().value;
  for (const char* below : {"", "/stores", "/stores/CA", "/stores/My", "/keys"}) {
    struct stat status{};
    if (stat((root + below).c_str(), &status) == 0 &&
        status.st_mtim.tv_sec > now + kClockTolerance) {
      findings.warn("clock",
                    "is behind: " + root + below + " was changed later than now",
                    "timedatectl set-ntp true");
      return;
    }
  }
}

void examineForeign(Findings& findings) {
  for (const Foreign& foreign : kForeign) {
    if (const std::string value = variable(foreign.name); !value.empty()) {
      findings.warn(
          foreign.name, value + ": " + foreign.effect, std::string("unset ") + foreign.name);
    }
  }
}

void examineOwnVariable(const std::string& name, const std::string& value, Findings& findings) {
  if (!isKnown(name)) {
    findings.warn(name, "nothing reads this variable", "unset " + name);
  } else if (name == "QX_SSF_VERIFYCERTFLAGS" &&
             value.find_first_not_of("0x") == std::string::npos) {
    findings.warn(name, value + ": SsfVerify does not look at revocation", "unset " + name);
  } else {
    findings.good(name, withoutPassword(value) + " (from the environment)");
  }
}

void examineVariables(Findings& findings) {
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t equals = text.find('=');
    if ((text.starts_with("QXPROVIDER_") || text.starts_with("QX_SSF_")) &&
        equals != std::string::npos && equals + 1 < text.size()) {
      examineOwnVariable(text.substr(0, equals), text.substr(equals + 1), findings);
    }
  }
}

std::string trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r");
  return start == std::string_view::npos
             ? ""
             : std::string(text.substr(start, text.find_last_not_of(" \t\r") - start + 1));
}

void examineKey(const std::string& key,
                const std::string& value,
                const std::string& file,
                Findings& findings) {
  if (std::ranges::find(kKeys, key) == std::end(kKeys)) {
    findings.warn(key,
                  "nothing reads this key of " + file,
                  "grep -n " + quoted(key.substr(key.find('.') + 1)) + " " + quoted(file));
  } else if (!variable(variableOf(key).c_str()).empty()) {
    findings.good(key,
                  withoutPassword(value) + " (from " + file + ", but the environment decides)");
  } else {
    findings.good(key, withoutPassword(value) + " (from " + file + ")");
  }
}

void examineLines(std::ifstream& lines, const std::string& file, Findings& findings) {
  std::string section;
  for (std::string line; std::getline(lines, line);) {
    const std::string text = trimmed(line.substr(0, line.find('#')));
    const std::size_t equals = text.find('=');
    if (text.starts_with('[') && text.ends_with(']')) {
      section = trimmed(std::string_view(text).substr(1, text.size() - 2));
    } else if (equals != std::string::npos) {
      const std::string value = trimmed(std::string_view(text).substr(equals + 1));
      const std::string key = section + "." + trimmed(std::string_view(text).substr(0, equals));
      examineKey(key, value, file, findings);
    }
  }
}

void examineConfiguration(Findings& findings) {
  const Setting file = configurationFile();
  if (file.value.empty()) {
    findings.good("provider.conf", "none, the defaults hold");
    return;
  }
  std::ifstream lines(file.value);
  struct stat status{};
  if (!lines || stat(file.value.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
    findings.fault(ExitCode::Input,
                   file.value,
                   "cannot be read (from " + file.source + ")",
                   file.source == "QXPROVIDER_CONF" ? "unset QXPROVIDER_CONF"
                                                    : "chmod a+r " + quoted(file.value));
    return;
  }
  findings.good("provider.conf", file.value + " (from " + file.source + ")");
  examineLines(lines, file.value, findings);
}

}  // namespace

void examineEnvironment(Findings& findings) {
  findings.begin("clock, environment and configuration");
  examineClock(findings);
  examineForeign(findings);
  examineVariables(findings);
  examineConfiguration(findings);
}

}  // namespace qx::ssf::doctor
