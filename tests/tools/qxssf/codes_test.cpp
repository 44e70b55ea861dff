#include "tools/qxssf/codes.h"

#include <map>
#include <regex>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::ssf::codes_test {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;
using tools::ExitCode;

/// The names and numbers of the interface's header that begin so.
std::map<std::string, SAPRETURN> constants(const std::string& prefix) {
  const std::string header = test::readFile(QX_SOURCE_DIR "/qxsapssf/ssf.h");
  std::map<std::string, SAPRETURN> found;
  const std::regex form("(" + prefix + "[A-Z_]+) = (\\d+)");
  for (std::sregex_iterator match(header.begin(), header.end(), form), end; match != end; ++match) {
    found[(*match)[1]] = std::stoi((*match)[2]);
  }
  return found;
}

// What a tool cannot provoke, and so has no words for: wrong records and places are its own mistakes.
const std::set<std::string>& faultsOfOurs() {
  static const std::set<std::string> kFaults = {
      "SSF_API_INFO_INVALID_PARAMETER", "SSF_API_INFO_MISSING", "SSF_API_INFO_LIST_EMPTY"};
  return kFaults;
}

TEST(Codes, HaveARowForEveryCodeOfTheInterface) {
  const auto codes = constants("SSF_API_");
  ASSERT_GE(codes.size(), 17U);
  for (const auto& [name, code] : codes) {
    const CodeMeaning& meaning = meaningOf(code);
    if (faultsOfOurs().contains(name)) {
      EXPECT_EQ(meaning.exit, ExitCode::Internal) << name;
    } else {
      EXPECT_EQ(meaning.code, code) << name;
      EXPECT_EQ(meaning.name, name);
    }
    EXPECT_THAT(std::string(meaning.words), Not(IsEmpty())) << name;
  }
}

TEST(Codes, EndWithTheExitCodeOfTheirKind) {
  const std::map<SAPRETURN, ExitCode> exits = {{SSF_API_OK, ExitCode::Good},
                                               {SSF_API_INVALID_FORMAT, ExitCode::Input},
                                               {SSF_API_INVALID_INPUT, ExitCode::Input},
                                               {SSF_API_NO_MEMORY, ExitCode::Internal},
                                               {SSF_API_SIGNER_ERROR, ExitCode::Key},
                                               {SSF_API_SIGNER_INFO_ERROR, ExitCode::Input},
                                               {SSF_API_INVALID_PAB, ExitCode::Input},
                                               {SSF_API_RECIPIENT_ERROR, ExitCode::Key},
                                               {SSF_API_INVALID_HASH_ALG, ExitCode::Usage},
                                               {SSF_API_ENCODE_ERROR, ExitCode::Internal},
                                               {SSF_API_DECODE_ERROR, ExitCode::Input},
                                               {SSF_API_NO_PROVIDER, ExitCode::Internal},
                                               {SSF_API_INVALID_ENCR_ALG, ExitCode::Usage},
                                               {SSF_API_INFO_NO_MEMORY, ExitCode::Internal}};
  for (const auto& [code, exit] : exits) {
    EXPECT_EQ(meaningOf(code).exit, exit) << code;
  }
}

TEST(Codes, ThatNobodyKnowsAreInternalFaults) {
  for (const SAPRETURN code : {-1, 1, 8, 15, 50, 100, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(meaningOf(code).exit, ExitCode::Internal) << code;
    EXPECT_STREQ(meaningOf(code).name, "unknown") << code;
  }
}

TEST(Codes, OnlySuccessEndsWell) {
  for (SAPRETURN code = -5; code < 100; ++code) {
    EXPECT_EQ(meaningOf(code).exit == ExitCode::Good, code == SSF_API_OK) << code;
  }
}

TEST(Results, HaveWordsForEveryOperation) {
  const auto results = constants("SSF_RESULT_");
  ASSERT_EQ(results.size(), 9U);
  for (const auto& [name, result] : results) {
    EXPECT_THAT(std::string(signingWords(result)), Not(IsEmpty())) << name;
    EXPECT_THAT(std::string(verifyingWords(result)), Not(IsEmpty())) << name;
    EXPECT_THAT(std::string(envelopingWords(result)), Not(IsEmpty())) << name;
    EXPECT_THAT(std::string(developingWords(result)), Not(IsEmpty())) << name;
  }
}

TEST(Results, AreToldApart) {
  std::set<std::string> signing;
  std::set<std::string> verifying;
  std::set<std::string> enveloping;
  std::set<std::string> developing;
  const std::set<SAPRETURN> told = {SSF_RESULT_OK,
                                    SSF_RESULT_UNKNOWN,
                                    SSF_RESULT_INVALID_PROFILE,
                                    SSF_RESULT_INVALID_PASSWORD,
                                    SSF_RESULT_NOCERTIFICATE,
                                    SSF_RESULT_NOT_OK,
                                    SSF_RESULT_UNDEFINED};
  for (const SAPRETURN result : told) {
    signing.insert(signingWords(result));
    verifying.insert(verifyingWords(result));
    enveloping.insert(envelopingWords(result));
    developing.insert(developingWords(result));
  }
  EXPECT_EQ(signing.size(), told.size());
  EXPECT_EQ(verifying.size(), told.size());
  EXPECT_EQ(enveloping.size(), told.size());
  EXPECT_EQ(developing.size(), told.size());
}

TEST(Results, OnlySuccessIsCalledGood) {
  for (SAPRETURN result = -1; result < 60; ++result) {
    const bool isOk = result == SSF_RESULT_OK;
    EXPECT_EQ(std::string(signingWords(result)) == "good", isOk) << result;
    EXPECT_EQ(std::string(verifyingWords(result)) == "good", isOk) << result;
    EXPECT_EQ(std::string(envelopingWords(result)) == "good", isOk) << result;
    EXPECT_EQ(std::string(developingWords(result)) == "good", isOk) << result;
  }
}

}  // namespace
}  // namespace qx::ssf::codes_test
