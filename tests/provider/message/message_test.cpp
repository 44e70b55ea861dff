#include "provider/message/message.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/message/signers.h"

namespace qx::test::message_test {
namespace {

/// A message that does nothing but tell when it is gone.
class Watched final : public Message {
 public:
  explicit Watched(bool& gone) : gone_(gone) {}

  ~Watched() override { gone_ = true; }

  Watched(const Watched&) = delete;
  Watched& operator=(const Watched&) = delete;
  Watched(Watched&&) = delete;
  Watched& operator=(Watched&&) = delete;

  Result<void> update(der::Bytes /*bytes*/, bool /*final*/) override { return fail(1); }

  Result<void> param(DWORD /*type*/, DWORD /*index*/, ParamOutput& /*output*/) override {
    return fail(2);
  }

  Result<void> control(DWORD /*type*/, const void* /*para*/) override { return fail(3); }

 private:
  bool& gone_;
};

HCRYPTMSG handleOf(Message* message) {
  return message;
}

TEST(MessageReferences, AreCountedAndTheLastOneDeletes) {
  bool gone = false;
  auto* message = new Watched(gone);  // NOLINT(cppcoreguidelines-owning-memory): counts for itself
  message->retain();
  message->retain();
  message->release();
  message->release();
  EXPECT_FALSE(gone);
  message->release();
  EXPECT_TRUE(gone);
}

TEST(MessageReferences, AreCountedInSeveralThreads) {
  bool gone = false;
  auto* message = new Watched(gone);  // NOLINT(cppcoreguidelines-owning-memory): counts for itself
  constexpr int kThreads = 8;
  constexpr int kRounds = 1'000;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([message] {
      for (int round = 0; round < kRounds; ++round) {
        message->retain();
        message->release();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(gone);
  message->release();
  EXPECT_TRUE(gone);
}

TEST(MessageHandles, LeadToTheMessageAndItsWork) {
  bool gone = false;
  HCRYPTMSG handle = handleOf(new Watched(gone));
  EXPECT_EQ(CryptMsgDuplicate(handle), handle);
  EXPECT_NE(CryptMsgClose(handle), FALSE);
  EXPECT_FALSE(gone);
  DWORD size = 0;
  SetLastError(0);
  EXPECT_EQ(CryptMsgUpdate(handle, nullptr, 0, TRUE), FALSE);
  EXPECT_EQ(GetLastError(), 1U);
  EXPECT_EQ(CryptMsgGetParam(handle, CMSG_TYPE_PARAM, 0, nullptr, &size), FALSE);
  EXPECT_EQ(GetLastError(), 2U);
  EXPECT_EQ(CryptMsgControl(handle, 0, CMSG_CTRL_ADD_CERT, nullptr), FALSE);
  EXPECT_EQ(GetLastError(), 3U);
  EXPECT_NE(CryptMsgClose(handle), FALSE);
  EXPECT_TRUE(gone);
}

TEST(MessageHandles, OfNothingAndOfOtherKindsLeadNowhere) {
  EXPECT_EQ(messageFrom(nullptr).error(), ERROR_INVALID_HANDLE);
  KeyContext context(PROV_GOST_2001_DH);
  EXPECT_EQ(messageFrom(&context).error(), ERROR_INVALID_HANDLE);
  alignas(16) unsigned char zeros[64] = {};
  EXPECT_EQ(messageFrom(zeros).error(), ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace qx::test::message_test
