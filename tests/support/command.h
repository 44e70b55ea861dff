#ifndef QX_TESTS_SUPPORT_COMMAND_H_
#define QX_TESTS_SUPPORT_COMMAND_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qx::test {

/// Command is a program to run, without a shell.
struct Command {
  /// The program (looked up in PATH unless it holds a slash) and its arguments.
  std::vector<std::string> arguments;
  /// Bytes that the program reads from its standard input, a pipe.
  std::string input;
  /// Set on top of this process's environment; an empty value removes the variable.
  std::map<std::string, std::string> environment;
  /// Working folder; empty: this process's.
  std::string folder;
  /// Further descriptors, each a pipe that holds these bytes (at most 64 KB).
  std::map<int, std::string> descriptors;
  /// When not empty the program gets a controlling terminal, and whenever it has shown the first
  /// text there, the second one is typed. Without it the program has no terminal at all.
  std::vector<std::pair<std::string, std::string>> dialog;
};

/// CommandResult is what is left of a program that ended.
struct CommandResult {
  /// The exit code, or 128 + the number of the signal that ended it.
  int exitCode = -1;
  std::string out;
  std::string err;
  /// What a terminal showed (Command::dialog), echoed input included.
  std::string terminal;
};

/// run starts the program, feeds it, and waits for its end. Throws std::system_error when the
/// program cannot be started, std::runtime_error when an awaited terminal text does not come.
CommandResult run(const Command& command);

/// run for the frequent case of nothing but arguments.
CommandResult run(std::vector<std::string> arguments);

}  // namespace qx::test

#endif
