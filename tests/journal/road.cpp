#include "tests/journal/road.h"

#include <cstdlib>

#include "tests/journal/journal.h"

namespace qx::test {

std::vector<NamedRoad> joined(std::initializer_list<std::vector<NamedRoad>> parts) {
  std::vector<NamedRoad> all;
  for (const auto& roads : parts) {
    all.insert(all.end(), roads.begin(), roads.end());
  }
  return all;
}

std::vector<NamedRoad> allRoads() {
  return joined(
      {plainRoads(), signRoads(), addSignRoads(), verifyRoads(), envelopeRoads(), developeRoads()});
}

std::vector<NamedRoad> allRefusals() {
  return joined({plainRefusals(),
                 signRefusals(),
                 addSignRefusals(),
                 verifyRefusals(),
                 envelopeRefusals(),
                 developeRefusals()});
}

std::unique_ptr<Road> prepared(const NamedRoad& road) {
  provider().reset();
  gConfig = Config();
  setenv("TZ", "QXT-1", 1);  // NOLINT(concurrency-mt-unsafe): no other thread
  return road.make();
}

std::vector<std::string> outcome(Road& road, SAPRETURN code) {
  std::vector<std::string> lines = {"return " + std::to_string(code),
                                    "output '" + visible(road.output().text()) + "'"};
  for (const SigRcpSsfInformation* record : road.records()) {
    lines.push_back(
        "record " +
        visible(idOf(*record) + " | " + profileOf(*record) + " | " + passwordOf(*record) + " | ") +
        std::to_string(record->result));
  }
  return lines;
}

}  // namespace qx::test
