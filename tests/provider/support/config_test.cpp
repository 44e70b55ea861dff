#include "provider/support/config.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::test::config_test {
namespace {

using qx::Configuration;
using qx::readConfiguration;
using qx::test::ScopedEnvironment;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Config : public testing::Test {
 protected:
  // What a file with this text says.
  Configuration read(const std::string& text) {
    environment_.set("QXPROVIDER_CONF", dir_.write("provider.conf", text));
    return readConfiguration();
  }

  qx::test::TempDir dir_;
  ScopedEnvironment environment_ = {{"QXPROVIDER_CONF", ""},
                                    {"XDG_CONFIG_HOME", ""},
                                    {"QXPROVIDER_TRACE_FILE", ""},
                                    {"QXPROVIDER_TRACE_OUTPUT", ""},
                                    {"QXPROVIDER_TRACE_LEVEL", ""},
                                    {"QXPROVIDER_PIN_KDF_ROUNDS", ""}};
};

TEST_F(Config, HasItsDefaultsWithoutAnyFile) {
  environment_.set("QXPROVIDER_CONF", dir_.write("empty.conf", ""));
  const Configuration config = readConfiguration();
  EXPECT_EQ(config.tsp.defaultUrl, "");
  EXPECT_EQ(config.tsp.timeoutMs, 10'000U);
  EXPECT_FALSE(config.revocation.online);
  EXPECT_FALSE(config.revocation.issuers);
  EXPECT_EQ(config.revocation.timeoutMs, 10'000U);
  EXPECT_FALSE(config.trust.systemRoots);
  EXPECT_EQ(config.pin.prompt, qx::Prompt::None);
  EXPECT_EQ(config.pin.cacheSeconds, 300U);
  EXPECT_EQ(config.pin.cacheMaxSeconds, 8U * 60 * 60);
  EXPECT_EQ(config.pin.kdfRounds, 600'000U);
  EXPECT_EQ(config.trace.output, qx::TraceOutput::None);
  EXPECT_EQ(config.content.cipherSet, "1.2.643.2.2.31.1");
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(Config, RefusesRelativePathsOfTheServices) {
  const Configuration config =
      read("[tsp]\npassword_file = a\ncertificate_file = b\nkey_file = c\n[http]\nca_file = d\n");
  EXPECT_EQ(config.tsp.passwordFile, "");
  EXPECT_EQ(config.tsp.certificateFile, "");
  EXPECT_EQ(config.tsp.keyFile, "");
  EXPECT_EQ(config.http.caFile, "/etc/ssl/certs/ca-certificates.crt");
  EXPECT_THAT(config.problems,
              ElementsAre(HasSubstr("tsp.password_file"),
                          HasSubstr("tsp.certificate_file"),
                          HasSubstr("tsp.key_file"),
                          HasSubstr("http.ca_file")));
}

TEST_F(Config, TakesEveryKeyFromTheFile) {
  const Configuration config = read(R"(
[tsp]
default_url = http://tsp.example/
timeout_ms = 1500
user = lab
password_file = /etc/qxprovider/tsp.password
certificate_file = /etc/qxprovider/tsp.crt
key_file = /etc/qxprovider/tsp.key
[http]
proxy = http://proxy.example:3128
ca_file = /etc/qxprovider/ca.pem
[revocation]
online = yes
issuers = yes
timeout_ms = 700
[trust]
system_roots = true
[pin]
prompt = program
program = /usr/bin/pinentry
prompt_timeout_ms = 5000
cache_seconds = 0
cache_max_seconds = 60
kdf_rounds = 1000
[trace]
output = syslog
level = 8
[content]
cipher_set = 1.2.643.7.1.2.5.1.1
)");
  EXPECT_EQ(config.tsp.defaultUrl, "http://tsp.example/");
  EXPECT_EQ(config.tsp.timeoutMs, 1500U);
  EXPECT_EQ(config.tsp.user, "lab");
  EXPECT_EQ(config.tsp.passwordFile, "/etc/qxprovider/tsp.password");
  EXPECT_EQ(config.tsp.certificateFile, "/etc/qxprovider/tsp.crt");
  EXPECT_EQ(config.tsp.keyFile, "/etc/qxprovider/tsp.key");
  EXPECT_EQ(config.http.proxy, "http://proxy.example:3128");
  EXPECT_EQ(config.http.caFile, "/etc/qxprovider/ca.pem");
  EXPECT_TRUE(config.revocation.online);
  EXPECT_TRUE(config.revocation.issuers);
  EXPECT_EQ(config.revocation.timeoutMs, 700U);
  EXPECT_TRUE(config.trust.systemRoots);
  EXPECT_EQ(config.pin.prompt, qx::Prompt::Program);
  EXPECT_EQ(config.pin.program, "/usr/bin/pinentry");
  EXPECT_EQ(config.pin.promptTimeoutMs, 5000U);
  EXPECT_EQ(config.pin.cacheSeconds, 0U);
  EXPECT_EQ(config.pin.cacheMaxSeconds, 60U);
  EXPECT_EQ(config.pin.kdfRounds, 1000U);
  EXPECT_EQ(config.trace.output, qx::TraceOutput::Syslog);
  EXPECT_EQ(config.trace.level, 8U);
  EXPECT_EQ(config.content.cipherSet, "1.2.643.7.1.2.5.1.1");
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(Config, LetsTheEnvironmentDecideOverTheFile) {
  environment_.set("QXPROVIDER_TRACE_LEVEL", "4");
  environment_.set("QXPROVIDER_PIN_KDF_ROUNDS", "2000");
  const Configuration config = read("[trace]\nlevel = 8\n");
  EXPECT_EQ(config.trace.level, 4U);
  EXPECT_EQ(config.pin.kdfRounds, 2000U);
}

TEST_F(Config, IsFoundInTheConfigurationFolder) {
  environment_.set("XDG_CONFIG_HOME", dir_.path());
  dir_.write("qxprovider/provider.conf", "[tsp]\ntimeout_ms = 42\n");
  EXPECT_EQ(readConfiguration().tsp.timeoutMs, 42U);
  environment_.set("QXPROVIDER_CONF", dir_.write("other.conf", "[tsp]\ntimeout_ms = 43\n"));
  EXPECT_EQ(readConfiguration().tsp.timeoutMs, 43U);
}

TEST_F(Config, IgnoresARelativeConfigurationFolder) {
  environment_.set("XDG_CONFIG_HOME", "relative");
  EXPECT_THAT(readConfiguration().problems, IsEmpty());
}

TEST_F(Config, ComplainsAboutValuesAndKeepsTheDefaults) {
  const Configuration config = read(R"(
[tsp]
timeout_ms = 0
[revocation]
online = maybe
timeout_ms = 12s
[pin]
cache_seconds = -1
kdf_rounds = 4294967296
[trace]
level = 16
)");
  EXPECT_EQ(config.tsp.timeoutMs, 10'000U);
  EXPECT_FALSE(config.revocation.online);
  EXPECT_EQ(config.pin.cacheSeconds, 300U);
  EXPECT_EQ(config.pin.kdfRounds, 600'000U);
  EXPECT_EQ(config.trace.level, 0xFU);
  EXPECT_THAT(config.problems,
              ElementsAre(HasSubstr("tsp.timeout_ms has no valid value: '0'"),
                          HasSubstr("revocation.online has no valid value: 'maybe'"),
                          HasSubstr("revocation.timeout_ms has no valid value: '12s'"),
                          HasSubstr("pin.cache_seconds"),
                          HasSubstr("pin.kdf_rounds"),
                          HasSubstr("trace.level")));
}

TEST_F(Config, KnowsTheWordsOfEachSetting) {
  const std::vector<std::pair<const char*, bool>> booleans = {{"yes", true},
                                                              {"no", false},
                                                              {"true", true},
                                                              {"false", false},
                                                              {"on", true},
                                                              {"off", false},
                                                              {"1", true},
                                                              {"0", false}};
  for (const auto& [word, value] : booleans) {
    const std::string text = std::string("[trust]\nsystem_roots = ") + word + "\n";
    const Configuration config = read(text);
    EXPECT_EQ(config.trust.systemRoots, value) << word;
    EXPECT_THAT(config.problems, IsEmpty()) << word;
  }
  const std::vector<std::pair<const char*, qx::Prompt>> prompts = {
      {"none", qx::Prompt::None}, {"terminal", qx::Prompt::Terminal}};
  for (const auto& [word, value] : prompts) {
    EXPECT_EQ(read(std::string("[pin]\nprompt = ") + word + "\n").pin.prompt, value) << word;
  }
  const std::vector<std::pair<const char*, qx::TraceOutput>> outputs = {
      {"none", qx::TraceOutput::None},
      {"stderr", qx::TraceOutput::Stderr},
      {"syslog", qx::TraceOutput::Syslog}};
  for (const auto& [word, value] : outputs) {
    EXPECT_EQ(read(std::string("[trace]\noutput = ") + word + "\n").trace.output, value) << word;
  }
}

TEST_F(Config, KnowsNoOtherWords) {
  for (const char* word : {"Yes", "TRUE", "2", "yes please", "-1"}) {
    const Configuration config = read(std::string("[revocation]\nonline = ") + word + "\n");
    EXPECT_FALSE(config.revocation.online) << word;
    EXPECT_THAT(config.problems, ElementsAre(HasSubstr("revocation.online"))) << word;
  }
  EXPECT_THAT(read("[pin]\nprompt = window\n").problems, ElementsAre(HasSubstr("pin.prompt")));
  EXPECT_THAT(read("[trace]\noutput = printer\n").problems,
              ElementsAre(HasSubstr("trace.output has no valid value: 'printer'")));
}

struct Edge {
  const char* setting;
  const char* least;
  const char* below;
  const char* most;
  const char* above;
};

// A number at the edge of its range is taken, the next one is a problem.
TEST_F(Config, KeepsNumbersInTheirRange) {
  const std::vector<std::pair<std::string, Edge>> edges = {
      {"tsp", {"timeout_ms", "1", "0", "4294967295", "4294967296"}},
      {"revocation", {"timeout_ms", "1", "0", "4294967295", "4294967296"}},
      {"pin", {"prompt_timeout_ms", "1", "0", "4294967295", "4294967296"}},
      {"pin", {"cache_seconds", "0", "-1", "86400", "86401"}},
      {"pin", {"cache_max_seconds", "0", "-1", "86400", "86401"}},
      {"pin", {"kdf_rounds", "1000", "999", "100000000", "100000001"}},
      {"trace", {"level", "0", "-1", "15", "16"}}};
  for (const auto& [section, edge] : edges) {
    const auto problems = [&](const char* value) {
      return read("[" + section + "]\n" + edge.setting + " = " + value + "\n").problems;
    };
    EXPECT_THAT(problems(edge.least), IsEmpty()) << section << edge.setting;
    EXPECT_THAT(problems(edge.most), IsEmpty()) << section << edge.setting;
    for (const char* bad : {edge.below, edge.above, "", "1x", "0x10", "1.5", "+5"}) {
      EXPECT_THAT(problems(bad), ElementsAre(HasSubstr(section + "." + edge.setting)))
          << section << edge.setting << bad;
    }
  }
}

TEST_F(Config, TakesEveryKeyFromTheEnvironment) {
  const ScopedEnvironment all = {{"QXPROVIDER_TSP_DEFAULT_URL", "http://e.example/"},
                                 {"QXPROVIDER_TSP_TIMEOUT_MS", "11"},
                                 {"QXPROVIDER_REVOCATION_ONLINE", "yes"},
                                 {"QXPROVIDER_REVOCATION_TIMEOUT_MS", "12"},
                                 {"QXPROVIDER_TRUST_SYSTEM_ROOTS", "yes"},
                                 {"QXPROVIDER_PIN_PROMPT", "program"},
                                 {"QXPROVIDER_PIN_PROGRAM", "/bin/ask"},
                                 {"QXPROVIDER_PIN_PROMPT_TIMEOUT_MS", "13"},
                                 {"QXPROVIDER_PIN_CACHE_SECONDS", "14"},
                                 {"QXPROVIDER_PIN_CACHE_MAX_SECONDS", "15"},
                                 {"QXPROVIDER_PIN_KDF_ROUNDS", "1600"},
                                 {"QXPROVIDER_TRACE_OUTPUT", "stderr"},
                                 {"QXPROVIDER_TRACE_LEVEL", "7"},
                                 {"QXPROVIDER_CONTENT_CIPHER_SET", "1.2.3"}};
  const Configuration config = read("[tsp]\ntimeout_ms = 99\n[pin]\ncache_seconds = 99\n");
  EXPECT_EQ(config.tsp.defaultUrl, "http://e.example/");
  EXPECT_EQ(config.tsp.timeoutMs, 11U);
  EXPECT_TRUE(config.revocation.online);
  EXPECT_EQ(config.revocation.timeoutMs, 12U);
  EXPECT_TRUE(config.trust.systemRoots);
  EXPECT_EQ(config.pin.prompt, qx::Prompt::Program);
  EXPECT_EQ(config.pin.program, "/bin/ask");
  EXPECT_EQ(config.pin.promptTimeoutMs, 13U);
  EXPECT_EQ(config.pin.cacheSeconds, 14U);
  EXPECT_EQ(config.pin.cacheMaxSeconds, 15U);
  EXPECT_EQ(config.pin.kdfRounds, 1600U);
  EXPECT_EQ(config.trace.output, qx::TraceOutput::Stderr);
  EXPECT_EQ(config.trace.level, 7U);
  EXPECT_EQ(config.content.cipherSet, "1.2.3");
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(Config, IgnoresWhatItDoesNotKnow) {
  const Configuration config =
      read("unknown = 1\n[other]\nkey = value\n[tsp]\nunknown = 1\ntimeout_ms = 5\n");
  EXPECT_EQ(config.tsp.timeoutMs, 5U);
  EXPECT_THAT(config.problems, IsEmpty());
}

TEST_F(Config, TakesCommentsQuotesAndTheLastOfTwo) {
  const Configuration config = read(
      "# a comment\n[tsp] \ndefault_url = \"http://a/ b\" # behind\ntimeout_ms = 5\n"
      "timeout_ms = 6\n");
  EXPECT_EQ(config.tsp.defaultUrl, "http://a/ b");
  EXPECT_EQ(config.tsp.timeoutMs, 6U);
}

TEST_F(Config, KeepsNothingOfAFileThatIsBroken) {
  const Configuration config = read("[tsp]\ntimeout_ms = 5\nno equals sign\n");
  EXPECT_EQ(config.tsp.timeoutMs, 10'000U);
  EXPECT_THAT(config.problems, ElementsAre(HasSubstr("line 3")));
}

TEST_F(Config, SaysThatAFolderIsNoFile) {
  environment_.set("QXPROVIDER_CONF", dir_.path());
  EXPECT_THAT(readConfiguration().problems, ElementsAre(HasSubstr(dir_.path())));
}

TEST_F(Config, TracesToTheFileThatItNames) {
  EXPECT_EQ(read("[trace]\nfile = /tmp/x.log\n").trace.output, qx::TraceOutput::File);
  EXPECT_EQ(read("[trace]\nfile = /tmp/x.log\noutput = none\n").trace.output,
            qx::TraceOutput::None);
}

TEST_F(Config, KnowsTwoFormatsOfTheTrace) {
  EXPECT_EQ(read("").trace.format, qx::TraceFormat::Text);
  EXPECT_EQ(read("[trace]\nformat = json\n").trace.format, qx::TraceFormat::Json);
  const Configuration config = read("[trace]\nformat = xml\n");
  EXPECT_EQ(config.trace.format, qx::TraceFormat::Text);
  EXPECT_THAT(config.problems, ElementsAre(HasSubstr("trace.format")));
}

TEST_F(Config, RefusesRelativePathsOfFilesAndPrograms) {
  const Configuration config =
      read("[trace]\nfile = x.log\n[pin]\nprompt = program\nprogram = pinentry\n");
  EXPECT_EQ(config.trace.output, qx::TraceOutput::None);
  EXPECT_EQ(config.pin.prompt, qx::Prompt::None);
  EXPECT_THAT(config.problems, ElementsAre(HasSubstr("pin.program"), HasSubstr("trace.file")));
}

TEST_F(Config, SaysThatAFileCannotBeReadAndInWhichLine) {
  environment_.set("QXPROVIDER_CONF", dir_.file("none.conf"));
  EXPECT_THAT(readConfiguration().problems, ElementsAre(HasSubstr("none.conf")));
  EXPECT_THAT(read("[tsp]\ntimeout_ms = 5\n[broken\n").problems, ElementsAre(HasSubstr("line 3")));
}

TEST_F(Config, LeavesTheErrorQueueAsItWas) {
  ERR_clear_error();
  EXPECT_THAT(read("[broken\n").problems, testing::SizeIs(1));
  EXPECT_EQ(ERR_peek_error(), 0U);
}

}  // namespace
}  // namespace qx::test::config_test
