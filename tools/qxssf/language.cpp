#include "tools/qxssf/language.h"

#include <cstdlib>

namespace qx::ssf {

void addLanguage(CLI::App& command, const std::string& option, std::string& language) {
  command.add_option(option, language, "en or ru; the user's otherwise")
      ->check(CLI::IsMember({"en", "ru"}));
}

// As gettext does: the first of these that is set decides.
std::string chosenLanguage(const std::string& given) {
  if (!given.empty()) {
    return given;
  }
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): one thread.
    if (value != nullptr && *value != '\0') {
      return std::string(value).starts_with("ru") ? "ru" : "en";
    }
  }
  return "en";
}

}  // namespace qx::ssf
