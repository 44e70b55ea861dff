#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_repair_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kLeftover = ".tmp-0123456789abcdef";

class ProviderRepair : public CliTest {
 protected:
  ProviderRepair() {
    key_ = providerJson({"key", "generate", "--type", "p256", "--no-pin"})["key"];
    fs::create_directories(userFolder() + "/stores/My");
    provider({"repair"});
  }

  std::string path(const std::string& name) const { return userFolder() + "/" + name; }

  std::string keyFile() const { return path("keys/" + key_); }

  void setMode(const std::string& name, mode_t mode) const {
    ASSERT_EQ(chmod(path(name).c_str(), mode), 0);
  }

  static mode_t modeOf(const std::string& name) {
    struct stat status{};
    EXPECT_EQ(lstat(name.c_str(), &status), 0) << name;
    return status.st_mode & 07777U;
  }

  // A file that was written so many hours ago.
  void leave(const std::string& name, int hours) const {
    write("user/" + name, "half a file");
    fs::last_write_time(path(name), fs::file_time_type::clock::now() - std::chrono::hours(hours));
  }

  std::string key_;
};

TEST_F(ProviderRepair, SaysWhenThereIsNothingToDo) {
  const CommandResult result = provider({"repair"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, userFolder() + ": nothing to repair\n");
}

TEST_F(ProviderRepair, NoFolderIsNothingToRepair) {
  setEnvironment("QXPROVIDER_USER_DIR", file("none"));
  EXPECT_EQ(provider({"repair"}).exitCode, 0);
  EXPECT_FALSE(exists("none"));
}

TEST_F(ProviderRepair, TakesKeysAndFoldersFromOthers) {
  setMode("", 0755);
  setMode("stores", 0777);
  setMode("stores/My", 0775);
  setMode("keys", 0711);
  setMode("keys/" + key_, 0644);
  const CommandResult result = provider({"repair"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  for (const char* folder : {"", "stores", "stores/My", "keys"}) {
    EXPECT_EQ(modeOf(path(folder)), 0700U) << folder;
  }
  EXPECT_EQ(modeOf(keyFile()), 0600U);
  EXPECT_THAT(result.out,
              AllOf(HasSubstr(keyFile() + ": mode 0644 becomes 0600\n"),
                    HasSubstr(path("stores") + ": mode 0777 becomes 0700\n")));
}

TEST_F(ProviderRepair, GivesAccessBackToTheOwner) {
  setMode("keys/" + key_, 0);
  setMode("keys", 0);
  provider({"repair"});
  EXPECT_EQ(modeOf(path("keys")), 0700U);
  EXPECT_EQ(modeOf(keyFile()), 0600U);
}

TEST_F(ProviderRepair, ADryRunChangesNothing) {
  setMode("keys/" + key_, 0644);
  leave("keys/" + std::string(kLeftover), 2);
  const CommandResult result = provider({"repair", "--dry-run"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("mode 0644 becomes 0600"),
                    HasSubstr("removed: "),
                    HasSubstr("nothing was changed")));
  EXPECT_EQ(modeOf(keyFile()), 0644U);
  EXPECT_TRUE(exists("user/keys/" + std::string(kLeftover)));
}

TEST_F(ProviderRepair, RemovesWhatInterruptedWritesLeft) {
  for (const std::string folder : {"keys/", "stores/My/"}) {
    leave(folder + kLeftover, 2);
    provider({"repair"});
    EXPECT_FALSE(exists("user/" + folder + kLeftover));
  }
}

TEST_F(ProviderRepair, LeavesWhatSomebodyMayBeWriting) {
  leave("keys/" + std::string(kLeftover), 0);
  provider({"repair"});
  EXPECT_TRUE(exists("user/keys/" + std::string(kLeftover)));
}

TEST_F(ProviderRepair, LeavesOtherFiles) {
  for (const char* name : {"keys/.tmp-short", "keys/.tmp-0123456789ABCDEF", "keys/notes"}) {
    leave(name, 2);
    provider({"repair"});
    EXPECT_TRUE(exists(std::string("user/") + name));
  }
}

TEST_F(ProviderRepair, FollowsNoLink) {
  write("outside/secret", "not ours");
  ASSERT_EQ(chmod(file("outside").c_str(), 0755), 0);
  ASSERT_EQ(chmod(file("outside/secret").c_str(), 0644), 0);
  fs::create_symlink(file("outside/secret"), path("keys/link"));
  fs::create_directory_symlink(file("outside"), path("stores/Linked"));
  const CommandResult result = provider({"repair"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.err,
              AllOf(HasSubstr("keys/link: is no file"), HasSubstr("stores/Linked: is no folder")));
  EXPECT_EQ(modeOf(file("outside")), 0755U);
  EXPECT_EQ(modeOf(file("outside/secret")), 0644U);
}

TEST_F(ProviderRepair, JsonTellsEachChange) {
  setMode("keys/" + key_, 0644);
  const nlohmann::json json = providerJson({"repair"});
  ASSERT_EQ(json["changes"].size(), 1U);
  EXPECT_EQ(json["changes"][0]["path"], keyFile());
  EXPECT_EQ(json["changes"][0]["change"], "mode 0644 becomes 0600");
  EXPECT_EQ(json["dryRun"], false);
}

TEST_F(ProviderRepair, TheMachineIsForItsGroup) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "the machine's folders are root's";
  }
  for (const char* folder : {"Root", "CA", "My"}) {
    fs::create_directories(file("machine/stores/") + folder);
  }
  const std::string id =
      providerJson({"key", "generate", "--machine", "--type", "p256", "--no-pin"})["key"];
  ASSERT_EQ(chown(file("machine/keys/" + id).c_str(), 1, static_cast<gid_t>(-1)), 0);
  const CommandResult result = provider({"repair", "--machine"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(modeOf(file("machine")), 02750U);
  EXPECT_EQ(modeOf(file("machine/stores")), 03770U);
  EXPECT_EQ(modeOf(file("machine/stores/Root")), 02750U);
  EXPECT_EQ(modeOf(file("machine/stores/CA")), 02750U);
  EXPECT_EQ(modeOf(file("machine/stores/My")), 02770U);
  EXPECT_EQ(modeOf(file("machine/keys")), 02750U);
  EXPECT_EQ(modeOf(file("machine/keys/" + id)), 0640U);
  struct stat status{};
  ASSERT_EQ(stat(file("machine/keys/" + id).c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
  EXPECT_THAT(provider({"repair", "--machine"}).out, HasSubstr("nothing to repair"));
}

}  // namespace
}  // namespace qx::test::provider_repair_test
