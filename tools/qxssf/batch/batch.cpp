#include "tools/qxssf/batch/batch.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

#include "tools/common/error.h"
#include "tools/qxssf/batch/journal.h"
#include "tools/qxssf/batch/plan.h"

namespace qx::ssf {
namespace {

namespace fs = std::filesystem;
using tools::ExitCode;
using tools::ToolError;

constexpr unsigned kMaxJobs = 256;

bool hasBatchOption(const BatchArguments& batch) {
  return batch.recursive || batch.force || batch.jobs > 0 || !batch.folder.empty();
}

bool isFolder(const std::string& path) {
  std::error_code error;
  return path != "-" && fs::is_directory(path, error);
}

void makeFolderOf(const std::string& output) {
  const fs::path folder = fs::path(output).parent_path();
  std::error_code error;
  if (!folder.empty() && !fs::is_directory(folder, error) &&
      !fs::create_directories(folder, error) && error) {
    throw ToolError(ExitCode::Input, folder.string() + ": " + error.message());
  }
}

void workOn(const BatchTask& task, const BatchWork& work, Journal& journal) {
  tools::Report one("qxssf");
  one.collect();
  try {
    makeFolderOf(task.output);
    work(task, one);
  } catch (...) {
    const ToolError error = tools::presentFailure();
    one.error(error.code(), error.what());
  }
  journal.tell(task.input, one);
}

std::size_t threadsFor(const BatchArguments& batch, std::size_t tasks) {
  const std::size_t wanted =
      batch.jobs > 0 ? batch.jobs : std::max(1U, std::thread::hardware_concurrency());
  return std::min(wanted, tasks);
}

// Each thread takes the next file until there is none.
void workOnAll(const std::vector<BatchTask>& tasks,
               std::size_t threads,
               const BatchWork& work,
               Journal& journal) {
  std::atomic<std::size_t> next = 0;
  const auto take = [&] {
    for (std::size_t i = next++; i < tasks.size(); i = next++) {
      workOn(tasks[i], work, journal);
    }
  };
  std::vector<std::jthread> others;
  for (std::size_t i = 1; i < threads; ++i) {
    others.emplace_back(take);
  }
  take();
}

}  // namespace

void addBatch(CLI::App& command,
              BatchArguments& batch,
              FileArguments& files,
              const std::string& outputHelp) {
  command.add_option("FILE", batch.files, "The files to read, or folders; - is standard input");
  command
      .add_option("-o,--output", files.output, outputHelp + ", of one file; - is standard output")
      ->capture_default_str();
  command.add_option("--out-dir", batch.folder, "Write the result of each file into this folder");
  command.add_flag("--recursive", batch.recursive, "Go into the folders in a folder, too");
  command.add_option("--jobs", batch.jobs, "Work on so many files at a time; as many as cores")
      ->check(CLI::Range(1U, kMaxJobs));
  command.add_flag("--force", batch.force, "Replace outputs of many files that are there already");
}

bool isBatch(const CLI::App& command, const BatchArguments& batch) {
  const bool hasOutput = command.get_option("--output")->count() > 0;
  const bool isOneFolder = batch.files.size() == 1 && !hasOutput && isFolder(batch.files.front());
  if (batch.files.size() < 2 && !isOneFolder && !hasBatchOption(batch)) {
    return false;
  }
  if (hasOutput) {
    throw ToolError(ExitCode::Usage, "--output takes the result of one file, --out-dir of many");
  }
  if (batch.files.empty() || std::ranges::find(batch.files, "-") != batch.files.end()) {
    throw ToolError(ExitCode::Usage, "standard input cannot be one of many files; name files");
  }
  return true;
}

void runBatch(Program& program,
              const BatchArguments& batch,
              const BatchRule& rule,
              const BatchWork& work) {
  const BatchPlan plan = planBatch(batch, rule);
  if (plan.tasks.empty() && plan.refused.empty()) {
    throw ToolError(
        ExitCode::Input,
        batch.files.front() + ": there is no file here to work on" +
            (plan.leftOut > 0 ? "; what is left out by its name is taken when it is named" : ""));
  }
  tools::Report& report = program.tool.report;
  Journal journal(report, rule.done, plan.tasks.size() + plan.refused.size());
  std::ranges::for_each(plan.skipped, [&](const BatchExcuse& one) { journal.skip(one); });
  std::ranges::for_each(plan.refused, [&](const BatchExcuse& one) { journal.refuse(one); });
  workOnAll(plan.tasks, threadsFor(batch, plan.tasks.size()), work, journal);
  program.tool.exit = journal.summarize(plan.leftOut);
  report.told();
}

}  // namespace qx::ssf
