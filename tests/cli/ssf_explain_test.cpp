#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_explain_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

using SsfExplainTool = CliTest;

TEST_F(SsfExplainTool, SaysWhatACodeMeansWhyItComesAndWhatToDo) {
  const CommandResult said = ssf({"explain", "7", "--language", "en"});
  EXPECT_EQ(said.exitCode, 0);
  EXPECT_THAT(said.out, StartsWith("SSF_API_INVALID_PAB (a return code, envelope)\n"));
  for (const char* part : {"  means: ", "  why: ", "  do: ", "qxprovider store list"}) {
    EXPECT_THAT(said.out, HasSubstr(part));
  }
}

TEST_F(SsfExplainTool, SpeaksRussianToThoseWhoDo) {
  const CommandResult asked = ssf({"explain", "25", "--language", "ru"});
  EXPECT_THAT(asked.out, HasSubstr("ПИН не открывает закрытый ключ."));
  EXPECT_THAT(asked.out, Not(HasSubstr("The PIN")));
  setEnvironment("LC_ALL", "ru_RU.UTF-8");
  const CommandResult byEnvironment = ssf({"explain", "25"});
  EXPECT_EQ(byEnvironment.out, asked.out);
}

TEST_F(SsfExplainTool, TakesANegativeNumber) {
  const CommandResult said = ssf({"explain", "-2146893818", "--language", "en"});
  EXPECT_EQ(said.exitCode, 0) << said.err;
  EXPECT_THAT(said.out, StartsWith("NTE_BAD_SIGNATURE"));
}

TEST_F(SsfExplainTool, GivesTheSameAsJson) {
  const CommandResult said =
      ssf({"--json", "explain", "22", "--operation", "verify", "--language", "en"});
  const auto facts = nlohmann::json::parse(said.out);
  ASSERT_EQ(facts["explanations"].size(), 1U);
  EXPECT_EQ(facts["explanations"][0]["name"], "UNKNOWN");
  EXPECT_EQ(facts["explanations"][0]["code"], 22);
  EXPECT_THAT(facts["explanations"][0]["remedy"].get<std::string>(),
              HasSubstr("qxprovider crl add"));
}

TEST_F(SsfExplainTool, RefusesWhatIsNoCode) {
  const CommandResult said = ssf({"explain", "1234567"});
  EXPECT_EQ(said.exitCode, 1);
  EXPECT_THAT(said.err, HasSubstr("1234567 is no code"));
  EXPECT_EQ(ssf({"explain", "5", "--operation", "dance"}).exitCode, 1);
  EXPECT_EQ(ssf({"explain"}).exitCode, 1);
}

}  // namespace
}  // namespace qx::test::ssf_explain_test
