#ifndef QX_BENCH_RATIO_REPORTER_H_
#define QX_BENCH_RATIO_REPORTER_H_

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace qx::bench {

/// RatioReporter prints one table: a line for each piece of work, ours beside the peer's, with the
/// ratio of the rates (above 1: ours does more in the same time). A benchmark's name is
/// "WORK|ours" or "WORK|peer"; of its repetitions the median counts, in processor time: others may be at
/// work on the machine, and neither side waits for anything.
class RatioReporter : public ::benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Pair {
    std::vector<double> ours;
    std::vector<double> peer;
  };

  std::vector<std::string> order_;
  std::map<std::string, Pair> pairs_;
};

}  // namespace qx::bench

#endif
