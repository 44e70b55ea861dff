#include "tools/common/descriptor.h"

#include <fcntl.h>

#include <utility>

#include <gtest/gtest.h>

namespace qx::tools::descriptor_test {
namespace {

int openSomething() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int fd) {
  return fcntl(fd, F_GETFD) >= 0;
}

TEST(Descriptor, ClosesWhatItOwns) {
  const int fd = openSomething();
  {
    const Descriptor owner(fd);
    EXPECT_TRUE(owner);
    EXPECT_EQ(owner.get(), fd);
  }
  EXPECT_FALSE(isOpen(fd));
}

TEST(Descriptor, OwnsNothingAtFirst) {
  const Descriptor none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.get(), -1);
}

TEST(Descriptor, MayBeTheFirstNumberThereIs) {
  const int before = dup(STDIN_FILENO);
  ASSERT_EQ(close(STDIN_FILENO), 0);
  {
    const Descriptor lowest(openSomething());
    EXPECT_EQ(lowest.get(), STDIN_FILENO);
    EXPECT_TRUE(lowest);
  }
  EXPECT_FALSE(isOpen(STDIN_FILENO));
  dup2(before, STDIN_FILENO);
  close(before);
}

TEST(Descriptor, IsHandedOnAndClosedOnce) {
  const int fd = openSomething();
  {
    Descriptor first(fd);
    {
      const Descriptor second(std::move(first));
      EXPECT_EQ(second.get(), fd);
    }
    EXPECT_FALSE(isOpen(fd));
    // Whoever gets the number next keeps it.
    ASSERT_EQ(openSomething(), fd);
  }
  EXPECT_TRUE(isOpen(fd));
  close(fd);
}

TEST(Descriptor, LeavesNothingOpenWhenAnotherTakesItsPlace) {
  const int old = openSomething();
  const int next = openSomething();
  {
    Descriptor owner(old);
    owner = Descriptor(next);
    EXPECT_FALSE(isOpen(old));
    EXPECT_TRUE(isOpen(next));
    EXPECT_EQ(owner.get(), next);
  }
  EXPECT_FALSE(isOpen(next));
}

}  // namespace
}  // namespace qx::tools::descriptor_test
