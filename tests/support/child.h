#ifndef QX_TESTS_SUPPORT_CHILD_H_
#define QX_TESTS_SUPPORT_CHILD_H_

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qx::test {

/// inChild runs `body` in a child and gives its exit code, -1 when a signal ended it; a child that hangs is
/// ended by its alarm.
template <class Body>
int inChild(const Body& body) {
  constexpr unsigned kHangs = 20;
  const pid_t child = fork();
  if (child == 0) {
    alarm(kHangs);
    _exit(body());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace qx::test

#endif
