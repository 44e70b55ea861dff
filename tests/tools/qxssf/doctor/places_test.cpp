#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/qxssf/doctor/environment_for_test.h"
#include "tools/qxssf/doctor/families.h"

namespace qx::ssf::doctor::places_test {
namespace {

using test::ScopedVariable;
using ::testing::HasSubstr;
using tools::ExitCode;

/// A user's and a machine's folder of their own.
class DoctorPlaces : public ::testing::Test {
 protected:
  static void allow(const std::string& path, mode_t mode) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
  }

  std::string write(const std::string& name, mode_t mode) const {
    const std::string path = folder_.write(name, "x");
    allow(path, mode);
    return path;
  }

  std::string path(const std::string& name) const { return folder_.file(name); }

  static Findings examine() {
    Findings findings;
    examinePlaces(findings);
    return findings;
  }

  /// about is the only finding on a subject that is not good.
  static Finding about(const Findings& findings, const std::string& subject) {
    const auto isMeant = [&](const Finding& finding) {
      return finding.subject == subject && finding.level != Level::Good;
    };
    EXPECT_EQ(std::ranges::count_if(findings.all(), isMeant), 1) << subject;
    const auto found = std::ranges::find_if(findings.all(), isMeant);
    return found == findings.all().end() ? Finding() : *found;
  }

 private:
  test::TempDir folder_;
  ScopedVariable user_{"QXPROVIDER_USER_DIR", folder_.file("user").c_str()};
  ScopedVariable machine_{"QXPROVIDER_MACHINE_DIR", folder_.file("machine").c_str()};
};

TEST_F(DoctorPlaces, AreGoodWhenOnlyTheirOwnerGetsIn) {
  write("user/keys/k", 0600);
  write("user/stores/My/c.pem", 0644);
  write("user/stores/My/c.crl", 0644);
  write("machine/keys/m", 0640);
  const Findings findings = examine();
  EXPECT_EQ(findings.count(Level::Warning), 0U);
  EXPECT_EQ(findings.worst(), ExitCode::Good);
  EXPECT_TRUE(std::ranges::any_of(findings.all(), [&](const Finding& finding) {
    return finding.subject == path("user/stores/My") && finding.text == "1 certificates, 1 CRLs";
  }));
}

TEST_F(DoctorPlaces, WarnOfAUserWhoHasNoFolder) {
  EXPECT_THAT(about(examine(), "user's folder").text, HasSubstr(path("user")));
}

TEST_F(DoctorPlaces, NameKeysThatOthersReach) {
  const std::string own = write("user/keys/k", 0640);
  const std::string machines = write("machine/keys/m", 0644);
  const Findings findings = examine();
  EXPECT_EQ(about(findings, own).remedy, "chmod 600 " + own);
  EXPECT_EQ(about(findings, machines).remedy, "chmod 640 " + machines);
  EXPECT_EQ(findings.worst(), ExitCode::Key);
}

TEST_F(DoctorPlaces, NameFoldersThatOthersChange) {
  write("user/stores/My/c.pem", 0644);
  allow(path("user"), 0770);
  allow(path("user/stores/My"), 0702);
  const Findings findings = examine();
  EXPECT_EQ(about(findings, path("user")).remedy, "chmod go-w " + path("user"));
  EXPECT_EQ(about(findings, path("user/stores/My")).level, Level::Warning);
}

TEST_F(DoctorPlaces, LetAGroupShareStoresOfTheMachineButNotWhomToTrust) {
  for (const char* name : {"My", "Root", "CA"}) {
    const std::string store = std::string("machine/stores/") + name;
    write(store + "/c.pem", 0644);
    allow(path(store), 02770);
  }
  write("machine/stores/Plain/c.pem", 0644);
  allow(path("machine/stores/Plain"), 0770);
  write("user/stores/My/c.pem", 0644);
  allow(path("user/stores/My"), 02770);
  const Findings findings = examine();
  EXPECT_EQ(findings.count(Level::Warning), 4U);
  for (const char* warned :
       {"machine/stores/Root", "machine/stores/CA", "machine/stores/Plain", "user/stores/My"}) {
    EXPECT_EQ(about(findings, path(warned)).level, Level::Warning) << warned;
  }
  allow(path("machine/stores/My"), 02772);
  EXPECT_EQ(about(examine(), path("machine/stores/My")).level, Level::Warning);
}

// Nobody is kept from reading who is root, but a link to nothing is not read by root either.
TEST_F(DoctorPlaces, NameWhatCannotBeRead) {
  write("user/keys/k", 0600);
  write("user/stores/My/c.pem", 0600);
  std::filesystem::create_symlink("nothing", path("user/keys/lost"));
  std::filesystem::create_symlink("nothing", path("user/stores/My/lost.pem"));
  const Findings findings = examine();
  EXPECT_THAT(about(findings, path("user/keys/lost")).text, HasSubstr("cannot be read by "));
  EXPECT_EQ(about(findings, path("user/keys/lost")).exit, ExitCode::Key);
  EXPECT_EQ(about(findings, path("user/stores/My/lost.pem")).exit, ExitCode::Input);
}

}  // namespace
}  // namespace qx::ssf::doctor::places_test
