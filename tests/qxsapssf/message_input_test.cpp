#include "qxsapssf/message_input.h"

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::message_input_test {
namespace {

using scripted::provider;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class MessageInput : public scripted::ScriptedTest {
 protected:
  void SetUp() override {
    ScriptedTest::SetUp();
    encoding_ = provider().addMessage({.content = "content"});
  }

  void TearDown() override {
    message_.reset();
    ScriptedTest::TearDown();
  }

  bool decode() {
    return feedMessage("SsfTest",
                       message_,
                       reinterpret_cast<const SAP_B8*>(encoding_.data()),
                       static_cast<SsfOctetlen>(encoding_.size()));
  }

  std::string encoding_;
  Message message_;
};

TEST_F(MessageInput, OpensAMessageOfAnyType) {
  EXPECT_TRUE(openDecoder("SsfTest", 0, message_));
  EXPECT_TRUE(message_);
  EXPECT_TRUE(decode());
  EXPECT_THAT(provider().journal(),
              ElementsAre("CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                          "CryptMsgUpdate(message#1, 17 bytes, 1)"));
}

TEST_F(MessageInput, TakesTheContentOfADetachedMessageSecond) {
  encoding_ = provider().addMessage({.isDetached = true});
  EXPECT_TRUE(openDecoder("SsfTest", CMSG_DETACHED_FLAG, message_));
  EXPECT_TRUE(decode());
  encoding_ = "content";
  EXPECT_TRUE(decode());
  EXPECT_THAT(provider().calls("CryptMsgOpenToDecode"),
              ElementsAre("CryptMsgOpenToDecode(0x10001, 0x4, 0, 0, NULL, NULL)"));
}

TEST_F(MessageInput, ReportsAMessageThatCannotBeOpened) {
  provider().failFirst("CryptMsgOpenToDecode", 0x80090016);
  const int line = __LINE__ + 1;
  EXPECT_FALSE(openDecoder("SsfTest", 0, message_));
  EXPECT_FALSE(message_);
  ASSERT_FALSE(provider().trace().empty());
  EXPECT_EQ(provider().trace()[0].text, "#error#: 80090016\n");
  EXPECT_EQ(provider().trace()[0].function, "SsfTest");
  EXPECT_EQ(provider().trace()[0].line, line);
}

TEST_F(MessageInput, ReportsBytesThatAreNoMessage) {
  ASSERT_TRUE(openDecoder("SsfTest", 0, message_));
  encoding_ = "no message";
  EXPECT_FALSE(decode());
  EXPECT_THAT(provider().traceTexts(), ElementsAre("#error#: 8009310b\n", StartsWith("Text of ")));
  EXPECT_THAT(provider().calls("CryptMsgClose"), IsEmpty());
}

TEST_F(MessageInput, ClosesWhatWasOpenBefore) {
  ASSERT_TRUE(openDecoder("SsfTest", 0, message_));
  ASSERT_TRUE(openDecoder("SsfTest", 0, message_));
  EXPECT_THAT(provider().calls("CryptMsgClose"), ElementsAre("CryptMsgClose(message#1)"));
}

}  // namespace
}  // namespace qx::message_input_test
