#include "tools/common/shell.h"

#include <gtest/gtest.h>

#include "tests/support/command.h"

namespace qx::tools::shell_test {
namespace {

TEST(ShellWord, IsReadByAShellAsItStands) {
  for (const char* text :
       {"", "plain", "two words", "it's", "'", "''", "$HOME `id` \\ \" *", "a\nb"}) {
    EXPECT_EQ(test::run({"sh", "-c", "printf %s " + shellWord(text)}).out, text);
  }
}

}  // namespace
}  // namespace qx::tools::shell_test
