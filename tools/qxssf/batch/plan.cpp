#include "tools/qxssf/batch/plan.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace qx::ssf {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMessage = ".p7m";
constexpr std::string_view kSignature = ".p7s";

bool isMessageName(std::string_view name) {
  return name.ends_with(kMessage) || name.ends_with(kSignature);
}

bool takesOff(Naming naming) {
  return naming == Naming::TakeOff || naming == Naming::TakeOffIntoFolder;
}

std::string withoutSuffix(std::string path) {
  if (isMessageName(path)) {
    path.resize(path.size() - kMessage.size());
  }
  return path;
}

std::string outputName(const fs::path& path, Naming naming) {
  switch (naming) {
    case Naming::AddMessage:
      return path.string().append(kMessage);
    case Naming::AddSignature:
      return path.string().append(kSignature);
    case Naming::TakeOff:
    case Naming::TakeOffIntoFolder:
      return withoutSuffix(path);
  }
  return path;
}

std::string realName(const fs::path& path) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(path, error);
  return error ? path.string() : real.string();
}

/// Planner fills a plan, operand by operand.
class Planner {
 public:
  Planner(const BatchArguments& batch, const BatchRule& rule)
      : batch_(&batch),
        naming_(rule.naming),
        folder_(batch.folder.empty() ? "" : realName(batch.folder)) {}

  void addOperand(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) {
      addFolder(path);
    } else if (fs::exists(status) && !fs::is_regular_file(status)) {
      plan_.skipped.push_back({path, "is no regular file"});
    } else {
      addFile(path, path.filename(), tools::InputKind::File);
    }
  }

  // Once all inputs are known: none of them may be written over, and none of the outputs twice.
  BatchPlan finish() {
    std::set<std::string> inputs;
    for (const BatchTask& task : plan_.tasks) {
      inputs.insert(realName(task.input));
    }
    std::set<std::string> outputs;
    std::erase_if(plan_.tasks, [&](const BatchTask& task) {
      std::string why = faultOf(task, inputs, outputs);
      const bool isRefused = !why.empty();
      if (isRefused) {
        plan_.refused.push_back({task.input, std::move(why)});
      }
      return isRefused;
    });
    return std::move(plan_);
  }

 private:
  void addFolder(const fs::path& top) {
    std::vector<fs::path> open = {top};
    while (!open.empty()) {
      const fs::path folder = open.back();
      open.pop_back();
      std::error_code error;
      std::set<fs::path> entries;
      for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
           entry.increment(error)) {
        entries.insert(entry->path());
      }
      if (error) {
        plan_.refused.push_back({folder, error.message()});
      }
      std::vector<fs::path> below;
      for (const fs::path& entry : entries) {
        addFound(entry, entry.lexically_relative(top), below);
      }
      // The first one next.
      open.insert(open.end(), below.rbegin(), below.rend());
    }
  }

  void addFound(const fs::path& path, const fs::path& relative, std::vector<fs::path>& below) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (fs::is_directory(status)) {
      if (!batch_->recursive) {
        plan_.skipped.push_back({path, "is a folder; --recursive goes into it"});
      } else if (folder_.empty() || realName(path) != folder_) {
        below.push_back(path);
      }
    } else if (fs::is_symlink(status)) {
      plan_.skipped.push_back({path, "is a link"});
    } else if (!fs::is_regular_file(status)) {
      plan_.skipped.push_back({path, "is no regular file"});
    } else if (!isWanted(path.string())) {
      ++plan_.leftOut;
    } else {
      addFile(path, relative, tools::InputKind::FoundFile);
    }
  }

  // Messages are looked for by their names; and what was made here before is not made into messages again.
  bool isWanted(std::string_view name) const {
    if (naming_ == Naming::TakeOff) {
      return name.ends_with(kMessage);
    }
    return takesOff(naming_) ? isMessageName(name) : !folder_.empty() || !isMessageName(name);
  }

  void addFile(const fs::path& path, const fs::path& relative, tools::InputKind kind) {
    BatchTask task{.input = path, .output = "", .content = "", .kind = kind};
    if (!batch_->folder.empty()) {
      task.output = outputName(fs::path(batch_->folder) / relative, naming_);
    } else if (naming_ != Naming::TakeOffIntoFolder) {
      task.output = outputName(path, naming_);
    }
    if (takesOff(naming_) && task.input.ends_with(kSignature)) {
      std::error_code error;
      const std::string content = withoutSuffix(task.input);
      task.content = fs::is_regular_file(content, error) ? content : "";
    }
    plan_.tasks.push_back(std::move(task));
  }

  std::string faultOf(const BatchTask& task,
                      const std::set<std::string>& inputs,
                      std::set<std::string>& outputs) const {
    if (task.output.empty()) {
      return "";
    }
    const std::string real = realName(task.output);
    if (inputs.contains(real)) {
      return task.output + " is one of the files to read; --out-dir writes elsewhere";
    }
    if (!outputs.insert(real).second) {
      return task.output + " is the output of another file, too";
    }
    std::error_code error;
    const fs::file_status there = fs::symlink_status(task.output, error);
    if (fs::exists(there) && !batch_->force) {
      return task.output + " is there already; --force replaces it";
    }
    return !fs::exists(there) || fs::is_regular_file(there)
               ? ""
               : task.output + " is no regular file and is not replaced";
  }

  const BatchArguments* batch_;
  Naming naming_;
  std::string folder_;
  BatchPlan plan_;
};

}  // namespace

BatchPlan planBatch(const BatchArguments& batch, const BatchRule& rule) {
  Planner planner(batch, rule);
  for (const std::string& file : batch.files) {
    planner.addOperand(file);
  }
  return planner.finish();
}

}  // namespace qx::ssf
