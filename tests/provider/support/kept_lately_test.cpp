#include "provider/support/kept_lately.h"

#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qx::test::kept_lately_test {
namespace {

using Values = KeptLately<int, std::string>;

TEST(KeptLately, GivesWhatWasKept) {
  Values values(2);
  EXPECT_FALSE(values.find(1));
  values.keep(1, "one");
  EXPECT_EQ(values.find(1), "one");
  EXPECT_FALSE(values.find(2));
}

TEST(KeptLately, PutsAValueInTheOthersPlace) {
  Values values(2);
  values.keep(1, "one");
  values.keep(1, "uno");
  EXPECT_EQ(values.find(1), "uno");
  EXPECT_EQ(values.size(), 1U);
}

TEST(KeptLately, TheOldestMakesRoom) {
  Values values(2);
  values.keep(1, "one");
  values.keep(2, "two");
  values.keep(1, "one again, which makes it no younger");
  values.keep(3, "three");
  EXPECT_EQ(values.size(), 2U);
  EXPECT_FALSE(values.find(1));
  EXPECT_EQ(values.find(2), "two");
  EXPECT_EQ(values.find(3), "three");
}

TEST(KeptLately, LetsGoOfWhatLeaves) {
  KeptLately<int, std::shared_ptr<int>> values(1);
  const auto first = std::make_shared<int>(1);
  values.keep(1, first);
  EXPECT_EQ(first.use_count(), 2);
  values.keep(1, std::make_shared<int>(2));
  EXPECT_EQ(first.use_count(), 1) << "replaced";
  values.keep(2, first);
  EXPECT_EQ(first.use_count(), 2);
  values.keep(3, nullptr);
  EXPECT_EQ(first.use_count(), 1) << "made room";
}

// An end that asks the container itself shows that the lock is free by then.
TEST(KeptLately, EndsValuesOutsideOfTheLock) {
  KeptLately<int, std::shared_ptr<int>> values(1);
  std::size_t seen = 0;
  const auto watched = [&] {
    return std::shared_ptr<int>(new int, [&](const int* value) {
      seen += values.size();
      delete value;
    });
  };
  values.keep(1, watched());
  values.keep(1, nullptr);
  EXPECT_EQ(seen, 1U);
  values.keep(2, watched());
  values.keep(3, nullptr);
  EXPECT_EQ(seen, 2U);
}

// Fails once to be moved into the container, as if memory had run out there.
struct Failing {
  explicit Failing(bool willFail) : fails(willFail) {}

  Failing(const Failing&) = default;

  // NOLINTNEXTLINE(*-noexcept-move*): it throws on purpose
  Failing(Failing&& other) : fails(other.fails) {
    if (fails) {
      throw std::bad_alloc();
    }
  }

  Failing& operator=(const Failing&) = default;
  Failing& operator=(Failing&&) = default;
  ~Failing() = default;
  bool fails;
};

TEST(KeptLately, HoldsNoMoreThanItMayAfterAFailure) {
  KeptLately<int, Failing> values(2);
  values.keep(1, Failing(false));
  const Failing fails(true);
  EXPECT_THROW(values.keep(2, fails), std::bad_alloc);
  EXPECT_TRUE(values.find(1));
  EXPECT_FALSE(values.find(2));
  for (int key = 3; key < 8; ++key) {
    values.keep(key, Failing(false));
    EXPECT_LE(values.size(), 2U);
  }
  EXPECT_TRUE(values.find(7));
}

TEST(KeptLately, IsSharedByThreads) {
  KeptLately<int, int> values(50);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&values, thread] {
      for (int i = 0; i < 1000; ++i) {
        const int key = (i * (thread + 1)) % 100;
        values.keep(key, 2 * key);
        const auto found = values.find(key);
        EXPECT_EQ(found.value_or(2 * key), 2 * key);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(values.size(), 50U);
}

}  // namespace
}  // namespace qx::test::kept_lately_test
