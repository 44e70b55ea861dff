#include "provider/support/config.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

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

TEST_F(Config, TakesEveryKeyFromTheFile) {
  const Configuration config = read(R"(
[tsp]
default_url = http://tsp.example/
timeout_ms = 1500
[revocation]
online = yes
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
  EXPECT_TRUE(config.revocation.online);
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

TEST_F(Config, TracesToTheFileThatItNames) {
  EXPECT_EQ(read("[trace]\nfile = /tmp/x.log\n").trace.output, qx::TraceOutput::File);
  EXPECT_EQ(read("[trace]\nfile = /tmp/x.log\noutput = none\n").trace.output,
            qx::TraceOutput::None);
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
