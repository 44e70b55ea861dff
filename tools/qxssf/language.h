#ifndef QX_TOOLS_QXSSF_LANGUAGE_H_
#define QX_TOOLS_QXSSF_LANGUAGE_H_

#include <string>

#include <CLI/CLI.hpp>

namespace qx::ssf {

/// addLanguage adds an option that takes "en" or "ru".
void addLanguage(CLI::App& command, const std::string& option, std::string& language);

/// chosenLanguage is what the option gave; when it was not given, "ru" where LC_ALL, LC_MESSAGES or LANG, the
/// first of them that is set, begins so, else "en".
std::string chosenLanguage(const std::string& given);

}  // namespace qx::ssf

#endif
