// Every call of the platform on every good road fails once, with a last error and without one, every size on
// it is wrong, and every allocation fails. The tables of failures say what comes of it.
#include <array>
#include <iostream>
#include <sstream>

#include "tests/journal/failures.h"
#include "tests/journal/journal.h"
#include "tests/journal/road.h"

namespace qx::test::sweep_test {
namespace {

constexpr DWORD kError = 0x8009ABCD;  // no other failure sets it
constexpr const char* kErrorBanner = scripted::kError;
constexpr const char* kSuccessBanner = scripted::kSuccess;

std::string hexOf(DWORD error) {
  std::array<char, 12> text{};
  std::snprintf(text.data(), text.size(), "%08x", error);
  return text.data();
}

std::string resultsOf(Road& road) {
  std::string text;
  for (const SigRcpSsfInformation* record : road.records()) {
    text += (text.empty() ? "" : ",") + std::to_string(record->result);
  }
  return text.empty() ? "-" : text;
}

/// What a failed call leaves in its outputs.
bool isAsOnFailure(OnFailure rule, const Output& output) {
  switch (rule) {
    case OnFailure::Nothing:
      return output.bytes() == nullptr && output.size() == 0;
    case OnFailure::Untouched:
      return output.isUntouched() && output.size() == 0;
    case OnFailure::ContentMayStay:
      return output.size() == 0 || std::string_view("content").starts_with(output.text());
    case OnFailure::LengthUntouched:
      return output.isUntouched() && output.isLengthUntouched();
  }
  return false;
}

/// The password of the caller's first record is spaces when its memory is given back.
void expectWiped(std::unique_ptr<Road> road) {
  for (const SigRcpSsfInformation* record : road->records()) {
    if (record->passwordLength > 0) {
      const auto length = static_cast<std::size_t>(record->passwordLength);
      const scripted::FreeWatch watch(record->password, length);
      road.reset();
      EXPECT_EQ(watch.contents(), std::string(length, ' '));
      return;
    }
  }
}

class Sweep : public testing::TestWithParam<const char*> {
 protected:
  void TearDown() override {
    gConfig = Config();
    provider().reset();
  }

  /// Whatever has failed: the banner last, the outputs as promised, nothing left over, no PIN in memory.
  static void expectOrder(const NamedRoad& named, Road& road, SAPRETURN code, const PinWatch& pin) {
    const std::vector<std::string> lines = provider().traceTexts();
    if (named.operation == "SsfVersion") {
      EXPECT_THAT(lines,
                  testing::Not(testing::Contains(testing::AnyOf(kErrorBanner, kSuccessBanner))));
    } else {
      EXPECT_EQ(lines.back(), code == SSF_API_OK ? kSuccessBanner : kErrorBanner);
    }
    if (code != SSF_API_OK) {
      EXPECT_TRUE(isAsOnFailure(named.onFailure, road.output())) << road.output().text();
    }
    EXPECT_THAT(provider().leftovers(), testing::IsEmpty());
    // Short ones stand on the stack, where no watch sees them go.
    if (!provider().pinsSet().empty() && provider().pinsSet().back() == kLongPin) {
      EXPECT_EQ(pin.leftover(), std::string(std::string_view(kLongPin).size(), ' '));
    }
  }

  /// The lines that tell the error.
  static void expectTold(const Consequence& written, DWORD error) {
    const std::string& told = written.told;
    const std::vector<std::string> journal = journalSoFar();
    const auto failed = std::ranges::find_if(journal, [&](const std::string& line) {
      return line.ends_with(" -> FAILED " + hexOf(error));
    });
    ASSERT_NE(failed, journal.end());
    const std::string line = "#error#: " + hexOf(error) + "\\n";
    const auto tells = [&](const std::string& each) { return each.ends_with(line); };
    const bool isNext = failed + 1 != journal.end() && tells(*(failed + 1));
    EXPECT_EQ(isNext, told == "pair" || told == "library");
    EXPECT_EQ(std::any_of(failed, journal.end(), tells),
              isNext || told == "late" || (told == "saved" && error != ERROR_SUCCESS));
    std::string own = written.line;
    if (const std::size_t at = own.find("${error}"); at != std::string::npos) {
      own.replace(at, 8, error == ERROR_SUCCESS ? "0" : hexOf(error));
    }
    const auto isOwn = [&](const std::string& each) { return each.ends_with(": " + own + "\\n"); };
    EXPECT_TRUE(own.empty() || std::any_of(failed, journal.end(), isOwn)) << own;
    if (isNext && failed + 2 != journal.end()) {
      EXPECT_EQ((failed + 2)->starts_with("FormatMessageA(0x1300, NULL, " + hexOf(error)),
                told == "pair" && error != ERROR_SUCCESS);
    }
  }

  /// The calls on the road that can fail.
  static std::vector<std::string> callsOf(const NamedRoad& named) {
    const auto road = prepared(named);
    EXPECT_EQ(road->run(), SSF_API_OK);
    return provider().failable();
  }

