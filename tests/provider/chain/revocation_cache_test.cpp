#include "provider/chain/revocation_cache.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "provider/store/folder_store.h"
#include "tests/provider/chain/ocsp_world.h"
#include "tests/support/provider_folder.h"

namespace qx::test::revocation_cache_test {
namespace {

namespace fs = std::filesystem;

class RevocationCacheTest : public OcspWorld {
 protected:
  RevocationCacheTest() { forgetSnapshots(); }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    if (fs::exists(path)) {
      for (const auto& file : fs::directory_iterator(path)) {
        found.push_back(file.path().filename());
      }
    }
    std::ranges::sort(found);
    return found;
  }

  OcspPtr answer() const { return answerOf(responder.basic({entry()})); }

  const ProviderFolder folder;
  const std::string path = folder.path() + "/cache";
  const RevocationCache cache{Location::CurrentUser};
  const CertificatePtr certificate = dataOf(end.get());
};

TEST_F(RevocationCacheTest, GivesAnAnswerAgain) {
  const OcspPtr kept = answer();
  EXPECT_EQ(cache.answerAbout(*certificate), nullptr);
  cache.keep(*certificate, *kept);
  const OcspPtr found = cache.answerAbout(*certificate);
  ASSERT_NE(found, nullptr);
  EXPECT_TRUE(std::ranges::equal(found->basic(), kept->basic()));
  EXPECT_EQ(cache.answerAbout(*dataOf(root.certificate())), nullptr) << "about another one";
}

TEST_F(RevocationCacheTest, NamesFilesByHashes) {
  cache.keep(*certificate, *answer());
  cache.keep("http://../../evil", *dataOf(root.crl().get()));
  ASSERT_EQ(names().size(), 2U);
  for (const std::string& name : names()) {
    EXPECT_EQ(name.find_first_not_of("0123456789abcdef"), 64U) << name;
    EXPECT_TRUE(name.ends_with(".ocsp") || name.ends_with(".crl")) << name;
  }
}

TEST_F(RevocationCacheTest, ReplacesWhatIsOlder) {
  cache.keep(*certificate, *answer());
  const OcspPtr newer = answer();
  cache.keep(*certificate, *newer);
  cache.keep("http://a", *dataOf(root.crl().get()));
  cache.keep("http://a", *dataOf(root.crl({.number = 2}).get()));
  EXPECT_EQ(names().size(), 2U);
  EXPECT_EQ(cache.answerAbout(*certificate)->sha1(), newer->sha1());
}

TEST_F(RevocationCacheTest, ForgetsWhatItIsTold) {
  cache.forget(*certificate);
  cache.keep(*certificate, *answer());
  cache.forget(*certificate);
  EXPECT_EQ(cache.answerAbout(*certificate), nullptr);
  EXPECT_TRUE(names().empty());
}

TEST_F(RevocationCacheTest, IsWritableByItsOwnerAlone) {
  cache.keep(*certificate, *answer());
  for (const std::string& file : {path, path + "/" + names().at(0)}) {
    struct stat status{};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & (S_IWGRP | S_IWOTH), 0U) << file;
  }
}

TEST_F(RevocationCacheTest, GivesNothingThatItCannotRead) {
  cache.keep(*certificate, *answer());
  const std::string file = path + "/" + names().at(0);
  std::ofstream(file, std::ios::trunc) << "rubbish";
  EXPECT_EQ(cache.answerAbout(*certificate), nullptr);
  fs::remove(file);
  fs::create_symlink("/etc/passwd", file);
  EXPECT_EQ(cache.answerAbout(*certificate), nullptr);
}

TEST_F(RevocationCacheTest, DropsTheOldestWhenItIsFull) {
  const RevocationCache small(Location::CurrentUser, 4);
  const CrlPtr crl = dataOf(root.crl().get());
  for (int i = 0; i < 4; ++i) {
    small.keep("http://" + std::to_string(i), *crl);
  }
  const std::vector<std::string> full = names();
  ASSERT_EQ(full.size(), 4U);
  const auto now = fs::last_write_time(path + "/" + full[0]);
  for (std::size_t i = 0; i < full.size(); ++i) {
    fs::last_write_time(path + "/" + full[i], now - std::chrono::hours(i == 2 ? 10 : 1));
  }
  std::ofstream(path + "/somebody-elses.crl") << "rubbish";
  small.keep("http://new", *crl);
  const std::vector<std::string> left = names();
  EXPECT_EQ(left.size(), 5U);
  EXPECT_FALSE(std::ranges::binary_search(left, full[2])) << "the oldest";
  EXPECT_TRUE(std::ranges::binary_search(left, "somebody-elses.crl"));
}

TEST_F(RevocationCacheTest, DoesNotMindAFolderThatCannotBeMade) {
  std::ofstream(path) << "a file is in the way";
  cache.keep(*certificate, *answer());
  EXPECT_EQ(cache.answerAbout(*certificate), nullptr);
  cache.forget(*certificate);
  EXPECT_TRUE(fs::is_regular_file(path));
}

}  // namespace
}  // namespace qx::test::revocation_cache_test
