#include "tools/qxssf/doctor/setting.h"

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/qxssf/doctor/environment_for_test.h"

namespace qx::ssf::doctor::setting_test {
namespace {

using test::ScopedVariable;

class DoctorSettings : public ::testing::Test {
 private:
  // Whatever the one who runs the tests has set.
  ScopedVariable user_{"QXPROVIDER_USER_DIR", nullptr};
  ScopedVariable machine_{"QXPROVIDER_MACHINE_DIR", nullptr};
  ScopedVariable conf_{"QXPROVIDER_CONF", nullptr};
  ScopedVariable data_{"XDG_DATA_HOME", nullptr};
  ScopedVariable config_{"XDG_CONFIG_HOME", nullptr};
  ScopedVariable home_{"HOME", nullptr};
};

TEST_F(DoctorSettings, FindTheUsersFolderInTheProvidersOrder) {
  EXPECT_EQ(userFolder().source, "the password database");
  EXPECT_TRUE(userFolder().value.ends_with("/.local/share/qxprovider"));
  const ScopedVariable home("HOME", "/h");
  EXPECT_EQ(userFolder().value, "/h/.local/share/qxprovider");
  EXPECT_EQ(userFolder().source, "HOME");
  const ScopedVariable data("XDG_DATA_HOME", "/d");
  EXPECT_EQ(userFolder().value, "/d/qxprovider");
  EXPECT_EQ(userFolder().source, "XDG_DATA_HOME");
  const ScopedVariable own("QXPROVIDER_USER_DIR", "/own");
  EXPECT_EQ(userFolder().value, "/own");
  EXPECT_EQ(userFolder().source, "QXPROVIDER_USER_DIR");
}

TEST_F(DoctorSettings, IgnoreRelativeHomes) {
  const ScopedVariable home("HOME", "h");
  const ScopedVariable data("XDG_DATA_HOME", "d");
  EXPECT_EQ(userFolder().source, "the password database");
}

TEST_F(DoctorSettings, FindTheMachinesFolder) {
  EXPECT_EQ(machineFolder().value, "/var/lib/qxprovider");
  EXPECT_EQ(machineFolder().source, "the default");
  const ScopedVariable own("QXPROVIDER_MACHINE_DIR", "/m");
  EXPECT_EQ(machineFolder().value, "/m");
  EXPECT_EQ(machineFolder().source, "QXPROVIDER_MACHINE_DIR");
}

TEST_F(DoctorSettings, FindTheConfigurationThatIsRead) {
  const test::TempDir folder;
  const ScopedVariable config("XDG_CONFIG_HOME", folder.path().c_str());
  EXPECT_EQ(configurationFile().source, "the default");
  const std::string own = folder.write("qxprovider/provider.conf", "");
  EXPECT_EQ(configurationFile().value, own);
  EXPECT_EQ(configurationFile().source, "XDG_CONFIG_HOME");
  // One that is named is read whether it is there or not.
  const ScopedVariable named("QXPROVIDER_CONF", "/nowhere/p.conf");
  EXPECT_EQ(configurationFile().value, "/nowhere/p.conf");
  EXPECT_EQ(configurationFile().source, "QXPROVIDER_CONF");
}

TEST(DoctorWords, AreWhatAShellTakesThemFor) {
  EXPECT_EQ(quoted("/a/plain-file_1.pem"), "/a/plain-file_1.pem");
  for (const std::string text : {"", "two words", "it's", "$(touch x)", "a;b", "\xD0\x98", "\\"}) {
    const auto said = test::run({"sh", "-c", "printf %s " + quoted(text)});
    EXPECT_EQ(said.out, text);
  }
}

}  // namespace
}  // namespace qx::ssf::doctor::setting_test