  unsigned failCalls(const NamedRoad& named) {
    std::string good;
    std::vector<std::string> calls;
    {
      const auto road = prepared(named);
      EXPECT_EQ(road->run(), SSF_API_OK);
      good = road->output().text();
      calls = provider().failable();
    }
    for (unsigned n = 1; n <= calls.size(); ++n) {
      const Consequence written = table_.of(named.name, {calls.begin(), calls.begin() + n});
      for (const DWORD error : {kError, ERROR_SUCCESS}) {
        SCOPED_TRACE(calls[n - 1] + " fails with " + hexOf(error) + " (call " + std::to_string(n) +
                     ")");
        auto road = prepared(named);
        const PinWatch pin;
        provider().failAny(n, error);
        const SAPRETURN code = road->run();
        EXPECT_EQ(std::to_string(code) + " " + resultsOf(*road),
                  written.code + " " + written.results);
        EXPECT_EQ(provider().failuresSeen(), 1U);
        expectOrder(named, *road, code, pin);
        expectTold(written, error);
        if (code == SSF_API_OK && written.told != "other") {
          EXPECT_EQ(road->output().text(), good);
        }
        expectWiped(std::move(road));
      }
    }
    return 2 * static_cast<unsigned>(calls.size());
  }

  /// A read that finds more than it has room for comes to what any failure of it comes to. What is shorter
  /// than announced may be taken as it is, or it makes a difference that is written down.
  void expectKnown(const NamedRoad& named,
                   const std::vector<std::string>& calls,
                   unsigned n,
                   const std::string& code,
                   const std::string& results) {
    const bool hasFailed = std::ranges::any_of(provider().journal(), [](const std::string& line) {
      return line.ends_with(" -> FAILED " + hexOf(ERROR_MORE_DATA));
    });
    if (hasFailed) {
      const unsigned failed = calls[n - 1].ends_with("size)") ? n + 1 : n;
      const Consequence written = table_.of(named.name, {calls.begin(), calls.begin() + failed});
      EXPECT_EQ(code + " " + results, written.code + " " + written.results);
    } else if (code != "0") {
      EXPECT_TRUE(table_.allows("wrong size", named.name, code, results)) << code << " " << results;
    }
  }

  unsigned missizeCalls(const NamedRoad& named) {
    constexpr std::array kDifferences = {1, -1, -1'000'000};  // the last one: nothing is left
    const std::vector<std::string> calls = callsOf(named);
    unsigned seen = 0;
    for (unsigned n = 1; n <= calls.size(); ++n) {
      for (const int difference : kDifferences) {
        SCOPED_TRACE(calls[n - 1] + " is off by " + std::to_string(difference) + " (call " +
                     std::to_string(n) + ")");
        auto road = prepared(named);
        const PinWatch pin;
        provider().missizeAny(n, difference);
        const SAPRETURN code = road->run();
        if (provider().failuresSeen() > 0) {
          ++seen;
          expectKnown(named, calls, n, std::to_string(code), resultsOf(*road));
          expectOrder(named, *road, code, pin);
        }
        expectWiped(std::move(road));
      }
    }
    return seen;
  }

  unsigned failAllocations(const NamedRoad& named) {
    for (unsigned n = 1;; ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      auto road = prepared(named);
      const PinWatch pin;
      SAPRETURN code = -1;
      bool hasHappened = false;
      {
        const scripted::AllocationFailure failure(n);
        code = road->run();
        hasHappened = failure.hasHappened();
      }
      if (!hasHappened) {
        EXPECT_EQ(code, SSF_API_OK);
        return n - 1;
      }
      EXPECT_TRUE(table_.allows("allocation", named.name, std::to_string(code), resultsOf(*road)))
          << code << " " << resultsOf(*road);
      expectOrder(named, *road, code, pin);
      expectWiped(std::move(road));
    }
  }

  FailureTable table_{GetParam()};
};

TEST_P(Sweep, SurvivesEveryFailure) {
  unsigned roads = 0;
  unsigned calls = 0;
  unsigned sizes = 0;
  unsigned allocations = 0;
  for (const NamedRoad& road : allRoads()) {
    if (road.operation == GetParam()) {
      SCOPED_TRACE(road.name);
      ++roads;
      calls += failCalls(road);
      sizes += missizeCalls(road);
      allocations += failAllocations(road);
    }
  }
  EXPECT_GT(roads, 0U);
  EXPECT_THAT(table_.unused(), testing::IsEmpty());
  std::cout << GetParam() << ": " << roads << " roads, " << calls << " failed calls, " << sizes
            << " wrong sizes, " << allocations << " failed allocations\n";
}

INSTANTIATE_TEST_SUITE_P(EveryOperation,
                         Sweep,
                         testing::Values("SsfSign",
                                         "SsfAddSign",
                                         "SsfVerify",
                                         "SsfEnvelope",
                                         "SsfDevelope",
                                         "SsfDigest",
                                         "SsfEncode",
                                         "SsfDecode",
                                         "SsfQueryProperties",
                                         "SsfVersion"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace
}  // namespace qx::test::sweep_test
