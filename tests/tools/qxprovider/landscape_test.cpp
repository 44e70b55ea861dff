#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"
#include "tools/qxprovider/landscape_archive.h"
#include "tools/qxprovider/landscape_files.h"
#include "tools/qxprovider/landscape_seal.h"

namespace qx::admin::landscape_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using tools::ExitCode;
using tools::expectRefusal;

std::vector<std::uint8_t> bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

std::string textOf(std::span<const std::uint8_t> bytes) {
  return {bytes.begin(), bytes.end()};
}

class Archive : public ::testing::Test {
 protected:
  // An archive of these files that GNU tar makes.
  std::vector<std::uint8_t> tarred(const std::vector<std::string>& names,
                                   const std::vector<std::string>& options = {"--format=ustar"}) {
    std::vector<std::string> arguments = {
        "tar", "-cf", folder_.file("a.tar"), "-C", folder_.file("")};
    arguments.insert(arguments.begin() + 1, options.begin(), options.end());
    arguments.insert(arguments.end(), names.begin(), names.end());
    EXPECT_EQ(test::run(arguments).exitCode, 0);
    return bytesOf(test::readFile(folder_.file("a.tar")));
  }

  static void expectRefused(const std::vector<std::uint8_t>& archive, const char* reason) {
    expectRefusal([&] { readArchive(archive); }, ExitCode::Input, HasSubstr(reason));
  }

  test::TempDir folder_;
};

TEST_F(Archive, IsReadAsItWasWritten) {
  const auto one = bytesOf("one");
  const auto block = std::vector<std::uint8_t>(512, 'b');
  const std::string deep = std::string(150, 'd') + "/" + std::string(100, 'n');
  const SecretBytes archive = writeArchive({{.path = "a/one", .content = one},
                                            {.path = "empty", .content = {}},
                                            {.path = deep, .content = block}});
  const std::vector<ArchiveFile> files = readArchive(archive.bytes());
  ASSERT_THAT(files, SizeIs(3));
  EXPECT_EQ(files[0].path, "a/one");
  EXPECT_EQ(textOf(files[0].content), "one");
  EXPECT_EQ(files[1].path, "empty");
  EXPECT_THAT(files[1].content, IsEmpty());
  EXPECT_EQ(files[2].path, deep);
  EXPECT_EQ(textOf(files[2].content), textOf(block));
}

TEST_F(Archive, IsReadByTar) {
  const auto one = bytesOf("one");
  const std::string deep = std::string(120, 'd') + "/" + std::string(99, 'n');
  const SecretBytes archive =
      writeArchive({{.path = "a/one", .content = one}, {.path = deep, .content = one}});
  const std::string path = folder_.write("w.tar", archive.text());
  EXPECT_EQ(test::run({"tar", "-tf", path}).out, "a/one\n" + deep + "\n");
  EXPECT_EQ(test::run({"tar", "-xOf", path, "a/one"}).out, "one");
}

TEST_F(Archive, OfTarIsRead) {
  folder_.write("a/one", "one");
  folder_.write("two", std::string(1000, 't'));
  const auto archive = tarred({"a/one", "two"});
  const std::vector<ArchiveFile> files = readArchive(archive);
  ASSERT_THAT(files, SizeIs(2));
  EXPECT_EQ(files[0].path, "a/one");
  EXPECT_EQ(textOf(files[1].content), std::string(1000, 't'));
}

TEST_F(Archive, HoldsFilesOnly) {
  folder_.write("a/one", "one");
  expectRefused(tarred({"a"}), "something else than files");
  ASSERT_EQ(test::run({"ln", "-s", "/etc/passwd", folder_.file("link")}).exitCode, 0);
  expectRefused(tarred({"link"}), "something else than files");
}

TEST_F(Archive, HoldsAPathOnce) {
  folder_.write("one", "one");
  expectRefused(tarred({"one", "one"}, {"--format=ustar", "--hard-dereference"}), "twice");
}

TEST_F(Archive, ThatWasCutIsRefused) {
  folder_.write("one", std::string(600, 'x'));
  const auto archive = tarred({"one"});
  for (const std::size_t size : {0U, 511U, 512U, 1000U, 1535U, 1536U, 2047U}) {
    EXPECT_THROW(readArchive(std::span(archive).first(size)), tools::ToolError) << size;
  }
}

