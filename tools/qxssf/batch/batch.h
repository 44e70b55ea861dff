#ifndef QX_TOOLS_QXSSF_BATCH_BATCH_H_
#define QX_TOOLS_QXSSF_BATCH_BATCH_H_

#include <functional>
#include <string>
#include <vector>

#include "tools/common/input.h"
#include "tools/qxssf/arguments.h"
#include "tools/qxssf/commands.h"

namespace qx::ssf {

/// What a command is told that works on one file or on many.
struct BatchArguments {
  /// Files and folders as they were named; none is standard input.
  std::vector<std::string> files;
  /// The folder of the outputs; empty: each beside its input.
  std::string folder;
  /// How many files are worked on at a time; 0: as many as there are cores.
  unsigned jobs = 0;
  bool recursive = false;
  bool force = false;

  /// one is the only file of a command that is no batch.
  std::string one() const { return files.empty() ? "-" : files.front(); }
};

/// What the name of an output is made from: its input's name with a suffix more, or with ".p7m" or
/// ".p7s" taken off. A command that only looks has outputs when a folder is named for them.
enum class Naming : std::uint8_t { AddMessage, AddSignature, TakeOff, TakeOffIntoFolder };

/// How a command works on many files.
struct BatchRule {
  Naming naming;
  /// What has become of a file: "signed".
  const char* done;
};

/// One file of a batch.
struct BatchTask {
  std::string input;
  /// Empty: nothing is written.
  std::string output;
  /// The content of the signature that the input holds; empty: it holds its own.
  std::string content;
  tools::InputKind kind = tools::InputKind::File;
};

/// A command's work on one file. It fills the report and throws ToolError, as the command alone does. It
/// is called from several threads at once.
using BatchWork = std::function<void(const BatchTask& task, tools::Report& report)>;

/// addBatch adds FILE..., --output and the options of a batch to a command.
void addBatch(CLI::App& command,
              BatchArguments& batch,
              FileArguments& files,
              const std::string& outputHelp);

/// isBatch tells whether many files are meant: more than one was named, or a folder without --output, or
/// an option of a batch. Throws ToolError (Usage) when --output or standard input is named beside them.
bool isBatch(const CLI::App& command, const BatchArguments& batch);

/// runBatch works on all files. Each has its line on standard output, or its JSON object in one line; what
/// fails is told on standard error and does not stop the others. A summary ends it, and the exit code of
/// the tool is the highest of all. On a terminal standard error shows how far it is.
void runBatch(Program& program,
              const BatchArguments& batch,
              const BatchRule& rule,
              const BatchWork& work);

}  // namespace qx::ssf

#endif
