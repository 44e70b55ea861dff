#include "provider/chain/system_roots.h"

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"
#include "tests/support/temp_dir.h"

namespace qx::test::system_roots_test {
namespace {

using ::testing::IsEmpty;
using ::testing::IsNull;
using ::testing::NotNull;
using ::testing::SizeIs;

std::string rootPem(const std::string& name) {
  return lab::toPem(lab::selfSigned(sampleKey(), named(name)).get());
}

class SystemRootsTest : public ::testing::Test {
 protected:
  const TempDir folder;
  SystemRoots roots{folder.path(), "bundle.crt"};
};

TEST_F(SystemRootsTest, AreAllThatTheFileHolds) {
  folder.write("bundle.crt", "# first\n" + rootPem("One") + "\n# second\n" + rootPem("Two"));
  const CertificateListPtr certificates = roots.get();
  ASSERT_THAT(certificates, NotNull());
  ASSERT_THAT(*certificates, SizeIs(2));
  EXPECT_NE(certificates->at(0)->x509(), nullptr);
}

TEST_F(SystemRootsTest, StayTheSameListUntilTheFileChanges) {
  folder.write("bundle.crt", rootPem("One"));
  const CertificateListPtr first = roots.get();
  EXPECT_EQ(roots.get(), first);
  folder.write("bundle.crt", rootPem("One") + rootPem("Two") + rootPem("Three"));
  EXPECT_THAT(*roots.get(), SizeIs(3));
}

TEST_F(SystemRootsTest, AreNoneWithoutAFile) {
  EXPECT_THAT(roots.get(), IsNull());
  EXPECT_THAT(SystemRoots("/nonexistent", "bundle.crt").get(), IsNull());
}

TEST_F(SystemRootsTest, LeaveOutWhatIsNoCertificate) {
  folder.write("bundle.crt",
               "-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n" + rootPem("One"));
  EXPECT_THAT(*roots.get(), SizeIs(1));
  folder.write("bundle.crt", "nothing of the kind");
  EXPECT_THAT(*roots.get(), IsEmpty());
}

TEST_F(SystemRootsTest, AreNotReadThroughALink) {
  folder.write("elsewhere", rootPem("One"));
  std::filesystem::create_symlink(folder.file("elsewhere"), folder.file("bundle.crt"));
  EXPECT_THAT(roots.get(), IsNull());
}

}  // namespace
}  // namespace qx::test::system_roots_test
