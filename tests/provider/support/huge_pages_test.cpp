#include "provider/support/huge_pages.h"

#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/mapping_flag.h"

namespace qx::huge_pages_test {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

/// Whether the kernel was advised of huge pages for the mapping that holds an address.
bool isAdvised(const void* address) {
  return test::hasMappingFlag(address, "hg");
}

class HugePages : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/sys/kernel/mm/transparent_hugepage")) {
      GTEST_SKIP() << "this kernel has no huge pages";
    }
    start_ = static_cast<char*>(
        mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(start_, MAP_FAILED);
  }

  void TearDown() override {
    if (start_ != nullptr) {
      EXPECT_EQ(munmap(start_, kSize), 0);
    }
  }

  static constexpr std::size_t kSize = 2 * kMappedAlone;
  char* start_ = nullptr;
};

TEST_F(HugePages, AreAskedForWhereMemoryLiesInItsOwnMapping) {
  fillInHugePages(start_, kSize);
  EXPECT_TRUE(isAdvised(start_ + kMappedAlone));
}

TEST_F(HugePages, AreNotAskedForWhatMallocMayCutFromItsHeap) {
  fillInHugePages(start_, kMappedAlone - 1);
  EXPECT_FALSE(isAdvised(start_ + kMappedAlone / 2));
}

TEST_F(HugePages, AreNotAskedForBesideTheMemory) {
  // As malloc hands it out: some octets behind the start of a page, with others before and behind.
  char* const data = start_ + kHugePage + 16;
  fillInHugePages(data, kMappedAlone);
  EXPECT_TRUE(isAdvised(data + kHugePage));
  EXPECT_FALSE(isAdvised(data - 16 - 1));
  EXPECT_FALSE(isAdvised(data + kMappedAlone + kHugePage));
}

TEST_F(HugePages, LeaveTheErrorNumberAlone) {
  errno = ENOENT;
  fillInHugePages(reinterpret_cast<void*>(std::uintptr_t{1} << 62), kMappedAlone);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace qx::huge_pages_test
