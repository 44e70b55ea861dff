#include "tools/common/error.h"

#include <functional>
#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace qx::tools::error_test {
namespace {

ToolError presented(const std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    return presentFailure();
  }
  return {ExitCode::Good, "nothing was thrown"};
}

TEST(PresentFailure, KeepsAToolError) {
  const ToolError error = presented([] { throw ToolError(ExitCode::Key, "no key"); });
  EXPECT_EQ(error.code(), ExitCode::Key);
  EXPECT_STREQ(error.what(), "no key");
}

TEST(PresentFailure, MakesAnythingElseInternal) {
  const ToolError memory = presented([] { throw std::bad_alloc(); });
  EXPECT_EQ(memory.code(), ExitCode::Internal);
  EXPECT_STREQ(memory.what(), "there is not enough memory");
  const ToolError other = presented([] { throw std::runtime_error("something"); });
  EXPECT_EQ(other.code(), ExitCode::Internal);
  EXPECT_STREQ(other.what(), "something");
}

}  // namespace
}  // namespace qx::tools::error_test
