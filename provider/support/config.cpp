#include "provider/support/config.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
#include "provider/support/folders.h"

namespace qx {
namespace {

constexpr const char* kMachineFile = "/etc/qxprovider/provider.conf";
constexpr unsigned kDaySeconds = 86'400;
constexpr unsigned kMaxKdfRounds = 100'000'000;

struct Range {
  unsigned least = 0;
  unsigned most = std::numeric_limits<unsigned>::max();
};

template <class Value>
struct Word {
  std::string_view word;
  Value value;
};

constexpr Word<bool> kBooleans[] = {{"yes", true},
                                    {"no", false},
                                    {"true", true},
                                    {"false", false},
                                    {"on", true},
                                    {"off", false},
                                    {"1", true},
                                    {"0", false}};
constexpr Word<Prompt> kPrompts[] = {
    {"none", Prompt::None}, {"terminal", Prompt::Terminal}, {"program", Prompt::Program}};
constexpr Word<TraceOutput> kOutputs[] = {{"none", TraceOutput::None},
                                          {"stderr", TraceOutput::Stderr},
                                          {"syslog", TraceOutput::Syslog},
                                          {"file", TraceOutput::File}};
constexpr Word<TraceFormat> kFormats[] = {{"text", TraceFormat::Text}, {"json", TraceFormat::Json}};

std::string variableName(const std::string& section, const std::string& key) {
  std::string name = "QXPROVIDER_" + section + "_" + key;
  for (char& c : name) {
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  }
  return name;
}

bool isThere(const std::string& file) {
  return access(file.c_str(), F_OK) == 0;
}

// libcrypto reads a folder as an empty file.
bool isFolder(const std::string& file) {
  struct stat status{};
  return stat(file.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The file to read; empty when there is none. One that is named is read whether it is there or not.
std::string configurationFile() {
  if (std::string named = environmentVariable("QXPROVIDER_CONF"); !named.empty()) {
    return named;
  }
  const std::string folder = environmentVariable("XDG_CONFIG_HOME");
  if (std::string own = folder + "/qxprovider/provider.conf";
      folder.starts_with('/') && isThere(own)) {
    return own;
  }
  return isThere(kMachineFile) ? kMachineFile : "";
}

// The settings as text, from the file and the environment, and the problems met on the way.
class Settings {
 public:
  Settings() {
    if (const std::string file = configurationFile(); !file.empty()) {
      load(file);
    }
  }

  std::optional<std::string> find(const std::string& section, const std::string& key) const {
    if (std::string value = environmentVariable(variableName(section, key).c_str());
        !value.empty()) {
      return value;
    }
    const char* value =
        file_ ? NCONF_get_string(file_.get(), section.c_str(), key.c_str()) : nullptr;
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
  }

  void read(const std::string& section, const std::string& key, std::string& out) const {
    out = find(section, key).value_or(out);
  }

  void read(const std::string& section, const std::string& key, unsigned& out, Range range) {
    const std::optional<std::string> text = find(section, key);
    if (!text) {
      return;
    }
    unsigned value = 0;
    const char* end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, value);
    if (error != std::errc() || stop != end || value < range.least || value > range.most) {
      complain(section, key, *text);
      return;
    }
    out = value;
  }

  template <class Value, std::size_t kCount>
  void read(const std::string& section,
            const std::string& key,
            Value& out,
            const Word<Value> (&words)[kCount]) {
    const std::optional<std::string> text = find(section, key);
    if (!text) {
      return;
    }
    for (const Word<Value>& word : words) {
      if (word.word == *text) {
        out = word.value;
        return;
      }
    }
    complain(section, key, *text);
  }

  void complain(const std::string& section, const std::string& key, const std::string& value) {
    problems_.push_back("configuration: " + section + "." + key + " has no valid value: '" + value +
                        "'");
  }

  const std::vector<std::string>& problems() const { return problems_; }

 private:
  void load(const std::string& file) {
    ConfPtr conf(NCONF_new(nullptr));
    long line = 0;
    if (isFolder(file) || !conf || NCONF_load(conf.get(), file.c_str(), &line) != 1) {
      problems_.push_back("configuration: cannot read " + file +
                          (line > 0 ? ", line " + std::to_string(line) : std::string()));
      return;
    }
    file_ = std::move(conf);
  }

  ConfPtr file_;
  std::vector<std::string> problems_;
};

// A relative path would be looked for where the host happens to stand.
void readPath(Settings& settings,
              const std::string& section,
              const std::string& key,
              std::string& out) {
  std::string path = out;
  settings.read(section, key, path);
  if (!path.empty() && !path.starts_with('/')) {
    settings.complain(section, key, path);
    return;
  }
  out = path;
}

void readServices(Settings& settings, Configuration& out) {
  settings.read("tsp", "default_url", out.tsp.defaultUrl);
  settings.read("tsp", "timeout_ms", out.tsp.timeoutMs, Range{.least = 1});
  settings.read("tsp", "user", out.tsp.user);
  readPath(settings, "tsp", "password_file", out.tsp.passwordFile);
  readPath(settings, "tsp", "certificate_file", out.tsp.certificateFile);
  readPath(settings, "tsp", "key_file", out.tsp.keyFile);
  settings.read("http", "proxy", out.http.proxy);
  readPath(settings, "http", "ca_file", out.http.caFile);
  settings.read("revocation", "online", out.revocation.online, kBooleans);
  settings.read("revocation", "issuers", out.revocation.issuers, kBooleans);
  settings.read("revocation", "timeout_ms", out.revocation.timeoutMs, Range{.least = 1});
}

void readPin(Settings& settings, Configuration& out) {
  settings.read("pin", "prompt", out.pin.prompt, kPrompts);
  settings.read("pin", "program", out.pin.program);
  settings.read("pin", "prompt_timeout_ms", out.pin.promptTimeoutMs, Range{.least = 1});
  settings.read("pin", "cache_seconds", out.pin.cacheSeconds, Range{.most = kDaySeconds});
  settings.read("pin", "cache_max_seconds", out.pin.cacheMaxSeconds, Range{.most = kDaySeconds});
  settings.read(
      "pin", "kdf_rounds", out.pin.kdfRounds, Range{.least = 1000, .most = kMaxKdfRounds});
  // A relative program would be looked for where the host happens to stand.
  if (out.pin.prompt == Prompt::Program && !out.pin.program.starts_with('/')) {
    settings.complain("pin", "program", out.pin.program);
    out.pin.prompt = Prompt::None;
  }
}

void readTrace(Settings& settings, Configuration& out) {
  settings.read("trace", "file", out.trace.file);
  out.trace.output = out.trace.file.empty() ? TraceOutput::None : TraceOutput::File;
  settings.read("trace", "output", out.trace.output, kOutputs);
  settings.read("trace", "format", out.trace.format, kFormats);
  settings.read("trace", "level", out.trace.level, Range{.most = 0xF});
  if (out.trace.output == TraceOutput::File && !out.trace.file.starts_with('/')) {
    settings.complain("trace", "file", out.trace.file);
    out.trace.output = TraceOutput::None;
  }
}

}  // namespace

Configuration readConfiguration() {
  const ErrorQueueGuard queue;
  Settings settings;
  Configuration out;
  readServices(settings, out);
  settings.read("trust", "system_roots", out.trust.systemRoots, kBooleans);
  settings.read("content", "cipher_set", out.content.cipherSet);
  readPin(settings, out);
  readTrace(settings, out);
  out.problems = settings.problems();
  return out;
}

const Configuration& configuration() {
  static const Configuration kConfiguration = readConfiguration();
  return kConfiguration;
}

}  // namespace qx
