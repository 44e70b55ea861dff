#ifndef QX_TESTS_TOOLS_COMMON_THROWS_H_
#define QX_TESTS_TOOLS_COMMON_THROWS_H_

#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/common/error.h"

namespace qx::tools {

/// expectRefusal runs something that must throw a ToolError with this code and text.
inline void expectRefusal(const std::function<void()>& work,
                          ExitCode code,
                          const ::testing::Matcher<std::string>& text) {
  try {
    work();
    ADD_FAILURE() << "nothing was refused";
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), code);
    EXPECT_THAT(error.what(), text);
  }
}

}  // namespace qx::tools

#endif
