#include "provider/support/folders.h"

#include <pwd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/provider/support/scoped_environment.h"

namespace qx::test::folders_test {
namespace {

using qx::Location;
using qx::rootFolder;
using qx::test::ScopedEnvironment;

TEST(RootFolder, OfTheUserIsTheOneThatIsNamed) {
  const ScopedEnvironment environment = {
      {"QXPROVIDER_USER_DIR", "/named"}, {"XDG_DATA_HOME", "/data"}, {"HOME", "/home-of-mine"}};
  EXPECT_EQ(*rootFolder(Location::CurrentUser), "/named");
}

TEST(RootFolder, OfTheUserLiesElseInTheDataFolder) {
  const ScopedEnvironment environment = {
      {"QXPROVIDER_USER_DIR", ""}, {"XDG_DATA_HOME", "/data"}, {"HOME", "/home-of-mine"}};
  EXPECT_EQ(*rootFolder(Location::CurrentUser), "/data/qxprovider");
}

TEST(RootFolder, OfTheUserLiesElseBelowHome) {
  const ScopedEnvironment environment = {
      {"QXPROVIDER_USER_DIR", ""}, {"XDG_DATA_HOME", ""}, {"HOME", "/home-of-mine"}};
  EXPECT_EQ(*rootFolder(Location::CurrentUser), "/home-of-mine/.local/share/qxprovider");
}

TEST(RootFolder, IgnoresRelativeValuesOfTheGeneralVariables) {
  const ScopedEnvironment environment = {
      {"QXPROVIDER_USER_DIR", ""}, {"XDG_DATA_HOME", "data"}, {"HOME", "/home-of-mine"}};
  EXPECT_EQ(*rootFolder(Location::CurrentUser), "/home-of-mine/.local/share/qxprovider");
}

TEST(RootFolder, OfTheUserAsksThePasswordDatabaseWithoutHome) {
  const ScopedEnvironment environment = {
      {"QXPROVIDER_USER_DIR", ""}, {"XDG_DATA_HOME", ""}, {"HOME", ""}};
  const passwd* entry = getpwuid(geteuid());  // NOLINT(concurrency-mt-unsafe): one thread
  if (entry == nullptr) {
    EXPECT_EQ(rootFolder(Location::CurrentUser).error(), ERROR_PATH_NOT_FOUND);
    return;
  }
  EXPECT_EQ(*rootFolder(Location::CurrentUser),
            std::string(entry->pw_dir) + "/.local/share/qxprovider");
}

TEST(RootFolder, OfTheMachineIsTheNamedOrTheUsualOne) {
  ScopedEnvironment environment = {{"QXPROVIDER_MACHINE_DIR", ""}};
  EXPECT_EQ(*rootFolder(Location::LocalMachine), "/var/lib/qxprovider");
  environment.set("QXPROVIDER_MACHINE_DIR", "/machine");
  EXPECT_EQ(*rootFolder(Location::LocalMachine), "/machine");
}

}  // namespace
}  // namespace qx::test::folders_test
