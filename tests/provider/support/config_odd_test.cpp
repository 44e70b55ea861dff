// Files that an editor, a copy or somebody else left in an odd state.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/support/config.h"
#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::test::config_odd_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kGood =
    "[tsp]\ndefault_url = http://tsa.example/\ntimeout_ms = 5000\n"
    "password_file = /etc/secret\n[revocation]\nonline = yes\n"
    "[pin]\ncache_seconds = 60\nkdf_rounds = 2000\n[trace]\nfile = /var/log/x\nlevel = 8\n";

class ConfigOdd : public ::testing::Test {
 protected:
  Configuration read(const std::string& text) {
    environment_.set("QXPROVIDER_CONF", folder_.write("provider.conf", text));
    return readConfiguration();
  }

  /// Whatever the file holds, the values can be worked with.
  static void expectUsable(const Configuration& config, const std::string& what) {
    EXPECT_GE(config.tsp.timeoutMs, 1U) << what;
    EXPECT_GE(config.revocation.timeoutMs, 1U) << what;
    EXPECT_LE(config.trace.level, 15U) << what;
    EXPECT_LE(config.pin.cacheSeconds, 86'400U) << what;
    EXPECT_GE(config.pin.kdfRounds, 1000U) << what;
    EXPECT_TRUE(isAbsolute(config.tsp.passwordFile)) << what;
    EXPECT_TRUE(isAbsolute(config.http.caFile)) << what;
    EXPECT_TRUE(config.trace.output != TraceOutput::File || config.trace.file.starts_with('/'))
        << what;
    for (const std::string& problem : config.problems) {
      EXPECT_TRUE(problem.starts_with("configuration: ")) << what << ": " << problem;
    }
  }

 private:
  static bool isAbsolute(const std::string& path) { return path.empty() || path.starts_with('/'); }

  TempDir folder_;
  ScopedEnvironment environment_{{"XDG_CONFIG_HOME", ""}};
};

TEST_F(ConfigOdd, ReadsTheLinesOfOtherSystems) {
  std::string text = kGood;
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.replace(at, 1, "\r\n");
  }
  const Configuration config = read(text);
  EXPECT_EQ(config.tsp.defaultUrl, "http://tsa.example/");
  EXPECT_TRUE(config.revocation.online);
  EXPECT_EQ(config.trace.level, 8U);
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(ConfigOdd, StepsOverAByteOrderMark) {
  const Configuration config = read("\xEF\xBB\xBF" + kGood);
  EXPECT_EQ(config.tsp.timeoutMs, 5000U);
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(ConfigOdd, ReadsALastLineWithoutItsEnd) {
  EXPECT_EQ(read("[tsp]\ntimeout_ms = 77").tsp.timeoutMs, 77U);
}

TEST_F(ConfigOdd, ReadsAnEmptyFileAndOneOfBlanks) {
  for (const char* text : {"", "\n", "\r\n\r\n", " \t \n", "#", "# only a comment\n"}) {
    const Configuration config = read(text);
    EXPECT_EQ(config.tsp.timeoutMs, 10'000U) << text;
    EXPECT_THAT(config.problems, IsEmpty()) << text;
  }
}

TEST_F(ConfigOdd, KeepsBytesBeyondAscii) {
  EXPECT_EQ(read("[tsp]\nuser = \xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD\n").tsp.user,
            "\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD");
  EXPECT_EQ(read("[tsp]\nuser = \xFF\xFE\n").tsp.user, "\xFF\xFE");
}

TEST_F(ConfigOdd, ReadsALineLongerThanAnyBuffer) {
  const std::string longUrl = "http://tsa.example/" + std::string(60'000, 'x');
  const Configuration config = read("[tsp]\ndefault_url = " + longUrl + "\ntimeout_ms = 5\n");
  EXPECT_EQ(config.tsp.defaultUrl, longUrl);
  EXPECT_EQ(config.tsp.timeoutMs, 5U);
}

// A dollar stands for a variable: one that is unknown makes the whole file unreadable, and that is said.
TEST_F(ConfigOdd, SaysWhereAVariableIsUnknown) {
  const Configuration config = read("[tsp]\ntimeout_ms = 5\nuser = pa$$word\n");
  EXPECT_EQ(config.tsp.timeoutMs, 10'000U);
  EXPECT_THAT(config.problems, ElementsAre(HasSubstr("line 3")));
  EXPECT_EQ(read("[tsp]\nuser = pa\\$\\$word\n").tsp.user, "pa$$word");
}

// A copy that was interrupted.
TEST_F(ConfigOdd, IsUsableWhereverTheFileIsCut) {
  for (std::size_t length = 0; length <= kGood.size(); ++length) {
    const Configuration config = read(kGood.substr(0, length));
    expectUsable(config, "the first " + std::to_string(length));
    EXPECT_LE(config.problems.size(), 1U) << length;
  }
}

TEST_F(ConfigOdd, IsUsableWhicheverByteIsOdd) {
  for (std::size_t at = 0; at < kGood.size(); ++at) {
    for (const char odd : {'\0', '\n', '\xFF', '$', '"'}) {
      std::string text = kGood;
      text[at] = odd;
      expectUsable(read(text), "byte " + std::to_string(at) + " is " + std::to_string(odd));
    }
  }
}

TEST_F(ConfigOdd, ComplainsOfValuesThatOnlyLookRight) {
  for (const char* value :
       {"5 000", "5,000", "5000\xC2\xA0", "\xD9\xA5", "5e3", "0b101", "1_000"}) {
    const Configuration config = read("[tsp]\ntimeout_ms = " + std::string(value) + "\n");
    EXPECT_EQ(config.tsp.timeoutMs, 10'000U) << value;
    EXPECT_THAT(config.problems, SizeIs(1)) << value;
  }
}

}  // namespace
}  // namespace qx::test::config_odd_test
