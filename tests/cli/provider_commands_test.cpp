#include <algorithm>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_commands_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

/// A command of the administration tool, with arguments that it takes.
struct VerbCase {
  const char* noun;
  const char* verb;
  Arguments arguments;
  bool hasLocation = true;
};

class ProviderCommand : public LabTest, public ::testing::WithParamInterface<VerbCase> {
 protected:
  static Arguments words(const Arguments& more) {
    Arguments arguments = {GetParam().noun, GetParam().verb};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  static Arguments good(const Arguments& more) {
    Arguments arguments = words(GetParam().arguments);
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  static std::string hint() {
    return std::string("qxprovider ") + GetParam().noun + " " + GetParam().verb + " --help";
  }
};

constexpr const char* kThumbprint = "0123456789012345678901234567890123456789";

INSTANTIATE_TEST_SUITE_P(
    All,
    ProviderCommand,
    ::testing::Values(VerbCase{"store", "list", {}},
                      VerbCase{"store", "show", {"My"}},
                      VerbCase{"cert", "add", {"/nonexistent/file"}},
                      VerbCase{"cert", "remove", {kThumbprint}},
                      VerbCase{"cert", "export", {kThumbprint, "-o", "/nonexistent/out"}},
                      VerbCase{"cert", "list", {}},
                      VerbCase{"crl", "add", {"/nonexistent/file"}},
                      VerbCase{"key", "generate", {"--no-pin"}},
                      VerbCase{"key", "import", {"/nonexistent/file", "--no-pin"}},
                      VerbCase{"key", "list", {}},
                      VerbCase{"key", "passwd", {"abc", "--no-pin"}},
                      VerbCase{"lab", "create", {"/dev/null/lab"}, /*hasLocation=*/false}),
    [](const auto& test) { return std::string(test.param.noun) + "_" + test.param.verb; });

TEST_P(ProviderCommand, HelpsOnOneScreen) {
  const CommandResult result = provider(words({"--help"}));
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, HasSubstr(std::string("Usage: qxprovider ") + GetParam().noun));
  EXPECT_LE(std::ranges::count(result.out, '\n'), 40) << result.out;
}

TEST_P(ProviderCommand, PrintsOneJsonObjectWhateverItsEnd) {
  const CommandResult result = provider(good({"--json"}));
  const nlohmann::json json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json.contains("error"), result.exitCode != 0);
  if (result.exitCode != 0) {
    EXPECT_EQ(json["error"]["exitCode"], result.exitCode);
    EXPECT_EQ("qxprovider: " + json["error"]["message"].get<std::string>() + "\n", result.err);
  }
}

TEST_P(ProviderCommand, HintsAtItsHelpAfterAMistake) {
  const CommandResult result = provider(good({"--nonsense"}));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, AllOf(HasSubstr("--nonsense"), HasSubstr(hint())));
  EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
}

TEST_P(ProviderCommand, WantsWhatItNeeds) {
  const bool needsSomething =
      !GetParam().arguments.empty() && !GetParam().arguments.front().starts_with("--");
  const CommandResult result = provider(words({}));
  if (needsSomething) {
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("is required"), HasSubstr(hint())));
  } else {
    EXPECT_NE(result.exitCode, 1) << result.err;
  }
}

TEST_P(ProviderCommand, IsAboutTheUserOrTheMachine) {
  const CommandResult result = provider(good({"--user", "--machine"}));
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("--machine"));
  if (!GetParam().hasLocation) {
    EXPECT_EQ(provider(good({"--machine"})).exitCode, 1);
  }
}

TEST_P(ProviderCommand, TouchesNothingOfTheUserForTheMachine) {
  const std::size_t keys = providerJson({"key", "list"})["keys"].size();
  provider(good({"--machine"}));
  EXPECT_EQ(providerJson({"key", "list"})["keys"].size(), keys);
  EXPECT_EQ(provider({"store", "list"}).out,
            "Addressbook: 14 certificates, 0 CRLs\n"
            "CA: 3 certificates, 3 CRLs\n"
            "My: 14 certificates, 0 CRLs\n"
            "Root: 3 certificates, 3 CRLs\n");
}

TEST_P(ProviderCommand, IsNoSuccessWhenItsReportIsLost) {
  const CommandResult before = provider(good({"--json"}));
  Arguments arguments = {"sh", "-c", "exec \"$@\" > /dev/full", "sh", tool("qxprovider")};
  const Arguments whole = good({"--json"});
  arguments.insert(arguments.end(), whole.begin(), whole.end());
  const CommandResult result = start(arguments);
  EXPECT_EQ(result.exitCode, before.exitCode == 0 ? 2 : before.exitCode);
  EXPECT_THAT(result.err, HasSubstr("qxprovider: standard output: "));
}

class ProviderWords : public CliTest {};

TEST_F(ProviderWords, NameANounAndAVerb) {
  const std::pair<Arguments, std::string> mistakes[] = {
      {{}, "A subcommand is required (qxprovider --help tells more)"},
      {{"store"}, "A subcommand is required (qxprovider store --help tells more)"},
      {{"stores", "list"}, "there is no command stores (qxprovider --help tells more)"},
      {{"store", "lits"}, "there is no command lits (qxprovider store --help tells more)"}};
  for (const auto& [arguments, text] : mistakes) {
    const CommandResult result = provider(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "qxprovider: " + text + "\n");
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(ProviderWords, AreExplainedFromTheTop) {
  const CommandResult result = provider({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  for (const char* noun : {"store", "cert", "crl", "key", "lab"}) {
    EXPECT_THAT(result.out, HasSubstr(noun));
    const CommandResult verbs = provider({noun, "--help"});
    EXPECT_EQ(verbs.exitCode, 0);
    EXPECT_THAT(verbs.out, HasSubstr(std::string("Usage: qxprovider ") + noun));
  }
}

TEST_F(ProviderWords, TakeJsonInAnyPlace) {
  const std::string expected = "{\n  \"location\": \"user\",\n  \"stores\": []\n}\n";
  EXPECT_EQ(provider({"--json", "store", "list"}).out, expected);
  EXPECT_EQ(provider({"store", "--json", "list"}).out, expected);
  EXPECT_EQ(provider({"store", "list", "--json"}).out, expected);
}

TEST_F(ProviderWords, MakeNothingByReading) {
  for (const Arguments& arguments : {Arguments{"store", "list"},
                                     {"store", "show", "My"},
                                     {"cert", "list"},
                                     {"cert", "export", kThumbprint, "-o", file("x")},
                                     {"cert", "remove", kThumbprint},
                                     {"key", "list"},
                                     {"key", "passwd", "abc", "--no-pin"}}) {
    provider(arguments);
    EXPECT_FALSE(exists("user")) << arguments[0] << " " << arguments[1];
    EXPECT_FALSE(exists("x"));
  }
}

TEST_F(ProviderWords, NeedAHomeOnlyWhenNothingElseSaysWhereThingsLie) {
  setEnvironment("QXPROVIDER_USER_DIR", "");
  setEnvironment("XDG_DATA_HOME", file("data"));
  ASSERT_EQ(provider({"key", "generate", "--no-pin"}).exitCode, 0);
  EXPECT_TRUE(exists("data/qxprovider/keys"));
  setEnvironment("XDG_DATA_HOME", "");
  setEnvironment("HOME", file("home"));
  ASSERT_EQ(provider({"key", "generate", "--no-pin"}).exitCode, 0);
  EXPECT_TRUE(exists("home/.local/share/qxprovider/keys"));
}

}  // namespace
}  // namespace qx::test::provider_commands_test
