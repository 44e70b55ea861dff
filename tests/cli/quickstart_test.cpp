// The script that a newcomer runs first, on the tools that are built already: in a tree of links in
// which the installer and cmake do nothing.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::quickstart_test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Quickstart : public ::testing::Test {
 protected:
  Quickstart() {
    fs::copy_file(QX_SOURCE_DIR "/quickstart", folder_.file("quickstart"));
    folder_.write("README.md", "A project.\n");
    program("scripts/install_packages.sh", "exit 0");
    program("path/cmake", "exit 0");
    fs::create_directories(folder_.file("build/release"));
    fs::create_directory_symlink(QX_BIN_FOLDER, folder_.file("build/release/bin"));
    fs::create_directory(folder_.file("tmp"));
  }

  void program(const std::string& name, const std::string& text) const {
    const std::string path = folder_.write(name, "#!/bin/sh\n" + text + "\n");
    fs::permissions(path, fs::perms::owner_all);
  }

  CommandResult quickstart(const Arguments& arguments = {}) const {
    Command command{.arguments = {folder_.file("quickstart")},
                    .environment = {{"PATH", folder_.file("path") + ":" + getenv("PATH")},
                                    {"TMPDIR", folder_.file("tmp")},
                                    {"QXPROVIDER_PIN_KDF_ROUNDS", "1000"},
                                    {"QXPROVIDER_CONF", "/dev/null"},
                                    {"OPENSSL_CONF", ""},
                                    {"LC_ALL", "C.UTF-8"}}};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    return run(command);
  }

  /// What is left in the folder for temporary files.
  std::vector<fs::path> leftovers() const {
    return {fs::directory_iterator(folder_.file("tmp")), fs::directory_iterator()};
  }

  void expectGood(const CommandResult& result, const std::string& name) const {
    EXPECT_EQ(result.exitCode, 0) << result.err << result.out;
    EXPECT_THAT(result.err, IsEmpty());
    EXPECT_THAT(result.out, HasSubstr("sign " + name + " with GOST R 34.10-2012"));
    EXPECT_THAT(result.out, HasSubstr("All good."));
    EXPECT_THAT(leftovers(), IsEmpty());
  }

  TempDir folder_;
};

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

TEST_F(Quickstart, SignsEncryptsAndRefuses) {
  const CommandResult result = quickstart();
  expectGood(result, "README.md");
  EXPECT_THAT(result.out, HasSubstr("signed by 2 signers"));
  EXPECT_THAT(result.out, HasSubstr("enveloped for 2 recipients"));
  EXPECT_EQ(count(result.out, ": opened, "), 2U) << result.out;
  EXPECT_THAT(result.out, HasSubstr("signer 3: CN=Boris Sokolov, O=Lab, C=RU: good"));
  EXPECT_EQ(count(result.out, "   refused: "), 3U) << result.out;
  EXPECT_EQ(count(result.out, ", time stamp "), 1U) << result.out;
  EXPECT_EQ(readFile(folder_.file("README.md")), "A project.\n");
  EXPECT_FALSE(fs::exists(folder_.file("signature.p7s")));
}

TEST_F(Quickstart, TakesAFileOfTheUsers) {
  const std::string document = folder_.write("my documents/a file with 'quotes'.txt", "Text.\n");
  expectGood(quickstart({document}), "a file with 'quotes'.txt");
  EXPECT_EQ(readFile(document), "Text.\n");
}

TEST_F(Quickstart, TakesAFileWithANameLikeAnOption) {
  folder_.write("docs/-x", "Text.\n");
  expectGood(quickstart({folder_.file("docs/-x")}), "-x");
}

TEST_F(Quickstart, NamesAFileThatIsMissing) {
  const CommandResult result = quickstart({folder_.file("nothing")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("nothing"));
  EXPECT_THAT(result.out, Not(HasSubstr("1.")));
}

TEST_F(Quickstart, Helps) {
  for (const char* option : {"-h", "--help"}) {
    const CommandResult result = quickstart({option});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, HasSubstr("quickstart [FILE]"));
    EXPECT_THAT(result.out, Not(HasSubstr("set -e")));
  }
}

TEST_F(Quickstart, ShowsWhatTheBuildSaidWhenItFails) {
  program("path/cmake", "echo 'no compiler here'; exit 1");
  const CommandResult result = quickstart();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.err, HasSubstr("no compiler here"));
  EXPECT_THAT(result.err, HasSubstr("failed"));
  EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(Quickstart, EndsWhenPackagesCannotBeInstalled) {
  program("scripts/install_packages.sh", "echo 'no network' >&2; exit 3");
  const CommandResult result = quickstart();
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_THAT(result.err, HasSubstr("no network"));
  EXPECT_THAT(result.out, Not(HasSubstr("2.")));
}

// A verification that accepts the changed copy must not pass for a good demonstration.
TEST_F(Quickstart, FailsWhenAChangedCopyIsAccepted) {
  fs::remove(folder_.file("build/release/bin"));
  fs::create_directory(folder_.file("build/release/bin"));
  fs::create_symlink(QX_BIN_FOLDER "/qxprovider", folder_.file("build/release/bin/qxprovider"));
  program("build/release/bin/qxssf", "echo accepted");
  const CommandResult result = quickstart();
  EXPECT_EQ(result.exitCode, 7);
  EXPECT_THAT(result.err, HasSubstr("exit code 0 instead of 3"));
  EXPECT_THAT(result.out, Not(HasSubstr("All good")));
}

}  // namespace
}  // namespace qx::test::quickstart_test
