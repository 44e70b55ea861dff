#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/key_store.h"
#include "provider/key/unlock.h"
#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"
#include "tools/lab/pki.h"
#include "tools/qxprovider/lab_people.h"
#include "tools/qxprovider/lab_writer.h"
#include "tools/qxprovider/location.h"

namespace qx::admin::lab_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using tools::ExitCode;
using tools::expectRefusal;

TEST(LabPeople, HaveNamesOfTheirOwnThatAreFileNames) {
  std::set<std::string> names;
  std::set<std::string> commonNames;
  for (const LabPerson& person : labPeople()) {
    const std::string name = person.name;
    EXPECT_TRUE(names.insert(name).second) << name;
    EXPECT_TRUE(commonNames.insert(person.commonName).second) << person.commonName;
    EXPECT_EQ(name.find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos) << name;
  }
}

TEST(LabPeople, BelongToAnAuthorityOfTheLab) {
  std::map<std::string, lab::KeyKind> kinds;
  for (const LabAuthority& authority : labAuthorities()) {
    EXPECT_TRUE(kinds.emplace(authority.name, authority.kind).second) << authority.name;
  }
  std::set<std::string> used;
  for (const LabPerson& person : labPeople()) {
    ASSERT_TRUE(kinds.contains(person.authority)) << person.name;
    used.insert(person.authority);
    // No chain mixes GOST with the rest of the world.
    const auto isGost = [](lab::KeyKind kind) {
      return std::string(lab::kindName(kind)).starts_with("gost");
    };
    EXPECT_EQ(isGost(person.kind), isGost(kinds.at(person.authority))) << person.name;
  }
  EXPECT_EQ(used.size(), kinds.size());
}

TEST(LabPeople, HaveEveryKindOfKeyAmongTheSigners) {
  std::set<lab::KeyKind> kinds;
  for (const LabPerson& person : labPeople()) {
    if (person.role == LabRole::Signer && person.state == LabState::Good) {
      kinds.insert(person.kind);
    }
  }
  EXPECT_THAT(kinds, SizeIs(6));
}

TEST(LabPeople, HavePinsThatNobodyElseHas) {
  std::set<std::string> pins;
  for (const LabPerson& person : labPeople()) {
    if (person.pin != nullptr) {
      EXPECT_GE(std::string(person.pin).size(), 8U) << person.name;
      EXPECT_TRUE(pins.insert(person.pin).second) << person.name;
    }
    const bool isService = person.role == LabRole::TimeStamps || person.role == LabRole::Ocsp;
    EXPECT_FALSE(isService && person.pin != nullptr) << "nobody is there to type " << person.name;
  }
}

TEST(LabPeople, HaveAWordForEveryRoleAndState) {
  const std::set<std::string> roles = {roleName(LabRole::Signer),
                                       roleName(LabRole::Recipient),
                                       roleName(LabRole::TimeStamps),
                                       roleName(LabRole::Ocsp)};
  EXPECT_EQ(roles, (std::set<std::string>{"signer", "recipient", "time-stamps", "ocsp"}));
  const std::set<std::string> states = {
      stateName(LabState::Good), stateName(LabState::Expired), stateName(LabState::Revoked)};
  EXPECT_EQ(states, (std::set<std::string>{"good", "expired", "revoked"}));
}

class LabWriterTest : public ::testing::Test {
 protected:
  LabWriterTest() {
    setenv("QXPROVIDER_USER_DIR", "/nonexistent/user", 1);
    setenv("QXPROVIDER_MACHINE_DIR", "/nonexistent/machine", 1);
  }

  void TearDown() override { umask(before_); }

