#include "tools/qxssf/doctor/origin.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace qx::ssf::doctor::origin_test {
namespace {

constexpr const char* kMaps =
    "55d0c0a00000-55d0c0a10000 r--p 00000000 fe:00 1311  /usr/bin/qxssf\n"
    "7f1000000000-7f1000010000 rw-p 00000000 00:00 0 \n"
    "7f1000100000-7f1000110000 r-xp 00001000 fe:00 1312  /usr/lib/engines 3/gost.so\n"
    "7f1000200000-7f1000210000 r-xp 00001000 fe:00 1313  /usr/lib/other-gost.so\n"
    "7ffe00000000-7ffe00021000 rw-p 00000000 00:00 0     [stack]\n";

std::string loaded(const std::string& name) {
  std::istringstream maps(kMaps);
  return loadedFile(maps, name);
}

TEST(DoctorOrigin, FindsWhereALoadedFileLies) {
  EXPECT_EQ(loaded("gost.so"), "/usr/lib/engines 3/gost.so");
  EXPECT_EQ(loaded("other-gost.so"), "/usr/lib/other-gost.so");
}

TEST(DoctorOrigin, FindsNothingWhereNothingIsLoaded) {
  EXPECT_EQ(loaded("st.so"), "");
  EXPECT_EQ(loaded("[stack]"), "");
  std::istringstream none;
  EXPECT_EQ(loadedFile(none, "gost.so"), "");
}

/// A package database with two packages, of which the first is there for an architecture.
class DoctorPackages : public ::testing::Test {
 protected:
  DoctorPackages() {
    folder_.write("status",
                  "Package: libone\nStatus: install ok installed\nVersion: 1.2-3+b1\n\n"
                  "Package: libtwo\nVersion: 4.5\n");
    folder_.write("info/libone:amd64.list", "/.\n/usr\n/usr/lib/one.so\n");
    folder_.write("info/libtwo.list", "/.\n/usr\n/usr/lib/two.so\n");
    folder_.write("info/libtwo.md5sums", "00 usr/lib/two.so\n");
  }

  std::string version(const std::string& package, const std::string& file) const {
    return packageVersion(package, file, folder_.path());
  }

  test::TempDir folder_;
};

TEST_F(DoctorPackages, TellTheVersionOfWhatTheyBrought) {
  EXPECT_EQ(version("libone", "/usr/lib/one.so"), "1.2-3+b1");
  EXPECT_EQ(version("libtwo", "/usr/lib/two.so"), "4.5");
}

TEST_F(DoctorPackages, TellNoVersionOfWhatTheyDidNotBring) {
  EXPECT_EQ(version("libone", "/usr/lib/two.so"), "");
  EXPECT_EQ(version("libone", "/usr/lib"), "");
  EXPECT_EQ(version("libthree", "/usr/lib/one.so"), "");
  EXPECT_EQ(version("lib", "/usr/lib/one.so"), "");
}

TEST_F(DoctorPackages, AreNotNeeded) {
  EXPECT_EQ(packageVersion("libone", "/usr/lib/one.so", folder_.file("none")), "");
}

TEST(DoctorReleases, MayBePatchedAfterwards) {
  constexpr OpensslRelease kBuilt{.major = 3, .minor = 0, .patch = 15};
  EXPECT_EQ(releaseFault(kBuilt, kBuilt), "");
  EXPECT_EQ(releaseFault(kBuilt, {.major = 3, .minor = 0, .patch = 22}), "");
}

TEST(DoctorReleases, AreNotToBeOlderOrOthers) {
  constexpr OpensslRelease kBuilt{.major = 3, .minor = 0, .patch = 15};
  EXPECT_EQ(releaseFault(kBuilt, {.major = 3, .minor = 0, .patch = 2}),
            "older than the 3.0.15 that it was built with");
  for (const OpensslRelease& other : {OpensslRelease{.major = 3, .minor = 2, .patch = 15},
                                      OpensslRelease{.major = 4, .minor = 0, .patch = 15}}) {
    EXPECT_EQ(releaseFault(kBuilt, other),
              "another release than the 3.0.15 that it was built with");
  }
}

}  // namespace
}  // namespace qx::ssf::doctor::origin_test
