#include "qxsapssf/config/config.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/scripted_provider/allocation.h"

namespace qx::config_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ConfigTest : public testing::Test {
 protected:
  void SetUp() override { clear(); }

  void TearDown() override { clear(); }

  static void clear() {
    for (const char* name : {"QX_SSF_USERID",
                             "QX_SSF_VERIFYCERTFLAGS",
                             "QX_SSF_VERIFYCERTFLAGS_ONSELECT",
                             "QX_SSF_ASK_PIN_WHEN_EMPTY",
                             "QX_SSF_ADD_TSP"}) {
      unsetenv(name);  // NOLINT(concurrency-mt-unsafe): a test has one thread
    }
  }

  static Config with(const char* name, const char* value) {
    setenv(name, value, 1);  // NOLINT(concurrency-mt-unsafe): a test has one thread
    Config config;
    readEnvironment(config);
    return config;
  }

  static std::uint32_t flagsOf(const char* value) {
    return with("QX_SSF_VERIFYCERTFLAGS", value).verifyCertFlags;
  }

  static int askPinOf(const char* value) {
    return with("QX_SSF_ASK_PIN_WHEN_EMPTY", value).askPinWhenEmpty;
  }

  static std::list<std::string> serversOf(const char* value) {
    return with("QX_SSF_ADD_TSP", value).tspList;
  }
};

TEST_F(ConfigTest, HasItsDefaults) {
  Config config;
  readEnvironment(config);
  EXPECT_EQ(config.verifyCertFlags, 0x40000000U);
  EXPECT_EQ(config.verifyCertFlagsOnSelect, 0U);
  EXPECT_EQ(config.useCertHash, 0);
  EXPECT_EQ(config.askPinWhenEmpty, 0);
  EXPECT_THAT(config.tspList, IsEmpty());
}

TEST_F(ConfigTest, NamesSignersByHashOnlyForTheExactWord) {
  EXPECT_EQ(with("QX_SSF_USERID", "CERT_HASH").useCertHash, 1);
  for (const char* value : {"cert_hash", "CERT_HASHX", "CERT_HASH ", "CERT", ""}) {
    EXPECT_EQ(with("QX_SSF_USERID", value).useCertHash, 0) << value;
  }
}

TEST_F(ConfigTest, ReadsFlagsAsScanfDoes) {
  EXPECT_EQ(flagsOf("0"), 0U);
  EXPECT_EQ(flagsOf("20000000"), 0x20000000U);
  EXPECT_EQ(flagsOf("0x20000000"), 0x20000000U);
  EXPECT_EQ(flagsOf("  \tFf"), 0xFFU);
  EXPECT_EQ(flagsOf("12 is a number"), 0x12U);
  EXPECT_EQ(flagsOf("FFFFFFFF"), 0xFFFFFFFFU);
}

TEST_F(ConfigTest, KeepsTheDefaultFlagsWhenThereIsNoNumber) {
  for (const char* value : {"zz", "", " ", "-", "x10"}) {
    EXPECT_EQ(flagsOf(value), 0x40000000U) << value;
  }
}

TEST_F(ConfigTest, ReadsTheFlagsOnSelectForThemselves) {
  const Config config = with("QX_SSF_VERIFYCERTFLAGS_ONSELECT", "7");
  EXPECT_EQ(config.verifyCertFlagsOnSelect, 7U);
  EXPECT_EQ(config.verifyCertFlags, 0x40000000U);
  EXPECT_EQ(with("QX_SSF_VERIFYCERTFLAGS_ONSELECT", "zz").verifyCertFlagsOnSelect, 0U);
}

TEST_F(ConfigTest, AsksForThePinOnlyWhenToldSo) {
  for (const char* value : {"YES", "yes", "Yes", "TRUE", "true", "tRuE", "1"}) {
    EXPECT_EQ(askPinOf(value), 1) << value;
  }
  for (const char* value : {"yes ", " yes", "0", "01", "1 ", "no", "Y", ""}) {
    EXPECT_EQ(askPinOf(value), 0) << value;
  }
}

TEST_F(ConfigTest, SplitsTheServersAtEverySemicolon) {
  EXPECT_THAT(serversOf("a;;b;"), ElementsAre("a", "", "b"));
  EXPECT_THAT(serversOf("http://a/tsp"), ElementsAre("http://a/tsp"));
  EXPECT_THAT(serversOf(";a"), ElementsAre("", "a"));
  EXPECT_THAT(serversOf(";"), ElementsAre(""));
  EXPECT_THAT(serversOf(";;"), ElementsAre("", ""));
  EXPECT_THAT(serversOf(" a ; b "), ElementsAre(" a ", " b "));
  EXPECT_THAT(serversOf(""), IsEmpty());
}

TEST_F(ConfigTest, ANewListReplacesTheOld) {
  setenv("QX_SSF_ADD_TSP", "b", 1);  // NOLINT(concurrency-mt-unsafe): a test has one thread
  Config config;
  config.tspList = {"a"};
  readEnvironment(config);
  EXPECT_THAT(config.tspList, ElementsAre("b"));
}

TEST_F(ConfigTest, WantOfMemoryKeepsWhatWasReadBefore) {
  setenv("QX_SSF_USERID", "CERT_HASH", 1);  // NOLINT(concurrency-mt-unsafe): a test has one thread
  setenv("QX_SSF_ADD_TSP",                  // NOLINT(concurrency-mt-unsafe): a test has one thread
         "http://first.example/a-long-address;http://second.example/a-long-address",
         1);
  Config config;
  bool thrown = false;
  {
    const scripted::AllocationFailure failure(3);  // the second server's node
    try {
      readEnvironment(config);
    } catch (const std::bad_alloc&) {
      thrown = true;
    }
  }
  EXPECT_TRUE(thrown);
  EXPECT_EQ(config.useCertHash, 1);
  EXPECT_THAT(config.tspList, ElementsAre("http://first.example/a-long-address"));
}

TEST_F(ConfigTest, TheGlobalOneWasReadWhenTheProgramWasLoaded) {
  // The test program is started with this in its environment.
  EXPECT_EQ(gConfig.verifyCertFlags, 0x1234U);
  EXPECT_EQ(gConfig.useCertHash, 0);
  EXPECT_THAT(gConfig.tspList, IsEmpty());
}

}  // namespace
}  // namespace qx::config_test
