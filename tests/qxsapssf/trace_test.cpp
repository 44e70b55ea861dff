#include "qxsapssf/trace.h"

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::trace_test {
namespace {

using scripted::provider;
using testing::IsEmpty;

class TraceTest : public scripted::ScriptedTest {
 protected:
  /// Writes a line and says whether its argument was evaluated.
  bool writes() {
    bool evaluated = false;
    const auto argument = [&] {
      evaluated = true;
      return 5;
    };
    QX_TRACE("SsfTest", "#info# %d\n", argument());
    return evaluated;
  }
};

TEST_F(TraceTest, TheContextIsRegisteredAtLoadUnderTheLibrarysName) {
  ASSERT_FALSE(provider().registrations().empty());
  EXPECT_EQ(provider().registrations().front(), "qxsapssf");
  EXPECT_NE(qxsapssf_db_ctx, nullptr);
}

TEST_F(TraceTest, ALineCarriesFormatEmptyFileSourceLineAndFunction) {
  const int line = __LINE__ + 1;
  QX_TRACE("SsfDigest", "#error#: %08x\n", 0x80090006U);
  ASSERT_EQ(provider().trace().size(), 1U);
  const scripted::TraceLine& written = provider().trace().front();
  EXPECT_EQ(written.format, "#error#: %08x\n");
  EXPECT_EQ(written.text, "#error#: 80090006\n");
  EXPECT_EQ(written.file, "");
  EXPECT_EQ(written.line, line);
  EXPECT_EQ(written.function, "SsfDigest");
}

TEST_F(TraceTest, ALineMayTellAnotherSourceLine) {
  QX_TRACE_AT(443, "PrintString", "plain\n");
  EXPECT_EQ(provider().trace().at(0).line, 443);
}

TEST_F(TraceTest, NoContextIsTheFirstTest) {
  QX_TRACE_CONTEXT* context = qxsapssf_db_ctx;
  qxsapssf_db_ctx = nullptr;
  EXPECT_FALSE(writes());
  qxsapssf_db_ctx = context;
  EXPECT_EQ(provider().traceEnabledCalls(), 0U);
}

TEST_F(TraceTest, TheMaskIsTheSecondTestAndOnlyItsBit8Counts) {
  provider().setTraceMask(0xF7);
  EXPECT_FALSE(writes());
  EXPECT_EQ(provider().traceEnabledCalls(), 0U);
  provider().setTraceMask(0x08);
  EXPECT_TRUE(writes());
}

TEST_F(TraceTest, TheSupportLibraryIsTheThirdTest) {
  provider().isTraceEnabledAnswer = false;
  EXPECT_FALSE(writes());
  EXPECT_EQ(provider().traceEnabledCalls(), 1U);
  EXPECT_THAT(provider().trace(), IsEmpty());
}

TEST_F(TraceTest, CountedBytesBecomeAText) {
  EXPECT_STREQ(TraceText("PKCS7xx", 5).c_str(), "PKCS7");
  EXPECT_STREQ(TraceText("PK\0CS", 5).c_str(), "PK");
}

TEST_F(TraceTest, ATextHasAtMost256Bytes) {
  const std::string name(300, 'n');
  EXPECT_EQ(std::string(TraceText(name.data(), 300).c_str()), std::string(256, 'n'));
  EXPECT_EQ(std::string(TraceText(name.data(), 256).c_str()), std::string(256, 'n'));
}

TEST_F(TraceTest, NoBytesAreAnEmptyText) {
  EXPECT_STREQ(TraceText(nullptr, 5).c_str(), "");
  EXPECT_STREQ(TraceText("text", 0).c_str(), "");
  EXPECT_STREQ(TraceText("text", -1).c_str(), "");
}

}  // namespace
}  // namespace qx::trace_test
