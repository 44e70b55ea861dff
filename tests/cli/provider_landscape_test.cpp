#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_landscape_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kPassword = "open sesame";

class ProviderLandscape : public LabTest {
 protected:
  CommandResult exported(const Arguments& more = {}) const {
    return landscape("export", more, kPassword);
  }

  CommandResult imported(const Arguments& more = {},
                         const std::string& password = kPassword) const {
    return landscape("import", more, password);
  }

  // Another system, with nothing on it.
  void moveOn() { setEnvironment("QXPROVIDER_USER_DIR", file("other")); }

  static std::string inside(const fs::path& root) {
    std::string all;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (entry.is_regular_file()) {
        all.append(fs::relative(entry.path(), root)).append("\n");
      }
    }
    return all;
  }

 private:
  CommandResult landscape(const char* verb,
                          const Arguments& more,
                          const std::string& password) const {
    Arguments arguments = {"landscape", verb, file("all.cms"), "--password-env", "THE_PASSWORD"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments, {.environment = {{"THE_PASSWORD", password}}});
  }
};

TEST_F(ProviderLandscape, ComesOutAsItWentIn) {
  ASSERT_EQ(exported().exitCode, 0);
  EXPECT_EQ(fs::status(file("all.cms")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  moveOn();
  const CommandResult result = imported();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  std::size_t count = 0;
  for (const auto& entry : fs::recursive_directory_iterator(userFolder())) {
    if (entry.is_regular_file()) {
      const fs::path copy = file("other") / fs::relative(entry.path(), userFolder());
      ASSERT_TRUE(fs::exists(copy)) << copy;
      EXPECT_EQ(readFile(copy), readFile(entry.path())) << copy;
      ++count;
    }
  }
  EXPECT_GT(count, 40U);
}

TEST_F(ProviderLandscape, KeysStayPrivateAndUnderTheirPins) {
  exported();
  moveOn();
  imported();
  for (const auto& key : fs::directory_iterator(file("other/keys"))) {
    EXPECT_EQ(key.status().permissions(), fs::perms::owner_read | fs::perms::owner_write);
  }
  EXPECT_EQ(fs::status(file("other/keys")).permissions(), fs::perms::owner_all);
}

TEST_F(ProviderLandscape, IsOpenedByTheOpensslCommandAndTar) {
  exported();
  const CommandResult opened = openssl({"cms",
                                        "-decrypt",
                                        "-inform",
                                        "DER",
                                        "-in",
                                        file("all.cms"),
                                        "-pwri_password",
                                        kPassword,
                                        "-out",
                                        file("all.tar")});
  ASSERT_EQ(opened.exitCode, 0) << opened.err;
  fs::create_directory(file("untarred"));
  const CommandResult untarred = run({"tar", "-xf", file("all.tar"), "-C", file("untarred")});
  ASSERT_EQ(untarred.exitCode, 0) << untarred.err;
  EXPECT_EQ(inside(file("untarred")).size(), inside(userFolder()).size());
}

TEST_F(ProviderLandscape, AWrongPasswordOpensNothing) {
  exported();
  moveOn();
  const CommandResult result = imported({}, "open barley");
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("the password does not open the file"));
  EXPECT_FALSE(exists("other"));
}

TEST_F(ProviderLandscape, AnEmptyPasswordIsRefused) {
  const CommandResult result =
      provider({"landscape", "export", file("all.cms"), "--password-file", pinFile("empty", "")});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_FALSE(exists("all.cms"));
}

TEST_F(ProviderLandscape, AChangedFileIsRefused) {
  exported();
  const std::string whole = readFile(file("all.cms"));
  moveOn();
  for (const std::size_t at : {whole.size() - 1, whole.size() / 2, whole.size() / 3}) {
    std::string changed = whole;
    changed[at] = static_cast<char>(changed[at] ^ 1);
    write("all.cms", changed);
    EXPECT_EQ(imported().exitCode, 2) << at;
    EXPECT_FALSE(exists("other")) << at;
  }
  write("all.cms", whole.substr(0, whole.size() - 1));
  EXPECT_EQ(imported().exitCode, 2);
  write("all.cms", whole + "x");
  EXPECT_EQ(imported().exitCode, 2);
  write("all.cms", "nonsense");
  EXPECT_EQ(imported().exitCode, 2);
}

TEST_F(ProviderLandscape, IsImportedTwiceWithoutHarm) {
  exported();
  const CommandResult result = imported();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, IsEmpty()) << "all is there already";
}

TEST_F(ProviderLandscape, AnotherContentIsNotReplacedAndEverythingTakenBack) {
  exported();
  moveOn();
  imported();
  const std::string key = fs::directory_iterator(file("other/keys"))->path().filename();
  writeFile(file("other/keys/" + key), "something else");
  fs::remove_all(file("other/stores"));
  const CommandResult result = imported();
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("--replace"));
  EXPECT_EQ(readFile(file("other/keys/" + key)), "something else");
  EXPECT_THAT(inside(file("other")), Not(HasSubstr("stores/")));
}

TEST_F(ProviderLandscape, AnotherContentIsReplacedWhenAskedTo) {
  exported();
  const std::string key = fs::directory_iterator(userFolder() + "/keys")->path().filename();
  const std::string before = readFile(userFolder() + "/keys/" + key);
  writeFile(userFolder() + "/keys/" + key, "something else");
  const CommandResult result = imported({"--replace"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "written: keys/" + key + "\n");
  EXPECT_EQ(readFile(userFolder() + "/keys/" + key), before);
}

TEST_F(ProviderLandscape, TheConfigurationGoesWhereItIsWanted) {
  const std::string configuration = write("provider.conf", "[pin]\ncache_seconds = 7\n");
  exported({"--configuration", configuration});
  moveOn();
  EXPECT_THAT(imported().out, HasSubstr("left out: provider.conf"));
  EXPECT_EQ(imported({"--configuration", configuration}).exitCode, 2) << "it is there";
  EXPECT_EQ(imported({"--configuration", file("new.conf")}).exitCode, 0);
  EXPECT_EQ(readFile(file("new.conf")), readFile(configuration));
}

TEST_F(ProviderLandscape, LinksStayAtHome) {
  fs::create_symlink("/etc/passwd", userFolder() + "/stores/My/link.pem");
  const CommandResult result = exported();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("stores/My/link.pem: is no file and is left out"));
}

TEST_F(ProviderLandscape, AFileThatAnybodyCouldHaveChangedIsRefused) {
  run({"openssl",
       "cms",
       "-encrypt",
       "-aes-256-cbc",
       "-pwri_password",
       kPassword,
       "-binary",
       "-in",
       lab("pem/anna.crt"),
       "-outform",
       "DER",
       "-out",
       file("all.cms")});
  ASSERT_TRUE(exists("all.cms"));
  const CommandResult result = imported();
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("no file that landscape export wrote"));
}

}  // namespace
}  // namespace qx::test::provider_landscape_test
