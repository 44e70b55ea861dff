#include "tools/common/tool.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/completion.h"
#include "tools/common/help.h"

namespace qx::tools {
namespace {

// The innermost command that the arguments name, for the hint behind a usage error.
std::string commandLine(const CLI::App& app) {
  std::string names = app.get_name();
  for (auto inner = app.get_subcommands(); !inner.empty();
       inner = inner.front()->get_subcommands()) {
    names += " " + inner.front()->get_name();
  }
  return names;
}

// A word that is no command is what is wrong, not the command that is missing.
std::string usageFault(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining(/*recurse=*/true);
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError) && !words.empty() &&
      !words.front().starts_with("-")) {
    return "there is no command " + words.front();
  }
  return error.what();
}

// Runs the work; whatever it throws becomes an exit code and a line.
ExitCode guarded(Tool& tool, const std::function<void()>& work) {
  const auto failed = [&tool](ExitCode code, const std::string& text) {
    tool.report.error(code, text);
    return code;
  };
  const auto misused = [&](const std::string& text) {
    return failed(ExitCode::Usage, text + " (" + commandLine(tool.app) + " --help tells more)");
  };
  try {
    work();
    return tool.exit;
  } catch (const CLI::ParseError& error) {
    return misused(usageFault(tool.app, error));
  } catch (...) {
    const ToolError error = presentFailure();
    return error.code() == ExitCode::Usage ? misused(error.what())
                                           : failed(error.code(), error.what());
  }
}

// A report that is lost must not look like one that says nothing.
void flushOutput() {
  if (std::fflush(stdout) != 0) {
    throw ToolError(ExitCode::Input, "standard output: " + errnoText(errno));
  }
  if (std::ferror(stdout) != 0) {
    throw ToolError(ExitCode::Input, "standard output: not everything could be written");
  }
}

}  // namespace

Tool::Tool(const std::string& name, const std::string& description)
    : app(description, name), report(name) {
  // Commands that are added later take it from here.
  app.formatter(std::make_shared<HelpFormatter>());
  app.require_subcommand(1);
  app.fallthrough();
  app.add_flag_callback(
         "--json", [this] { report.asJson(); }, "Print one JSON object")
      ->trigger_on_parse();
  // For packages: out of the help, where it would only be in the way.
  app.add_option_function<std::string>(
         "--completion",
         [this](const std::string& shell) {
           const std::string script = shell == "bash" ? bashCompletion(app) : zshCompletion(app);
           // Whether all of it was written is judged at the flush.
           static_cast<void>(std::fwrite(script.data(), 1, script.size(), stdout));
           throw CLI::Success();
         })
      ->check(CLI::IsMember({"bash", "zsh"}))
      ->trigger_on_parse()
      ->group("");
}

void Tool::claimOutput(const std::string& output, Content content) {
  if (output != "-") {
    return;
  }
  if (report.isJson()) {
    throw ToolError(ExitCode::Usage, "--json needs --output FILE: standard output takes only one");
  }
  if (content == Content::Binary && isatty(STDOUT_FILENO) != 0) {
    throw ToolError(ExitCode::Usage, "a terminal cannot show this; use --output FILE");
  }
  report.toStandardError();
}

int Tool::run(int argc, const char* const* argv) {
  bool helped = false;
  const ExitCode code = guarded(*this, [&] {
    try {
      app.parse(argc, argv);
    } catch (const CLI::Success& help) {
      helped = true;
      app.exit(help);
    }
  });
  if (!helped) {
    report.print();
  }
  const ExitCode printed = guarded(*this, flushOutput);
  return static_cast<int>(code == ExitCode::Good ? printed : code);
}

}  // namespace qx::tools
