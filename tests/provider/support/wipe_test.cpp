#include "provider/support/wipe.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/mapping_flag.h"

namespace {

// What a mapping held that went back while somebody watched.
struct Returned {
  bool watching = false;
  std::size_t size = 0;
  std::size_t nonZero = 0;
};

Returned returned;

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" int __real_munmap(void* address, std::size_t size);

extern "C" int __wrap_munmap(void* address, std::size_t size) {
  if (returned.watching) {
    const auto* bytes = static_cast<const std::uint8_t*>(address);
    returned.size += size;
    returned.nonZero += size - static_cast<std::size_t>(std::count(bytes, bytes + size, 0));
  }
  return __real_munmap(address, size);
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace qx::test::wipe_test {
namespace {

using qx::SecretBytes;

/// Watches the mappings that go back while it lives.
class Watch {
 public:
  Watch() { returned = {.watching = true}; }

  ~Watch() { returned.watching = false; }

  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  Watch(Watch&&) = delete;
  Watch& operator=(Watch&&) = delete;
};

TEST(Wipe, LeavesZeros) {
  std::array<char, 8> secret = {'s', 'e', 'c', 'r', 'e', 't', '!', 'x'};
  qx::wipe(secret.data(), 7);
  EXPECT_EQ(std::string(secret.data(), 8), std::string(7, '\0') + 'x');
  qx::wipe(nullptr, 0);
}

TEST(SecretBytes, HoldACopyOfWhatTheyWereMadeFrom) {
  const std::array<std::uint8_t, 3> bytes = {1, 2, 3};
  const SecretBytes secret(bytes);
  EXPECT_EQ(secret.size(), 3U);
  EXPECT_EQ(secret.bytes()[2], 3);
  EXPECT_EQ(SecretBytes(std::string_view("pin")).text(), "pin");
  EXPECT_EQ(secret.clone().bytes()[0], 1);
}

TEST(SecretBytes, MayBeEmpty) {
  const SecretBytes none;
  EXPECT_TRUE(none.empty());
  EXPECT_EQ(none.text(), "");
  EXPECT_TRUE(SecretBytes(std::size_t{0}).empty());
  EXPECT_TRUE(none.clone().empty());
}

TEST(SecretBytes, MoveWithoutLeavingAnythingBehind) {
  SecretBytes first(std::string_view("first"));
  const std::uint8_t* place = first.data();
  SecretBytes second(std::move(first));
  EXPECT_EQ(second.data(), place);
  EXPECT_TRUE(first.empty());  // NOLINT(bugprone-use-after-move): that is the question
  SecretBytes third(std::string_view("third"));
  third = std::move(second);
  EXPECT_EQ(third.text(), "first");
  SecretBytes& same = third;
  third = std::move(same);
  EXPECT_EQ(third.text(), "first");
}

TEST(SecretBytes, WipeWhatIsCutOff) {
  SecretBytes secret(std::string_view("secret"));
  const std::uint8_t* place = secret.data();
  secret.truncate(2);
  EXPECT_EQ(secret.text(), "se");
  EXPECT_EQ(place[2], 0);
  EXPECT_EQ(place[5], 0);
  secret.truncate(100);
  EXPECT_EQ(secret.size(), 2U);
}

TEST(SecretBytes, AreWipedBeforeTheirMemoryGoesBack) {
  const std::string secret(5000, 's');
  const Watch watch;
  {
    const SecretBytes bytes{std::string_view(secret)};
    EXPECT_EQ(returned.size, 0U);
  }
  EXPECT_EQ(returned.size, 8192U);
  EXPECT_EQ(returned.nonZero, 0U);
}

TEST(SecretBytes, AreWipedWhenOthersTakeTheirPlace) {
  SecretBytes bytes(std::string_view("first"));
  const Watch watch;
  bytes = SecretBytes(std::string_view("second"));
  EXPECT_EQ(bytes.text(), "second");
  EXPECT_EQ(returned.size, 4096U);
  EXPECT_EQ(returned.nonZero, 0U);
}

TEST(SecretBytes, ThatWereCutShortAreWipedWhole) {
  const Watch watch;
  {
    SecretBytes bytes(std::string_view("secret"));
    // Whoever wrote behind the end wrote into the same pages.
    bytes.data()[100] = 's';
    bytes.truncate(1);
  }
  EXPECT_EQ(returned.size, 4096U);
  EXPECT_EQ(returned.nonZero, 0U);
}

TEST(SecretBytes, GiveNothingBackTwice) {
  const Watch watch;
  {
    SecretBytes first(std::string_view("secret"));
    SecretBytes second(std::move(first));
    SecretBytes third;
    third = std::move(second);
    EXPECT_EQ(returned.size, 0U);
  }
  EXPECT_EQ(returned.size, 4096U);
}

TEST(SecretBytes, ThatAreTooManyAreRefused) {
  EXPECT_THROW(SecretBytes(SIZE_MAX), std::bad_alloc);
  EXPECT_THROW(SecretBytes(SIZE_MAX / 2), std::bad_alloc);
}

// The kernel tells of each mapping whether a core dump would hold it ("dd" among its flags: it would
// not).
bool isLeftOutOfCoreDumps(const void* address) {
  return qx::test::hasMappingFlag(address, "dd");
}

TEST(SecretBytes, AreLeftOutOfCoreDumps) {
  const SecretBytes secret(std::string_view("secret"));
  const std::string ordinary(100, 'x');
  EXPECT_TRUE(isLeftOutOfCoreDumps(secret.data()));
  EXPECT_FALSE(isLeftOutOfCoreDumps(ordinary.data()));
}

TEST(SecretBytes, OfEverySizeAroundAPageAreZeroAtFirstAndWipedAtLast) {
  for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 8192U, 8193U}) {
    const Watch watch;
    {
      SecretBytes bytes(size);
      ASSERT_EQ(bytes.size(), size);
      ASSERT_EQ(std::count(bytes.data(), bytes.data() + size, 0),
                static_cast<std::ptrdiff_t>(size));
      std::fill_n(bytes.data(), size, std::uint8_t{0xA5});
    }
    EXPECT_EQ(returned.size, (size + 4095) / 4096 * 4096) << size;
    EXPECT_EQ(returned.nonZero, 0U) << size;
  }
}

TEST(SecretBytes, OfAMessagesSizeAreWipedToo) {
  constexpr std::size_t kSize = std::size_t{5} << 20U;
  const Watch watch;
  {
    SecretBytes bytes(kSize);
    std::fill_n(bytes.data(), kSize, std::uint8_t{0xA5});
    const SecretBytes copy = bytes.clone();
    EXPECT_NE(copy.data(), bytes.data());
    EXPECT_TRUE(std::ranges::equal(copy.bytes(), bytes.bytes()));
  }
  EXPECT_EQ(returned.size, 2 * kSize);
  EXPECT_EQ(returned.nonZero, 0U);
}

TEST(SecretBytes, AreEachOnPagesOfTheirOwn) {
  const SecretBytes first(std::string_view("first"));
  const SecretBytes second(std::string_view("second"));
  const auto pageOf = [](const SecretBytes& bytes) {
    return reinterpret_cast<std::uintptr_t>(bytes.data()) / 4096;
  };
  EXPECT_NE(pageOf(first), pageOf(second));
}

TEST(SecretBytes, OfACloneDoNotGoWithTheFirst) {
  SecretBytes copy;
  {
    const SecretBytes first(std::string_view("secret"));
    copy = first.clone();
  }
  EXPECT_EQ(copy.text(), "secret");
}

}  // namespace
}  // namespace qx::test::wipe_test
