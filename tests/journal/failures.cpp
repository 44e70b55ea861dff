#include "tests/journal/failures.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace qx::test {
namespace {

constexpr std::string_view kArrow = " => ";

/// "CALL #3": takes the number off.
unsigned occurrenceOf(std::string& call) {
  const std::size_t mark = call.rfind(" #");
  if (mark == std::string::npos) {
    return 0;
  }
  const auto number = static_cast<unsigned>(std::stoul(call.substr(mark + 2)));
  call.resize(mark);
  return number;
}

}  // namespace

FailureTable::FailureTable(std::string_view operation) {
  std::ifstream in(QX_SOURCE_DIR "/tests/journal/expected/" + std::string(operation) + ".failures");
  EXPECT_TRUE(in) << operation;
  std::string road;
  for (std::string line; std::getline(in, line);) {
    const std::size_t arrow = line.find(kArrow);
    if (line.starts_with("[")) {
      road = line.substr(1, line.size() - 2);
    } else if (arrow != std::string::npos && !line.starts_with("--")) {
      Row row{.road = road, .call = line.substr(0, arrow)};
      row.occurrence = occurrenceOf(row.call);
      std::istringstream rest(line.substr(arrow + kArrow.size()));
      rest >> row.consequence.code >> row.consequence.results >> row.consequence.told >> std::ws;
      std::getline(rest, row.consequence.line);
      rows_.push_back(std::move(row));
    }
  }
}

Consequence FailureTable::of(std::string_view road, const std::vector<std::string>& callsSoFar) {
  const auto fits = [&](const Row& row) {
    const auto beginsSo = [&](const std::string& call) { return call.starts_with(row.call); };
    const auto count = std::ranges::count_if(callsSoFar, beginsSo);
    return beginsSo(callsSoFar.back()) && (row.occurrence == 0 || row.occurrence == count);
  };
  for (const std::string_view wanted : {road, std::string_view()}) {
    for (Row& row : rows_) {
      if (row.road == wanted && fits(row)) {
        row.isUsed = true;
        return row.consequence;
      }
    }
  }
  return {};
}

bool FailureTable::allows(std::string_view fault,
                          std::string_view road,
                          const std::string& code,
                          const std::string& results) {
  bool isAllowed = false;
  for (Row& row : rows_) {
    if (row.call == fault && (row.road.empty() || row.road == road) &&
        row.consequence.code == code && row.consequence.results == results) {
      row.isUsed = true;
      isAllowed = true;
    }
  }
  return isAllowed;
}

std::vector<std::string> FailureTable::unused() const {
  std::vector<std::string> texts;
  for (const Row& row : rows_) {
    if (!row.isUsed) {
      texts.push_back("[" + row.road + "] " + row.call + " #" + std::to_string(row.occurrence) +
                      " => " + row.consequence.code + " " + row.consequence.results);
    }
  }
  return texts;
}

}  // namespace qx::test