  static mode_t modeOf(const std::string& path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  // What a shell that read the lab's environment has in a variable.
  static std::string variable(const LabWriter& writer, const std::string& name) {
    return test::run({"sh",
                      "-c",
                      ". \"$0\" && printf %s \"$" + name + "\"",
                      writer.folder() + "/environment"})
        .out;
  }

  test::TempDir parent_;
  mode_t before_ = umask(0);
  lab::Authority root_ = lab::Authority::selfSigned(lab::KeyKind::EcP256,
                                                    {.subject = {{.type = "CN", .value = "Root"}}});
};

TEST_F(LabWriterTest, MakesFoldersForTheirOwnerWhateverTheUmask) {
  const LabWriter writer(parent_.file("new/lab"));
  for (const char* part : {"", "/user", "/machine", "/pem", "/pins"}) {
    EXPECT_EQ(modeOf(writer.folder() + part), 0700U) << part;
  }
  EXPECT_EQ(modeOf(writer.folder() + "/environment"), 0600U);
}

TEST_F(LabWriterTest, TakesAnEmptyFolderAndClosesItToOthers) {
  ASSERT_TRUE(fs::create_directory(parent_.file("lab")));
  ASSERT_EQ(modeOf(parent_.file("lab")), 0777U);
  const LabWriter writer(parent_.file("lab"));
  EXPECT_EQ(modeOf(writer.folder()), 0700U);
}

TEST_F(LabWriterTest, NamesItsFolderInFullAndWithoutASlashAtTheEnd) {
  const std::pair<const char*, const char*> names[] = {
      {"a", "a"}, {"b/", "b"}, {"c//", "c"}, {"./d/.", "d"}, {"x/../e/", "e"}};
  for (const auto& [given, name] : names) {
    const LabWriter writer(parent_.file(given));
    EXPECT_EQ(writer.folder(), parent_.file(name));
    EXPECT_EQ(variable(writer, "QXPROVIDER_USER_DIR"), writer.folder() + "/user");
  }
}

TEST_F(LabWriterTest, TakesARelativeFolder) {
  const fs::path before = fs::current_path();
  fs::current_path(parent_.path());
  const LabWriter writer("lab");
  fs::current_path(before);
  EXPECT_EQ(writer.folder(), parent_.file("lab"));
}

TEST_F(LabWriterTest, QuotesItsFolderForAShell) {
  for (const char* name :
       {"a b", "it's", "$HOME", "`id`", "a\"b", "a\\b", "a;b", "a\nb", "-n", "''"}) {
    const LabWriter writer(parent_.file(name));
    EXPECT_EQ(variable(writer, "QXPROVIDER_USER_DIR"), parent_.file(name) + "/user");
    EXPECT_EQ(variable(writer, "QXPROVIDER_MACHINE_DIR"), parent_.file(name) + "/machine");
  }
}

TEST_F(LabWriterTest, RefusesAFolderThatHoldsSomethingAndLeavesIt) {
  for (const char* content : {"file", ".hidden", "folder/file"}) {
    const test::TempDir folder;
    const std::string path = folder.write(content, "mine");
    expectRefusal([&] { const LabWriter writer(folder.path()); },
                  ExitCode::Input,
                  HasSubstr("is not empty; a lab wants a new folder"));
    EXPECT_EQ(test::readFile(path), "mine");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
  }
}

TEST_F(LabWriterTest, RefusesWhatIsNoFolder) {
  expectRefusal([] { const LabWriter writer(""); }, ExitCode::Usage, HasSubstr("is empty"));
  const std::string file = parent_.write("file", "mine");
  expectRefusal([&] { const LabWriter writer(file); }, ExitCode::Input, HasSubstr(file));
  expectRefusal([&] { const LabWriter writer(file + "/lab"); }, ExitCode::Input, HasSubstr(file));
  EXPECT_EQ(test::readFile(file), "mine");
  ASSERT_EQ(symlink("nowhere", parent_.file("link").c_str()), 0);
  expectRefusal([&] { const LabWriter writer(parent_.file("link")); },
                ExitCode::Input,
                HasSubstr(parent_.file("link")));
}

TEST_F(LabWriterTest, LeadsTheProcessIntoTheLab) {
  const LabWriter writer(parent_.file("lab"));
  writer.addCertificate("Root", root_.certificate());
  writer.addCrl("Root", "root", root_.crl().get());
  const auto store = openStore(Location::CurrentUser, "Root");
  EXPECT_THAT(store->certificates(), SizeIs(1));
  EXPECT_THAT(store->crls(), SizeIs(1));
  const std::string shown =
      test::run({"openssl", "crl", "-in", writer.folder() + "/pem/root.crl", "-noout", "-issuer"})
          .out;
  EXPECT_THAT(shown, HasSubstr("CN = Root"));
  EXPECT_EQ(
      std::distance(fs::directory_iterator(writer.folder() + "/machine"), fs::directory_iterator()),
      0);
}

TEST_F(LabWriterTest, LocksAKeyUnderItsPinAndKeepsThePinBesideIt) {
  setenv("QXPROVIDER_PIN_KDF_ROUNDS", "1000", 1);
  const LabWriter writer(parent_.file("lab"));
  writer.addKey("ivan", root_.key(), "4711");
  EXPECT_EQ(test::readFile(writer.folder() + "/pins/ivan.pin"), "4711\n");
  EXPECT_EQ(modeOf(writer.folder() + "/pins/ivan.pin"), 0600U);
  const auto keys = listKeys(Location::CurrentUser);
  ASSERT_TRUE(keys);
  ASSERT_THAT(*keys, SizeIs(1));
  const auto file = *findKey(Location::CurrentUser, keys->front().id);
  EXPECT_TRUE(file->hasPin());
  EXPECT_TRUE(unlock(*file, "4711"));
  EXPECT_FALSE(unlock(*file, "4712"));
}

TEST_F(LabWriterTest, KeepsNoPinOfAKeyWithoutOne) {
  const LabWriter writer(parent_.file("lab"));
  writer.addKey("anna", root_.key(), std::nullopt);
  EXPECT_FALSE(fs::exists(writer.folder() + "/pins/anna.pin"));
  EXPECT_FALSE(listKeys(Location::CurrentUser)->front().hasPin);
  // Once is enough: nobody has two keys that are the same.
  expectRefusal([&] { writer.addKey("twin", root_.key(), std::nullopt); },
                ExitCode::Input,
                HasSubstr("twin: "));
}

TEST_F(LabWriterTest, CopiesWhatTheOpensslCommandReads) {
  const LabWriter writer(parent_.file("lab"));
  writer.copy("root", root_.key(), root_.certificate());
  const std::string base = writer.folder() + "/pem/root";
  EXPECT_EQ(modeOf(base + ".key"), 0600U);
  EXPECT_EQ(test::run({"openssl", "pkey", "-in", base + ".key", "-pubout"}).out,
            test::run({"openssl", "x509", "-in", base + ".crt", "-noout", "-pubkey"}).out);
}

TEST_F(LabWriterTest, NamesAStoreThatCannotBe) {
  const LabWriter writer(parent_.file("lab"));
  expectRefusal([&] { writer.addCertificate("a/b", root_.certificate()); },
                ExitCode::Usage,
                HasSubstr("'a/b' cannot be the name of a store"));
}

}  // namespace
}  // namespace qx::admin::lab_test
