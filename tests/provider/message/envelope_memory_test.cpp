#include <fstream>

#include <gtest/gtest.h>

#include "tests/provider/message/envelopes.h"

namespace qx::test::envelope_memory_test {
namespace {

using lab::KeyKind;

constexpr std::size_t kLarge = std::size_t{32} << 20U;
// Keys, cipher states, the memory of libraries that were used for the first time.
constexpr std::size_t kSmall = std::size_t{1} << 20U;

/// ResidentWatch tells how much memory the process came to hold since it was made: what an envelope
/// decrypts is in pages of its own, which operator new does not see.
class ResidentWatch {
 public:
  ResidentWatch() {
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins anew
    before_ = kilobytes("VmRSS:");
  }

  std::size_t peak() const { return (kilobytes("VmHWM:") - before_) * 1024; }

 private:
  static std::size_t kilobytes(const std::string& wanted) {
    std::ifstream status("/proc/self/status");
    std::string name;
    while (status >> name) {
      std::size_t value = 0;
      if (name == wanted && status >> value) {
        return value;
      }
      status.ignore(1'000, '\n');
    }
    ADD_FAILURE() << "no " << wanted;
    return 0;
  }

  std::size_t before_ = 0;
};

std::vector<Signer*> recipients() {
  return {&signer(KeyKind::Gost2012_256), &signer(KeyKind::Rsa2048)};
}

/// Reads the content the way a caller does, into a buffer of the size that was said.
Octets read(const MessageHandle& message) {
  DWORD size = 0;
  EXPECT_TRUE(CryptMsgGetParam(message.get(), CMSG_CONTENT_PARAM, 0, nullptr, &size));
  Octets buffer(size);
  EXPECT_TRUE(CryptMsgGetParam(message.get(), CMSG_CONTENT_PARAM, 0, buffer.data(), &size));
  return buffer;
}

TEST(LargeEnvelope, IsMadeWithinTwiceItsContent) {
  (void)envelope(recipients(), octets("keys loaded"));
  const Octets content(kLarge, 0x5A);
  const ResidentWatch watch;
  const MessageHandle message = openEnvelope(recipients());
  ASSERT_EQ(updateBorrowed(message, content), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kLarge + kSmall);
  EXPECT_GT(read(message).size(), kLarge);
  EXPECT_LT(watch.peak(), (2 * kLarge) + kSmall);
}

TEST(LargeEnvelope, IsOpenedWithinTwiceItsContent) {
  const Octets bytes = envelope(recipients(), Octets(kLarge, 0x5A));
  for (DWORD i = 0; i < 2; ++i) {
    (void)develope(envelope(recipients(), octets("keys loaded")), i, *recipients()[i]);
  }
  const ResidentWatch watch;
  const MessageHandle message = openDecoder();
  ASSERT_EQ(updateBorrowed(message, bytes), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kSmall) << "read where it lies";
  const bool first = decryptError(message, 0, *recipients()[0]) == ERROR_SUCCESS;
  ASSERT_TRUE(first || decryptError(message, 1, *recipients()[0]) == ERROR_SUCCESS);
  EXPECT_EQ(read(message), Octets(kLarge, 0x5A));
}

TEST(LargeEnvelope, IsReadOutWithinTwiceItsContent) {
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets bytes = envelope({&one}, Octets(kLarge, 0x5A));
  const ResidentWatch watch;
  const MessageHandle message = openDecoder();
  ASSERT_EQ(updateBorrowed(message, bytes), ERROR_SUCCESS);
  ASSERT_EQ(decryptError(message, 0, one), ERROR_SUCCESS);
  EXPECT_LT(watch.peak(), kLarge + kSmall);
  EXPECT_EQ(read(message).size(), kLarge);
  EXPECT_LT(watch.peak(), (2 * kLarge) + kSmall);
}

}  // namespace
}  // namespace qx::test::envelope_memory_test