TEST_F(Archive, WithAChangedHeaderIsRefused) {
  folder_.write("one", "one");
  const auto archive = tarred({"one"});
  constexpr std::size_t kBehindTheChecksum = 155;  // counts for nothing
  for (std::size_t at = 0; at < 500; at += at + 1 == kBehindTheChecksum ? 2 : 1) {
    auto changed = archive;
    changed[at] ^= 1U;
    EXPECT_THROW(readArchive(changed), tools::ToolError) << at;
  }
}

TEST_F(Archive, TakesNoPathThatIsTooLong) {
  for (const std::string& path :
       {std::string(101, 'n'), std::string(156, 'd') + "/n", "d/" + std::string(101, 'n')}) {
    expectRefusal([&] { writeArchive({{.path = path, .content = {}}}); },
                  ExitCode::Input,
                  HasSubstr("too long"));
  }
}

TEST(Seal, GivesBackWhatItTook) {
  const tools::Secret password("open sesame");
  const auto content = bytesOf("the content");
  const auto sealed = seal(content, password);
  EXPECT_EQ(unseal(sealed, password, 100).text(), "the content");
  EXPECT_EQ(textOf(sealed).find("the content"), std::string::npos);
  EXPECT_NE(sealed, seal(content, password)) << "salt and vector are fresh";
}

TEST(Seal, OpensUnderItsPasswordOnly) {
  const auto sealed = seal(bytesOf("the content"), tools::Secret("open sesame"));
  expectRefusal([&] { unseal(sealed, tools::Secret("open barley"), 100); },
                ExitCode::Key,
                HasSubstr("password"));
}

TEST(Seal, HoldsNoMoreThanIsAllowed) {
  const tools::Secret password("open sesame");
  const auto sealed = seal(bytesOf("the content"), password);
  expectRefusal([&] { unseal(sealed, password, 10); }, ExitCode::Input, HasSubstr("too much"));
}

TEST(Seal, BreaksWithEveryChange) {
  const tools::Secret password("open sesame");
  const auto sealed = seal(bytesOf("the content"), password);
  for (std::size_t back = 1; back <= 30; ++back) {
    auto changed = sealed;
    changed[changed.size() - back] ^= 1U;
    EXPECT_THROW(unseal(changed, password, 100), tools::ToolError) << back;
  }
}

TEST(LandscapePlaces, AreStoresKeysAndTheConfiguration) {
  const LandscapePlace store = placeOf(Location::CurrentUser, "stores/My Own/a.cer");
  ASSERT_TRUE(store.store.has_value());
  EXPECT_EQ(store.store->name(), "My Own");
  EXPECT_EQ(store.name, "a.cer");
  const LandscapePlace key = placeOf(Location::CurrentUser, "keys/abc.pem");
  EXPECT_FALSE(key.store.has_value());
  EXPECT_EQ(key.name, "abc.pem");
  EXPECT_FALSE(key.isConfiguration());
  EXPECT_TRUE(placeOf(Location::CurrentUser, "provider.conf").isConfiguration());
}

TEST(LandscapePlaces, AreNowhereElse) {
  for (const char* path : {"",
                           "/",
                           "a",
                           "keys",
                           "keys/",
                           "keys/.",
                           "keys/..",
                           "keys/.hidden",
                           "keys/../x",
                           "keys/a/b",
                           "keys//a",
                           "keys/provider.conf",
                           "keys/a\nb",
                           "/keys/a",
                           "./keys/a",
                           "../keys/a",
                           "stores/a.cer",
                           "stores//a.cer",
                           "stores/../a.cer",
                           "stores/../keys/a.cer",
                           "stores/.x/a.cer",
                           "stores/My/",
                           "stores/My/..",
                           "stores/My/../a.cer",
                           "stores/My/b/a.cer",
                           "stores/My/.a.cer",
                           "stores/My/a.txt",
                           "stores/My/a\\b.cer",
                           "Stores/My/a.cer",
                           "cache/a.crl",
                           "/etc/passwd",
                           "provider.conf/a"}) {
    expectRefusal([&] { placeOf(Location::CurrentUser, path); },
                  ExitCode::Input,
                  HasSubstr("in no landscape"));
  }
}

}  // namespace
}  // namespace qx::admin::landscape_test
