#include "tests/journal/journal.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/qxsapssf/cp1251_text.h"
#include "tests/scripted_provider/scripted_provider.h"

namespace qx::test {
namespace {

using testing_support::utf8;
using Lines = std::vector<std::string>;
using Values = std::map<std::string, std::string>;

constexpr std::string_view kUse = "use ";
constexpr std::string_view kFloating = "~ ";
constexpr unsigned kDepth = 16;
const std::string kFolder = QX_SOURCE_DIR "/tests/journal/expected/";

std::string replaced(std::string text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

/// "NAME KEY=VALUE|KEY=VALUE": the values.
Values valuesOf(std::string_view text) {
  Values values;
  std::istringstream pairs{std::string(text)};
  for (std::string pair; std::getline(pairs, pair, '|');) {
    const std::size_t equals = pair.find('=');
    values[pair.substr(0, equals)] = pair.substr(equals + 1);
  }
  return values;
}

std::string filledIn(std::string line, const Values& values) {
  for (const auto& [key, value] : values) {
    line = replaced(line, "${" + key + "}", value);
    line = replaced(line, "${#" + key + "}", std::to_string(value.size()));
    line = replaced(line, "${+" + key + "}", std::to_string(value.size() + 1));
    line = replaced(line, "${*" + key + "}", std::to_string((value.size() + 1) * sizeof(wchar_t)));
  }
  EXPECT_EQ(line.find("${"), std::string::npos) << "no value: " << line;
  return line;
}

// NOLINTNEXTLINE(misc-no-recursion): no deeper than kDepth
void append(Lines& lines, const std::string& file, const Values& values, unsigned depth) {
  std::ifstream in(kFolder + file);
  ASSERT_TRUE(in && depth < kDepth) << file;
  for (std::string raw; std::getline(in, raw);) {
    if (raw.empty() || raw.starts_with("--")) {
      continue;
    }
    const std::string line = filledIn(raw, values);
    if (!line.starts_with(kUse)) {
      lines.push_back(line);
      continue;
    }
    const std::string_view rest = std::string_view(line).substr(kUse.size());
    const std::size_t end = std::min(rest.find(' '), rest.size());
    append(lines,
           std::string(rest.substr(0, end)) + ".part",
           end == rest.size() ? Values() : valuesOf(rest.substr(end + 1)),
           depth + 1);
  }
}

/// Takes the floating lines out; they are released once each, wherever that is.
std::string missingReleases(Lines& expected, Lines& actual) {
  std::string missing;
  for (const std::string& line : expected) {
    if (!line.starts_with(kFloating)) {
      continue;
    }
    const auto found = std::ranges::find(actual, line.substr(kFloating.size()));
    if (found == actual.end()) {
      missing += "missing: " + line + "\n";
    } else {
      actual.erase(found);
    }
  }
  std::erase_if(expected, [](const std::string& line) { return line.starts_with(kFloating); });
  return missing;
}

}  // namespace

Lines expectedJournal(std::string_view name) {
  Lines lines;
  append(lines, std::string(name) + ".journal", {}, 0);
  return lines;
}

std::string visible(std::string text) {
  text = replaced(replaced(utf8(text), "\n", "\\n"), "\r", "\\r");
  return replaced(std::move(text), std::string_view("\0", 1), "\\0");
}

Lines journalSoFar() {
  Lines lines;
  for (const std::string& line : scripted::provider().fullJournal()) {
    lines.push_back(visible(line));
  }
  return lines;
}

std::string difference(Lines expected, Lines actual) {
  std::string text = missingReleases(expected, actual);
  const auto [left, right] = std::ranges::mismatch(expected, actual);
  if (left == expected.end() && right == actual.end()) {
    return text;
  }
  const auto next = [](auto at, auto end) { return at == end ? "(the end)" : *at; };
  text += "line " + std::to_string(left - expected.begin() + 1) +
          "\n  expected: " + next(left, expected.end()) +
          "\n  happened: " + next(right, actual.end()) + "\nall of it:\n";
  for (const std::string& line : actual) {
    text += "  " + line + "\n";
  }
  return text;
}

}  // namespace qx::test
