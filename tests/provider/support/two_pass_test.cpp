#include "provider/support/two_pass.h"

#include <array>

#include <gtest/gtest.h>

namespace qx::test::two_pass_test {
namespace {

using qx::Result;
using qx::twoPass;

TEST(TwoPass, TellsTheSizeWithoutABuffer) {
  for (const DWORD given : {DWORD{0}, DWORD{5}, DWORD{0xFFFFFFFF}}) {
    DWORD size = given;
    const Result<std::uint8_t*> out = twoPass(nullptr, &size, 5);
    ASSERT_TRUE(out);
    EXPECT_EQ(*out, nullptr);
    EXPECT_EQ(size, 5U);
  }
}

TEST(TwoPass, GivesABufferThatIsLargeEnough) {
  std::array<std::uint8_t, 8> buffer{};
  for (const DWORD given : {DWORD{5}, DWORD{8}, DWORD{0xFFFFFFFF}}) {
    DWORD size = given;
    const Result<std::uint8_t*> out = twoPass(buffer.data(), &size, 5);
    ASSERT_TRUE(out);
    EXPECT_EQ(*out, buffer.data());
    EXPECT_EQ(size, 5U);
  }
}

TEST(TwoPass, TellsTheSizeWhenTheBufferIsTooSmall) {
  std::array<std::uint8_t, 8> buffer{};
  for (const DWORD given : {DWORD{0}, DWORD{4}}) {
    DWORD size = given;
    EXPECT_EQ(twoPass(buffer.data(), &size, 5).error(), ERROR_MORE_DATA);
    EXPECT_EQ(size, 5U);
  }
}

TEST(TwoPass, NeedsNoRoomForNothing) {
  std::uint8_t byte = 0;
  DWORD size = 0;
  const Result<std::uint8_t*> out = twoPass(&byte, &size, 0);
  ASSERT_TRUE(out);
  EXPECT_EQ(*out, &byte);
  EXPECT_EQ(size, 0U);
}

TEST(TwoPass, RefusesWhatASignedLengthCannotTell) {
  DWORD size = 7;
  EXPECT_EQ(twoPass(nullptr, &size, 2'147'483'648).error(), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(twoPass(nullptr, &size, std::size_t{1} << 40U).error(), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(size, 7U);
  EXPECT_TRUE(twoPass(nullptr, &size, 2'147'483'647));
  EXPECT_EQ(size, 2'147'483'647U);
}

}  // namespace
}  // namespace qx::test::two_pass_test
