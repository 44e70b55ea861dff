#include "tools/qxssf/batch/journal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace qx::ssf {
namespace {

using tools::ExitCode;

// Back to the start of the line, which is then erased (ECMA-48: CR, EL).
constexpr const char* kEraseLine = "\r\x1b[K";

ExitCode exitOf(const tools::Report& one) {
  const auto error = one.facts().find("error");
  return error == one.facts().end() ? ExitCode::Good
                                    : static_cast<ExitCode>((*error)["exitCode"].get<int>());
}

}  // namespace

Journal::Journal(tools::Report& whole, const char* done, std::size_t total)
    : whole_(&whole), done_(done), total_(total), isTerminal_(isatty(STDERR_FILENO) != 0) {
  showProgress();
}

Journal::~Journal() {
  hideProgress();
}

void Journal::skip(const BatchExcuse& excuse) {
  const std::lock_guard lock(mutex_);
  ++skipped_;
  hideProgress();
  if (whole_->isJson()) {
    printJson({{"file", excuse.input}, {"skipped", excuse.why}});
  } else {
    complain(excuse.input + ": skipped: " + excuse.why);
  }
  showProgress();
}

void Journal::refuse(const BatchExcuse& excuse) {
  tools::Report one("qxssf");
  one.collect();
  one.error(ExitCode::Input, excuse.input + ": " + excuse.why);
  tell(excuse.input, one);
}

void Journal::tell(const std::string& input, const tools::Report& one) {
  const std::lock_guard lock(mutex_);
  count(exitOf(one));
  hideProgress();
  print(input, one);
  showProgress();
}

ExitCode Journal::summarize(std::size_t leftOut) {
  const std::lock_guard lock(mutex_);
  hideProgress();
  isTerminal_ = false;
  if (whole_->isJson()) {
    printJson({{"summary",
                {{"files", total_},
                 {done_, good_},
                 {"failed", failed_},
                 {"skipped", skipped_},
                 {"leftOut", leftOut},
                 {"exitCode", static_cast<int>(worst_)}}}});
    return worst_;
  }
  std::string text = std::to_string(total_) + (total_ == 1 ? " file: " : " files: ") +
                     std::to_string(good_) + " " + done_ + ", " + std::to_string(failed_) +
                     " failed";
  if (skipped_ > 0) {
    text += ", " + std::to_string(skipped_) + " skipped";
  }
  if (leftOut > 0) {
    text += ", " + std::to_string(leftOut) + " left out by their names";
  }
  static_cast<void>(std::fprintf(stdout, "%s\n", text.c_str()));
  return worst_;
}

void Journal::count(ExitCode code) {
  ++(code == ExitCode::Good ? good_ : failed_);
  worst_ = std::max(worst_, code);
}

void Journal::print(const std::string& input, const tools::Report& one) {
  if (whole_->isJson()) {
    nlohmann::ordered_json object = {{"file", input}, {"exitCode", static_cast<int>(exitOf(one))}};
    object.update(one.facts());
    printJson(object);
    return;
  }
  warnOnce(one);
  for (const std::string& line : one.lines()) {
    static_cast<void>(std::fprintf(stdout, "%s\n", tools::printable(line).c_str()));
  }
  // In the order in which it happened, when both go to one place.
  static_cast<void>(std::fflush(stdout));
  if (const auto error = one.facts().find("error"); error != one.facts().end()) {
    complain((*error)["message"]);
  }
}

// What is wrong with a recipient is wrong in every file.
void Journal::warnOnce(const tools::Report& one) {
  const auto warnings = one.facts().find("warnings");
  if (warnings == one.facts().end()) {
    return;
  }
  for (const std::string text : *warnings) {
    if (warnings_.insert(text).second) {
      complain("warning: " + text);
    }
  }
}

void Journal::complain(const std::string& text) const {
  static_cast<void>(std::fprintf(stderr, "qxssf: %s\n", tools::printable(text).c_str()));
}

void Journal::printJson(const nlohmann::ordered_json& object) const {
  const std::string text =
      object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  static_cast<void>(std::fprintf(stdout, "%s\n", text.c_str()));
  static_cast<void>(std::fflush(stdout));
}

void Journal::showProgress() const {
  if (isTerminal_) {
    static_cast<void>(
        std::fprintf(stderr, "%zu of %zu files, %zu failed", good_ + failed_, total_, failed_));
  }
}

void Journal::hideProgress() const {
  if (isTerminal_) {
    static_cast<void>(std::fputs(kEraseLine, stderr));
  }
}

}  // namespace qx::ssf
