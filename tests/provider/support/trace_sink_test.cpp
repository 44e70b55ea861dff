#include "provider/support/trace_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/support.h"

#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

namespace qx::test::trace_sink_test {
namespace {

qx::Configuration toFile(const std::string& path) {
  qx::Configuration configuration;
  configuration.trace.output = qx::TraceOutput::File;
  configuration.trace.file = path;
  return configuration;
}

TEST(TraceSink, AppendsToAFileThatIsThere) {
  const qx::test::TempDir folder;
  const std::string path = folder.write("trace.log", "before\n");
  qx::TraceSink(toFile(path)).write("after\n");
  EXPECT_EQ(qx::test::readFile(path), "before\nafter\n");
}

TEST(TraceSink, ClosesItsFileToOthers) {
  const qx::test::TempDir folder;
  const std::string path = folder.write("trace.log", "");
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  EXPECT_TRUE(qx::TraceSink(toFile(path)).isOpen());
  struct stat status{};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(TraceSink, WritesToNoLinkNoPipeAndNoFolder) {
  const qx::test::TempDir folder;
  const std::string target = folder.write("target", "");
  ASSERT_EQ(symlink(target.c_str(), folder.file("link").c_str()), 0);
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.file("link"), folder.file("pipe"), folder.path()}) {
    const qx::TraceSink sink(toFile(path));
    EXPECT_FALSE(sink.isOpen()) << path;
  }
  EXPECT_EQ(qx::test::readFile(target), "");
}

TEST(TraceSink, IsClosedWhereNothingIsConfigured) {
  EXPECT_FALSE(qx::TraceSink(qx::Configuration()).isOpen());
}

TEST(TraceSink, WritesToTheStandardErrorStream) {
  qx::Configuration configuration;
  configuration.trace.output = qx::TraceOutput::Stderr;
  testing::internal::CaptureStderr();
  qx::TraceSink(configuration).write("a line\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a line\n");
}

// The C library says on the standard error stream what it sends to the log when it is told to.
TEST(TraceSink, WritesToTheSystemLogOneEntryALine) {
  qx::Configuration configuration;
  configuration.trace.output = qx::TraceOutput::Syslog;
  openlog("sink-test", LOG_PERROR, LOG_USER);
  testing::internal::CaptureStderr();
  const qx::TraceSink sink(configuration);
  EXPECT_TRUE(sink.isOpen());
  sink.write("a line with %s and %n\n");
  sink.write("another\n");
  const std::string said = testing::internal::GetCapturedStderr();
  closelog();
  EXPECT_EQ(said, "sink-test: a line with %s and %n\nsink-test: another\n");
}

TEST(TraceSink, LosesALineThatCannotBeWritten) {
  qx::Configuration configuration;
  configuration.trace.output = qx::TraceOutput::Stderr;
  const qx::TraceSink sink(configuration);
  const qx::Fd kept(dup(STDERR_FILENO));
  const qx::Fd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(dup2(full.get(), STDERR_FILENO), STDERR_FILENO);
  sink.write("lost\n");
  ASSERT_EQ(dup2(kept.get(), STDERR_FILENO), STDERR_FILENO);
  testing::internal::CaptureStderr();
  sink.write("written\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "written\n");
}

TEST(TraceSink, MakesAFileForItsOwnerWhateverTheUmask) {
  const qx::test::TempDir folder;
  const mode_t before = umask(0);
  const qx::TraceSink sink(toFile(folder.file("trace.log")));
  umask(before);
  EXPECT_TRUE(sink.isOpen());
  struct stat status{};
  ASSERT_EQ(stat(folder.file("trace.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(TraceSink, MakesNoFolderForItsFile) {
  const qx::test::TempDir folder;
  EXPECT_FALSE(qx::TraceSink(toFile(folder.file("none/trace.log"))).isOpen());
  EXPECT_NE(access(folder.file("none").c_str(), F_OK), 0);
}

// Whoever rotates the file away gets what is still written to it.
TEST(TraceSink, GoesOnInTheFileThatItOpened) {
  const qx::test::TempDir folder;
  const qx::TraceSink sink(toFile(folder.file("trace.log")));
  sink.write("one\n");
  ASSERT_EQ(rename(folder.file("trace.log").c_str(), folder.file("old.log").c_str()), 0);
  sink.write("two\n");
  EXPECT_EQ(qx::test::readFile(folder.file("old.log")), "one\ntwo\n");
}

TEST(TraceRegister, GivesNoContextWhenTracingIsOff) {
  const qx::test::TempDir folder;
  const qx::test::ScopedEnvironment environment = {
      {"QXPROVIDER_CONF", folder.write("empty.conf", "")},
      {"QXPROVIDER_TRACE_FILE", ""},
      {"QXPROVIDER_TRACE_OUTPUT", ""}};
  QX_TRACE_CONTEXT other{.bLevelMask = 8};
  QX_TRACE_CONTEXT* context = &other;
  qxsup_trace_register("test", &context);
  EXPECT_EQ(context, nullptr);
}

}  // namespace
}  // namespace qx::test::trace_sink_test
