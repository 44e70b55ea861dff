#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// Messages that somebody damaged or built to do harm are refused with a code.

namespace qx::test::hostile_test {
namespace {

const std::string kContent = "a document";

class SystemHostile : public testing::TestWithParam<lab::KeyKind> {
 protected:
  SystemHostile() : world_(GetParam()), ivan_(world_.enrol("Ivan")) {}

  std::string signedMessage(bool detached) const {
    return ssfSign(kContent, {{.id = ivan_.thumbprint}}, {.detached = detached}).output;
  }

  // Whatever was done to it: good only with the very content and the very signer.
  void expectNothingForged(const std::string& message, const std::string& given) const {
    const SsfOutcome verified = ssfVerify(message, given);
    if (verified.code == SSF_API_OK) {
      EXPECT_EQ(verified.output, kContent);
      const lab::Bytes der = lab::toDer(ivan_.certificate.get());
      ASSERT_EQ(verified.records.size(), 1U);
      EXPECT_EQ(verified.records[0].password, std::string(der.begin(), der.end()));
    }
  }

  SystemWorld world_;
  Person ivan_;
};

TEST_P(SystemHostile, AMessageCutAnywhereIsRefused) {
  const std::string message = signedMessage(false);
  for (std::size_t length = 1; length < message.size(); ++length) {
    EXPECT_NE(ssfVerify(message.substr(0, length)).code, SSF_API_OK) << length;
  }
}

TEST_P(SystemHostile, AFlippedBitNeverPassesForAnotherContentOrSigner) {
  const std::string message = signedMessage(false);
  for (std::size_t bit = 0; bit < message.size() * 8; ++bit) {
    std::string changed = message;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    expectNothingForged(changed, {});
  }
}

TEST_P(SystemHostile, AFlippedBitOfTheContentIsNoticed) {
  const std::string message = signedMessage(true);
  for (std::size_t bit = 0; bit < kContent.size() * 8; ++bit) {
    std::string changed = kContent;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
    EXPECT_EQ(ssfVerify(message, changed).code, SSF_API_SIGNER_ERROR) << bit;
  }
}

std::string kindName(const testing::TestParamInfo<lab::KeyKind>& info) {
  std::string name = lab::kindName(info.param);
  std::erase_if(name, [](unsigned char c) { return std::isalnum(c) == 0; });
  return name;
}

INSTANTIATE_TEST_SUITE_P(Kinds,
                         SystemHostile,
                         testing::Values(lab::KeyKind::Gost2012_256,
                                         lab::KeyKind::Rsa2048,
                                         lab::KeyKind::EcP256),
                         kindName);

TEST(SystemHostileShapes, NestingOfTenThousandLevelsIsRefused) {
  constexpr int kLevels = 10000;
  std::string message;
  for (int i = 0; i < kLevels; ++i) {
    message += std::string("\x30\x80", 2);
  }
  EXPECT_EQ(ssfVerify(message).code, SSF_API_DECODE_ERROR);
}

TEST(SystemHostileShapes, ALengthOfTwoGigabytesIsNotBelieved) {
  const std::string head("\x30\x84\x7f\xff\xff\xff\x06\x09\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02",
                         17);
  EXPECT_EQ(ssfVerify(head).code, SSF_API_DECODE_ERROR);
}

TEST(SystemHostileShapes, AnythingThatIsNoMessageIsRefused) {
  for (const std::string& bytes : {std::string("x"),
                                   std::string(1, '\0'),
                                   std::string("\x30\x00", 2),
                                   std::string(4096, '\xff')}) {
    EXPECT_EQ(ssfVerify(bytes).code, SSF_API_DECODE_ERROR);
  }
}

}  // namespace
}  // namespace qx::test::hostile_test
