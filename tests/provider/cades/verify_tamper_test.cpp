#include <gtest/gtest.h>

#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"

namespace qx::test::verify_tamper_test {
namespace {

// What a good verdict says: everything that somebody could want to change.
std::string claims(const MessageHandle& message, const CADES_VERIFICATION_INFO& info) {
  const auto append = [](std::string& all, const void* data, std::size_t size) {
    all.append(static_cast<const char*>(data), size);
  };
  std::string all = text(bytesParam(message, CMSG_CONTENT_PARAM));
  append(all, info.pSignerCert->pbCertEncoded, info.pSignerCert->cbCertEncoded);
  append(all, info.pSigningTime, sizeof *info.pSigningTime);
  append(all, info.pSignatureTimeStampTime, sizeof *info.pSignatureTimeStampTime);
  return all;
}

std::optional<MessageHandle> tryDecode(const Octets& bytes) {
  MessageHandle message = openDecoder();
  return update(message, bytes) == ERROR_SUCCESS ? std::optional(std::move(message)) : std::nullopt;
}

class VerifyTamper : public ::testing::Test {
 protected:
  // Tries one changed message; true when it is still good, and then it says the same as ever.
  bool isGood(const Octets& changed) {
    const std::optional<MessageHandle> message = tryDecode(changed);
    if (!message || numberParam(*message, CMSG_SIGNER_COUNT_PARAM) != 1) {
      return false;
    }
    const Verdict verdict = verdictOn(*message);
    EXPECT_LE(verdict.status, CADES_STATUS_CONTENT_TYPE);
    const bool accepted = verdict.status == CADES_STATUS_GOOD;
    if (accepted) {
      EXPECT_EQ(claims(*message, *verdict.info), original);
    }
    return accepted;
  }

  void SetUp() override {
    const MessageHandle message = decode(good);
    const Verdict verdict = verdictOn(message);
    ASSERT_EQ(verdict.status, CADES_STATUS_GOOD);
    original = claims(message, *verdict.info);
  }

  VerifyWorld world{{.when = -365 * lab::kDay}};
  const Octets good = CadesBuilder(world).makeLong().message();
  std::string original;
};

// One bit in every few octets: all of them would take minutes. The step has no factor in common with
// anything, so that over the kinds of fields every place is met.
TEST_F(VerifyTamper, NoBitCanBeTurnedThatChangesWhatAGoodSignatureSays) {
  constexpr std::size_t kStep = 5;
  std::size_t stillGood = 0;
  Octets changed = good;
  for (std::size_t i = 0; i < good.size(); i += kStep) {
    changed[i] ^= static_cast<std::uint8_t>(1U << (i % 8));
    stillGood += isGood(changed) ? 1U : 0U;
    changed[i] = good[i];
  }
  // The certificates stand in the message twice, and in the values there are some that nothing refers to.
  EXPECT_LT(stillGood, good.size() / kStep / 2);
}

TEST_F(VerifyTamper, NothingCanBeCutOff) {
  constexpr std::size_t kStep = 97;
  for (std::size_t size = 0; size < good.size(); size += kStep) {
    EXPECT_FALSE(isGood({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
  }
}

}  // namespace
}  // namespace qx::test::verify_tamper_test
