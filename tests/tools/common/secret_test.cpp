#include "tools/common/secret.h"

#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tools/common/error.h"

namespace qx::tools::secret_test {
namespace {

TEST(Secret, IsEmptyAtFirst) {
  EXPECT_TRUE(Secret().empty());
  EXPECT_EQ(Secret().text(), "");
}

TEST(Secret, HoldsItsText) {
  const Secret secret("47\n11");
  EXPECT_EQ(secret.text(), "47\n11");
  EXPECT_EQ(secret.size(), 5U);
  EXPECT_EQ(secret.bytes().size(), 5U);
}

TEST(Secret, NeverMovesWhileItGrows) {
  Secret secret;
  ASSERT_TRUE(secret.append('1'));
  const char* where = secret.text().data();
  while (secret.append('2')) {
  }
  EXPECT_EQ(secret.text().data(), where);
  EXPECT_EQ(secret.size(), Secret::kMaxSize);
}

TEST(Secret, RefusesMoreThanItHolds) {
  EXPECT_NO_THROW(Secret(std::string(Secret::kMaxSize, 'x')));
  EXPECT_THROW(Secret(std::string(Secret::kMaxSize + 1, 'x')), ToolError);
}

TEST(Secret, IsTakenOverByAnotherOne) {
  Secret secret("4711");
  Secret other("0815");
  secret = std::move(other);
  EXPECT_EQ(secret.text(), "0815");
}

TEST(Secret, HandsItsBytesOnWithoutACopy) {
  Secret secret("4711");
  const char* where = secret.text().data();
  const Secret moved = std::move(secret);
  EXPECT_EQ(moved.text().data(), where);
}

TEST(Secret, HoldsNulsAndLineEnds) {
  const std::string text("a\0b\n", 4);
  EXPECT_EQ(Secret(text).text(), text);
}

TEST(Secret, RefusesByteForByteOnceItIsFull) {
  Secret secret(std::string(Secret::kMaxSize, 'x'));
  EXPECT_FALSE(secret.append('y'));
  EXPECT_FALSE(secret.append('y'));
  EXPECT_EQ(secret.text(), std::string(Secret::kMaxSize, 'x'));
}

TEST(Secret, TellsNothingOfItselfWhenItIsRefused) {
  try {
    const Secret secret(std::string(Secret::kMaxSize, '4') + "711");
    FAIL() << "it was taken";
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), ExitCode::Usage);
    EXPECT_EQ(std::string(error.what()), "a PIN has at most 1024 bytes");
  }
}

}  // namespace
}  // namespace qx::tools::secret_test
