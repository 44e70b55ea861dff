#ifndef QX_TOOLS_QXSSF_BATCH_JOURNAL_H_
#define QX_TOOLS_QXSSF_BATCH_JOURNAL_H_

#include <cstddef>
#include <mutex>
#include <set>
#include <string>

#include "tools/common/report.h"
#include "tools/qxssf/batch/plan.h"

namespace qx::ssf {

/// Journal tells of a batch as it goes on, from several threads at once: the files on standard output in
/// the order in which they are done, what failed on standard error, and how far it is when that is a
/// terminal.
class Journal {
 public:
  /// `done` is what becomes of a file, `total` how many there are, `whole` the command's report.
  Journal(tools::Report& whole, const char* done, std::size_t total);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;
  Journal(Journal&&) = delete;
  Journal& operator=(Journal&&) = delete;

  void skip(const BatchExcuse& excuse);

  /// refuse and tell count a file: one that could not be worked on, and one whose report, which was
  /// collected, is complete.
  void refuse(const BatchExcuse& excuse);
  void tell(const std::string& input, const tools::Report& one);

  /// summarize ends the journal; the exit code of all is the result.
  tools::ExitCode summarize(std::size_t leftOut);

 private:
  void count(tools::ExitCode code);
  void print(const std::string& input, const tools::Report& one);
  void warnOnce(const tools::Report& one);
  void complain(const std::string& text) const;
  void printJson(const nlohmann::ordered_json& object) const;
  void showProgress() const;
  void hideProgress() const;

  tools::Report* whole_;
  const char* done_;
  std::size_t total_;
  bool isTerminal_;
  std::mutex mutex_;
  std::size_t good_ = 0;
  std::size_t failed_ = 0;
  std::size_t skipped_ = 0;
  tools::ExitCode worst_ = tools::ExitCode::Good;
  std::set<std::string> warnings_;
};

}  // namespace qx::ssf

#endif
