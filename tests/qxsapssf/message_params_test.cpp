#include "qxsapssf/message_params.h"

#include <cstdint>

#include "qxsapssf/platform_handles.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::message_params_test {
namespace {

using scripted::AllocationFailure;
using scripted::provider;
using testing::ElementsAre;
using testing::SizeIs;

class MessageParams : public scripted::ScriptedTest {
 protected:
  void SetUp() override {
    ScriptedTest::SetUp();
    scripted::ToyMessage toy;
    toy.content = "content";
    const std::string encoding = provider().addMessage(toy);
    message_.reset(
        CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr));
    ASSERT_TRUE(CryptMsgUpdate(message_.get(),
                               reinterpret_cast<const BYTE*>(encoding.data()),
                               static_cast<DWORD>(encoding.size()),
                               TRUE));
  }

  void TearDown() override {
    message_.reset();
    ScriptedTest::TearDown();
  }

  SAPRETURN read() {
    return readParam(
        "SsfTest", message_.get(), CMSG_CONTENT_PARAM, 0, SSF_API_DECODE_ERROR, bytes_);
  }

  std::string text() { return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()}; }

  Message message_;
  OwnedBytes bytes_ = OwnedBytes::copyOf("before", 6);
};

TEST_F(MessageParams, AreReadInTwoPasses) {
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(text(), "content");
  EXPECT_THAT(provider().calls("CryptMsgGetParam"),
              ElementsAre("CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
                          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)"));
  EXPECT_THAT(provider().trace(), testing::IsEmpty());
}

TEST_F(MessageParams, ReportAFailedSizeQuery) {
  provider().failFirst("CryptMsgGetParam", CRYPT_E_MSG_ERROR);
  const int before = __LINE__;
  const SAPRETURN code =
      readParam("SsfTest", message_.get(), CMSG_CONTENT_PARAM, 0, SSF_API_DECODE_ERROR, bytes_);
  const int after = __LINE__;
  EXPECT_EQ(code, 12);
  EXPECT_FALSE(bytes_);
  ASSERT_THAT(provider().trace(), SizeIs(2));
  EXPECT_EQ(provider().trace()[0].text, "#error#: 80091001\n");
  EXPECT_EQ(provider().trace()[0].function, "SsfTest");
  EXPECT_GT(provider().trace()[0].line, before);
  EXPECT_LT(provider().trace()[0].line, after);
}

TEST_F(MessageParams, ReportAFailedRead) {
  provider().failLate("CryptMsgGetParam", CRYPT_E_MSG_ERROR);
  EXPECT_EQ(read(), 12);
  EXPECT_FALSE(bytes_);
  EXPECT_EQ(provider().traceTexts().at(0), "#error#: 80091001\n");
}

TEST_F(MessageParams, ReportWantOfMemory) {
  SAPRETURN code = 0;
  {
    const AllocationFailure failure(1);
    code = read();
  }
  EXPECT_EQ(code, 4);
  EXPECT_FALSE(bytes_);
  EXPECT_EQ(provider().traceTexts().at(0), "#error#: 00000000\n");
}

TEST_F(MessageParams, MayComeOutShorterThanAsked) {
  provider().sizeChanges("CryptMsgGetParam", -3);
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(text(), "cont");
}

TEST_F(MessageParams, ThatGrewMeanwhileFail) {
  provider().sizeChanges("CryptMsgGetParam", 1);
  EXPECT_EQ(read(), 12);
  EXPECT_FALSE(bytes_);
  EXPECT_EQ(provider().traceTexts().at(0), "#error#: 000000ea\n");
}

TEST_F(MessageParams, BeyondALengthAreRefused) {
  provider().claimSize("CryptMsgGetParam", 0x80000000U);
  EXPECT_EQ(read(), 12);
  EXPECT_FALSE(bytes_);
  EXPECT_THAT(provider().calls("CryptMsgGetParam"), SizeIs(1));
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre("#error#: 2147483648 bytes are more than a length can tell\n"));
}

TEST_F(MessageParams, MayBeEmpty) {
  provider().giveNothing("CryptMsgGetParam");
  EXPECT_EQ(read(), 0);
  EXPECT_TRUE(bytes_);
  EXPECT_EQ(bytes_.size(), 0U);
}

TEST_F(MessageParams, OfKnownSizeAreReadAtOnce) {
  EXPECT_EQ(readSizedParam(
                "SsfTest", message_.get(), CMSG_CONTENT_PARAM, 0, 7, SSF_API_DECODE_ERROR, bytes_),
            0);
  EXPECT_EQ(text(), "content");
  EXPECT_THAT(provider().calls("CryptMsgGetParam"), SizeIs(1));
}

}  // namespace
}  // namespace qx::message_params_test
