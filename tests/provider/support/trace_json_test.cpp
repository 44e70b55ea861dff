#include <sys/syscall.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "provider/support/trace.h"
#include "tests/support/temp_dir.h"
#include "tests/support/trace_to_file.h"

namespace qx::test::trace_json_test {
namespace {

using nlohmann::json;
using qx::test::TraceToFile;

// This program has no other tests: the format holds for the whole process.
// NOLINTNEXTLINE(cppcoreguidelines-owning-memory): the framework owns it
const testing::Environment* const kEnvironment =
    testing::AddGlobalTestEnvironment(new TraceToFile("12", "json"));

class TraceInJson : public testing::Test {
 protected:
  void SetUp() override {
    qxsup_trace_register("te\"st", &context_);
    ASSERT_NE(context_, nullptr);
    ASSERT_EQ(truncate(TraceToFile::path().c_str(), 0), 0);
  }

  void TearDown() override { qxsup_trace_unregister(&context_); }

  QX_TRACE_CONTEXT* context() { return context_; }

  static std::vector<json> lines() {
    std::istringstream text(qx::test::readFile(TraceToFile::path()));
    std::vector<json> out;
    for (std::string line; std::getline(text, line);) {
      out.push_back(json::parse(line));
    }
    return out;
  }

 private:
  QX_TRACE_CONTEXT* context_ = nullptr;
};

TEST_F(TraceInJson, ALineIsAnObjectOfItsParts) {
  qxsup_trace_print(context(), "value %d of %s\n", "a.cpp", 42, "SsfDigest", 7, "x");
  ASSERT_EQ(lines().size(), 1U);
  json line = lines().front();
  EXPECT_EQ(line["time"].get<std::string>().size(), sizeof "2026-01-01T00:00:00.000Z" - 1);
  line.erase("time");
  EXPECT_EQ(line,
            json({{"process", getpid()},
                  {"thread", syscall(SYS_gettid)},
                  {"name", "te\"st"},
                  {"file", "a.cpp"},
                  {"function", "SsfDigest"},
                  {"line", 42},
                  {"text", "value 7 of x"}}));
}

TEST_F(TraceInJson, ALineWithoutAFileHasNoSuchMember) {
  qxsup_trace_print(context(), "x", "", 1, "f");
  EXPECT_FALSE(lines().front().contains("file"));
}

TEST_F(TraceInJson, HostileTextStaysOneStringOfOneLine) {
  qxsup_trace_print(context(), "%s", "", 1, "f", "\",\"text\":\"\\\n\x1B[2J\xFF\xD0\x96");
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_EQ(lines().front()["text"], "\",\"text\":\"\\\\n\\x1B[2J\\xFF\xD0\x96");
}

TEST_F(TraceInJson, OwnLinesTellOfTheConfigurationsProblemsFirst) {
  QX_TRACE("own line");
  const std::vector<json> all = lines();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0]["function"], "configuration");
  EXPECT_EQ(all[0]["line"], 0);
  EXPECT_EQ(all[0]["text"], "configuration: cannot read /nonexistent/provider.conf");
  EXPECT_EQ(all[1]["name"], "qxprovider");
  EXPECT_EQ(all[1]["text"], "own line");
}

}  // namespace
}  // namespace qx::test::trace_json_test
