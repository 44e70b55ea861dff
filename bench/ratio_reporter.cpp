#include "bench/ratio_reporter.h"

#include <algorithm>
#include <cstdio>

namespace qx::bench {
namespace {

constexpr double kMicrosecondsASecond = 1e6;

double median(std::vector<double> values) {
  if (values.empty()) {
    return 0;
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double ratio(double ours, double peer) {
  return ours > 0 ? peer / ours : 0;
}

}  // namespace

bool RatioReporter::ReportContext(const Context& /*context*/) {
  return true;
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    const std::string& name = run.run_name.function_name;
    const std::size_t bar = name.rfind('|');
    if (run.run_type != Run::RT_Iteration || bar == std::string::npos) {
      continue;
    }
    if (run.error_occurred) {
      std::printf("%s: %s\n", name.c_str(), run.error_message.c_str());
      continue;
    }
    const std::string work = name.substr(0, bar);
    if (!pairs_.contains(work)) {
      order_.push_back(work);
    }
    const double toMicroseconds = kMicrosecondsASecond / static_cast<double>(run.iterations);
    Times& times = name.substr(bar + 1) == "ours" ? pairs_[work].ours : pairs_[work].peer;
    times.processor.push_back(run.cpu_accumulated_time * toMicroseconds);
    times.clock.push_back(run.real_accumulated_time * toMicroseconds);
  }
}

void RatioReporter::Finalize() {
  std::printf("%-44s %10s %10s %6s %16s %10s %6s\n",
              "work",
              "ours us",
              "peer us",
              "ratio",
              "by the clock",
              "peer us",
              "ratio");
  for (const std::string& work : order_) {
    const Pair& pair = pairs_[work];
    const double ours = median(pair.ours.processor);
    const double peer = median(pair.peer.processor);
    const double oursByClock = median(pair.ours.clock);
    const double peerByClock = median(pair.peer.clock);
    std::printf("%-44s %10.1f %10.1f %6.2f %16.1f %10.1f %6.2f\n",
                work.c_str(),
                ours,
                peer,
                ratio(ours, peer),
                oursByClock,
                peerByClock,
                ratio(oursByClock, peerByClock));
  }
}

}  // namespace qx::bench
