#include "provider/key/helper_program.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/prompt.h"
#include "tests/provider/key/key_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::helper_program_test {
namespace {

using ::testing::HasSubstr;

constexpr std::chrono::milliseconds kLong{20000};

// Says something, ends its output, and goes when its input ends.
class HelperProgramTest : public ::testing::Test {
 protected:
  std::string program(const std::string& script) const {
    const std::string path = folder_.file("program");
    test::writeProgram(path, script);
    return path;
  }

  // All that the program says.
  static std::string heard(const HelperProgram& running) {
    std::string all;
    char buffer[1024];
    for (ssize_t got = 0; (got = recv(running.socket(), buffer, sizeof buffer, 0)) > 0;) {
      all.append(buffer, static_cast<std::size_t>(got));
    }
    return all;
  }

  std::string said(const std::string& script) const {
    HelperProgram running;
    EXPECT_TRUE(running.start(program(script)));
    return heard(running);
  }

  static bool hasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0 || errno != ECHILD; }

  test::TempDir folder_;
};

TEST_F(HelperProgramTest, TalksThroughOneSocket) {
  HelperProgram running;
  ASSERT_TRUE(running.start(program("read -r line; echo \"got $line\"")));
  ASSERT_EQ(send(running.socket(), "hello\n", 6, MSG_NOSIGNAL), 6);
  EXPECT_EQ(heard(running), "got hello\n");
}

TEST_F(HelperProgramTest, GetsNoArgumentsAndOurEnvironment) {
  setenv("QX_HELPER_TEST", "a value", 1);
  EXPECT_EQ(said("echo \"$#:$QX_HELPER_TEST\""), "0:a value\n");
}

TEST_F(HelperProgramTest, SaysNothingOnOurErrorStream) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(said("echo noise >&2; echo said"), "said\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(HelperProgramTest, LeavesNoChildBehind) {
  said("exit 3");
  EXPECT_FALSE(hasChildren());
  {
    HelperProgram running;
    ASSERT_TRUE(running.start(program("read -r line")));
    EXPECT_TRUE(hasChildren());
  }
  EXPECT_FALSE(hasChildren());
}

TEST_F(HelperProgramTest, LeavesNothingBehindWhenItDoesNotStart) {
  const int before = dup(STDIN_FILENO);
  close(before);
  for (const std::string& path : {std::string(),
                                  std::string("sh"),
                                  std::string("./program"),
                                  std::string("/nowhere/program"),
                                  folder_.path(),
                                  folder_.write("text", "no program")}) {
    HelperProgram running;
    EXPECT_FALSE(running.start(path)) << path;
  }
  EXPECT_FALSE(hasChildren());
  const int after = dup(STDIN_FILENO);
  close(after);
  EXPECT_EQ(after, before) << "a descriptor is still open";
}

TEST_F(HelperProgramTest, IsNotLookedForInThePath) {
  const std::filesystem::path before = std::filesystem::current_path();
  program("echo said");
  std::filesystem::current_path(folder_.path());
  HelperProgram running;
  EXPECT_FALSE(running.start("program"));
  std::filesystem::current_path(before);
}

TEST_F(HelperProgramTest, InheritsNoSignalThatTheHostBlocksOrIgnores) {
  sigset_t all;
  sigset_t old;
  sigfillset(&all);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &all, &old), 0);
  std::signal(SIGTERM, SIG_IGN);
  const std::string status = said("exec grep -E '^Sig(Blk|Ign):' /proc/self/status");
  ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &old, nullptr), 0);
  EXPECT_THAT(status, HasSubstr("SigBlk:\t0000000000000000"));
  // The C library keeps signals from 32 on for itself.
  const std::string ignored = status.substr(status.find("SigIgn:\t") + 8);
  EXPECT_EQ(std::stoull(ignored, nullptr, 16) & 0x7FFFFFFFU, 0U) << status;
}

TEST_F(HelperProgramTest, EndsAlsoWhereTheHostWantsToHearOfNoChild) {
  std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(said("echo said"), "said\n");
  std::signal(SIGCHLD, SIG_DFL);
}

TEST_F(HelperProgramTest, IsKilledWhenItDoesNotHearItsEnd) {
  const std::string pid = said("trap '' HUP TERM PIPE; echo $$; exec 1>&-; exec sleep 1000 <&-");
  EXPECT_EQ(kill(std::stoi(pid), 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

// Which of the host's three standard streams are closed, a bit each.
class ClosedStreams : public HelperProgramTest, public ::testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(All, ClosedStreams, ::testing::Range(0, 8));

TEST_P(ClosedStreams, OfTheHostDoNotDisturbThePrompt) {
  test::writePinentry("D 1234");
  const pid_t child = fork();
  if (child == 0) {
    for (int fd = 0; fd < 3; ++fd) {
      if ((GetParam() & (1 << fd)) != 0) {
        close(fd);
      }
    }
    const auto pin = askProgram(test::pinentryPath(), "CN=Somebody", kLong);
    _exit(pin && pin->text() == "1234" ? 42 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 42);
}

}  // namespace
}  // namespace qx::helper_program_test
