#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "platform/errors.h"

namespace qx::test::last_error_test {
namespace {

TEST(LastError, IsWhatWasSetLast) {
  SetLastError(NTE_BAD_SIGNATURE);
  EXPECT_EQ(GetLastError(), NTE_BAD_SIGNATURE);
  SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

TEST(LastError, BelongsToItsThread) {
  SetLastError(ERROR_BUSY);
  DWORD seenAtStart = 1;
  DWORD seenAtEnd = 0;
  std::thread other([&] {
    seenAtStart = GetLastError();
    SetLastError(E_FAIL);
    seenAtEnd = GetLastError();
  });
  other.join();
  EXPECT_EQ(seenAtStart, ERROR_SUCCESS);
  EXPECT_EQ(seenAtEnd, E_FAIL);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

TEST(LocalFree, ReleasesWhatMallocGaveAndLeavesTheLastErrorAlone) {
  SetLastError(ERROR_BUSY);
  EXPECT_EQ(LocalFree(std::malloc(16)), nullptr);  // NOLINT(cppcoreguidelines-no-malloc)
  EXPECT_EQ(LocalFree(nullptr), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
}

}  // namespace
}  // namespace qx::test::last_error_test
