#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// Stores and keys that somebody else changes while the library works with them: between its steps, by
// a program that it asks for the PIN, and at any moment, by another process.

namespace qx::test::change_test {
namespace {

namespace fs = std::filesystem;

const std::string kContent = "a document";

/// The program that is asked for PINs. How to find it is read once in a process.
class Pinentry : public testing::Environment {
 public:
  void SetUp() override {
    setenv("QXPROVIDER_PIN_PROMPT", "program", 1);
    setenv("QXPROVIDER_PIN_PROGRAM", path().c_str(), 1);
  }

  /// Before the program gives this PIN it runs the commands.
  static void answer(const std::string& pin, const std::string& commands) {
    writeFile(path(),
              "#!/bin/sh\necho OK\nwhile read -r line; do\n  [ \"$line\" = GETPIN ] && { " +
                  commands + "; echo D " + pin + "; }\n  echo OK\ndone\n");
    chmod(path().c_str(), S_IRWXU);
  }

 private:
  static const std::string& path() {
    static const TempDir folder;
    static const std::string path = folder.file("pinentry");
    return path;
  }
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Pinentry);

/// Ivan signs and is asked for his PIN, when his certificate and his key have been found already.
class SystemChange : public testing::Test {
 protected:
  SsfOutcome signWhile(const std::string& commands) const {
    Pinentry::answer("plum-1234", "cd " + world_.folder().path() + " && " + commands);
    return ssfSign(kContent, {{.id = ivan_.thumbprint, .password = "!"}});
  }

  static void expectGood(const SsfOutcome& made) {
    EXPECT_EQ(made.code, SSF_API_OK);
    EXPECT_EQ(made.records.at(0).result, SSF_RESULT_OK);
    EXPECT_EQ(ssfVerify(made.output).code, SSF_API_OK);
  }

  static void expectKeyRefused(const SsfOutcome& made) {
    EXPECT_EQ(made.code, SSF_API_SIGNER_ERROR);
    EXPECT_EQ(made.records.at(0).result, SSF_RESULT_INVALID_PROFILE);
    EXPECT_EQ(made.output, "");
  }

  SystemWorld world_;
  Person ivan_ = world_.enrol("Ivan", "plum-1234");
  std::string keyFile_ = "keys/" + keyFileName(ivan_.key.get());
};

TEST_F(SystemChange, OfNothingLeavesAllWell) {
  expectGood(signWhile("true"));
}

TEST_F(SystemChange, ThatTakesTheCertificateAwayComesTooLate) {
  expectGood(signWhile("rm stores/My/*"));
  EXPECT_TRUE(fs::is_empty(world_.folder().path() + "/stores/My"));
}

TEST_F(SystemChange, ThatTakesTheStoreAwayComesTooLate) {
  expectGood(signWhile("rm -r stores/My"));
  EXPECT_FALSE(fs::exists(world_.folder().path() + "/stores/My"));
}

TEST_F(SystemChange, ThatMakesTheCertificateAnotherComesTooLate) {
  expectGood(signWhile("for file in stores/My/*; do cp stores/Root/*.pem \"$file\"; done"));
}

TEST_F(SystemChange, ThatTakesTheKeyAwayIsSeen) {
  expectKeyRefused(signWhile("rm " + keyFile_));
}

TEST_F(SystemChange, ThatPutsAnothersKeyInItsPlaceIsSeen) {
  const Person anna = world_.enrol("Anna", "plum-1234");
  expectKeyRefused(signWhile("cp keys/" + keyFileName(anna.key.get()) + " " + keyFile_));
}

TEST_F(SystemChange, ThatCutsTheKeyShortIsSeen) {
  expectKeyRefused(signWhile("truncate -s 100 " + keyFile_));
}

TEST_F(SystemChange, ThatTakesTheTrustAwayLeavesASignatureThatNobodyTrusts) {
  const SsfOutcome made = signWhile("rm stores/Root/*");

  EXPECT_EQ(made.code, SSF_API_OK);
  const SsfOutcome verified = ssfVerify(made.output);
  EXPECT_EQ(verified.code, SSF_API_SIGNER_ERROR);
  EXPECT_EQ(verified.records.at(0).result, SSF_RESULT_UNKNOWN);
}

// A process that renews a list and lets a certificate come and go, until it is ended.
[[noreturn]] void changeForEver(const ProviderFolder& folder,
                                const std::string& crl,
                                const std::string& certificate) {
  const std::string list = folder.path() + "/stores/Root/root.crl";
  const std::string file = folder.path() + "/stores/My/coming.pem";
  for (;;) {
    for (const auto& [place, content] : {std::pair(list, crl), std::pair(file, certificate)}) {
      const std::string made = folder.path() + "/new";
      writeFile(made, content);
      fs::rename(made, place);
    }
    fs::remove(file);
  }
}

TEST(SystemChanges, OfAnotherProcessDoNotDisturbThreadsThatSignAndVerify) {
  constexpr int kThreads = 8;
  constexpr int kTurns = 15;
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  const Person comes = world.enrol("Comes");
  fs::remove(world.folder().path() + "/stores/My/" + comes.thumbprint + ".pem");
  const std::string crl = lab::toPem(world.authority().crl({.number = 2}).get());
  const pid_t child = fork();
  if (child == 0) {
    changeForEver(world.folder(), crl, lab::toPem(comes.certificate.get()));
  }

  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int turn = 0; turn < kTurns; ++turn) {
        const SsfOutcome made = ssfSign(kContent, {{.id = "CN=Ivan", .password = "plum-1234"}});
        wrong += ssfVerify(made.output).code == SSF_API_OK ? 0 : 1;
        const SsfOutcome other = ssfSign(kContent, {{.id = comes.thumbprint}});
        const bool right = other.code == SSF_API_OK
                               ? ssfVerify(other.output).code == SSF_API_OK
                               : other.records.at(0).result == SSF_RESULT_UNKNOWN;
        wrong += right ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace qx::test::change_test
