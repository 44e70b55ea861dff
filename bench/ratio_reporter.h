#ifndef QX_BENCH_RATIO_REPORTER_H_
#define QX_BENCH_RATIO_REPORTER_H_

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace qx::bench {

/// RatioReporter prints one table: a line for each piece of work, ours beside the peer's, with the
/// ratios of the rates (above 1: ours does more in the same time). A benchmark's name is
/// "WORK|ours" or "WORK|peer"; of its repetitions the median counts. Once in the calling thread's processor
/// time, for others may be at work on the machine, and once by the clock, for what is waited for costs too.
class RatioReporter : public ::benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Times {
    std::vector<double> processor;
    std::vector<double> clock;
  };

  struct Pair {
    Times ours;
    Times peer;
  };

  std::vector<std::string> order_;
  std::map<std::string, Pair> pairs_;
};

}  // namespace qx::bench

#endif
