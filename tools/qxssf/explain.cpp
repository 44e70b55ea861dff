#include <memory>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/qxssf/commands.h"
#include "tools/qxssf/explanations.h"
#include "tools/qxssf/language.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

struct Arguments {
  std::string word;
  std::string operation;
  std::string language;
};

const char* in(const std::string& language, const Text& text) {
  return language == "ru" ? text.russian : text.english;
}

void report(tools::Report& report, const std::string& language, const Reading& reading) {
  const Explanation& row = *reading.explanation;
  const std::string place = in(language, reading.place);
  const std::string where = *row.operations == '\0' ? "" : std::string(", ") + row.operations;
  report.line(std::string(row.name) + " (" + place + where + ")");
  nlohmann::ordered_json entry = {
      {"name", row.name}, {"code", row.code}, {"place", place}, {"operations", row.operations}};

  struct Line {
    Text label;
    const char* key;
    Text text;
  };

  const Line lines[] = {{{"means", "смысл"}, "meaning", row.meaning},
                        {{"why", "причины"}, "causes", row.causes},
                        {{"do", "что делать"}, "remedy", row.remedy}};
  for (const Line& line : lines) {
    report.line(std::string("  ") + in(language, line.label) + ": " + in(language, line.text));
    entry[line.key] = in(language, line.text);
  }
  report.facts()["explanations"].push_back(std::move(entry));
}

void explain(Program& program, const Arguments& arguments) {
  const std::vector<Reading> readings = readingsOf(arguments.word, arguments.operation);
  if (readings.empty()) {
    throw ToolError(ExitCode::Usage,
                    arguments.word +
                        " is no code of the library and none of the provider's that has an "
                        "explanation; give a number, 0x with hexadecimal digits, or a name");
  }
  const std::string language = chosenLanguage(arguments.language);
  for (const Reading& reading : readings) {
    report(program.tool.report, language, reading);
  }
}

}  // namespace

void addExplain(Program& program) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& command =
      *program.tool.app.add_subcommand("explain", "Say what a code means, and what to do");
  command.add_option("CODE", arguments->word, "A number, 0x with hexadecimal digits, or a name")
      ->required();
  command.add_option("--operation", arguments->operation, "Where the code was met")
      ->check(CLI::IsMember({"digest",
                             "sign",
                             "addsign",
                             "verify",
                             "envelope",
                             "develope",
                             "encode",
                             "decode",
                             "version",
                             "properties"}));
  addLanguage(command, "--language", arguments->language);
  command.callback([&program, arguments] { explain(program, *arguments); });
}

}  // namespace qx::ssf
