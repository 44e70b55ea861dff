#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "tools/common/error.h"
#include "tools/qxssf/codes.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {

using tools::ExitCode;
using tools::ToolError;

Program::Program()
    : tool("qxssf", "Sign, verify, encrypt, decrypt and hash files, one SSF call a command") {
  tool.app.add_option("--library", library, "The SSF library to load")->capture_default_str();
}

namespace {

void version(Program& program) {
  const Library library(program.library);
  Octets text(library);
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfVersion)(text.data(), text.length());
  if (code != SSF_API_OK) {
    throw ToolError(meaningOf(code).exit, meaningOf(code).words);
  }
  program.tool.report.facts()["version"] = text.text();
  program.tool.report.line(std::string(text.text()));
}

// The list is one text; each of its entries becomes a line.
void reportEntries(tools::Report& report, const std::string& name, std::string_view value) {
  auto& list = report.facts()[name] = nlohmann::ordered_json::array();
  for (std::size_t from = 0; from <= value.size();) {
    const std::size_t end = std::min(value.find(';', from), value.size());
    report.line(std::string(value.substr(from, end - from)));
    list.push_back(value.substr(from, end - from));
    from = end + 1;
  }
}

void properties(Program& program, const std::string& name) {
  const Library library(program.library);
  Octets value(library);
  const SAPRETURN code = QX_SSF_FUNCTION(library, SsfQueryProperties)(bytesIn(name),
                                                                      lengthIn(name),
                                                                      /*ignored3=*/nullptr,
                                                                      /*ignored4=*/nullptr,
                                                                      value.data(),
                                                                      value.length());
  if (code == SSF_API_INVALID_INPUT) {
    throw ToolError(ExitCode::Usage,
                    "there is no property " + name + "; qxssf properties lists all");
  }
  if (code != SSF_API_OK) {
    throw ToolError(meaningOf(code).exit, meaningOf(code).words);
  }
  reportEntries(program.tool.report, name, value.text());
}

}  // namespace

void addVersion(Program& program) {
  program.tool.app.add_subcommand("version", "Show the library's name and version")
      ->callback([&program] { version(program); });
}

void addProperties(Program& program) {
  auto name = std::make_shared<std::string>("PROPERTIES");
  CLI::App& command =
      *program.tool.app.add_subcommand("properties", "Show what the library can do");
  command.add_option("NAME", *name, "The property to show")->capture_default_str();
  command.callback([&program, name] { properties(program, *name); });
}

}  // namespace qx::ssf
