#include "provider/support/trace_sink.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/support.h"

#include "tests/provider/support/scoped_environment.h"
#include "tests/support/temp_dir.h"

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
