#ifndef QX_PROVIDER_SUPPORT_FORK_GATE_H_
#define QX_PROVIDER_SUPPORT_FORK_GATE_H_

namespace qx {

/// ForkWaits is a call at work, in libcrypto perhaps, whose locks know nothing of fork(): while any lives,
/// forks of other threads wait, and while one of them waits or is made, new calls do. It may be nested: a
/// call that is made from within another one never waits. A thread that forks from within its own call
/// does not wait for itself. Some nanoseconds; threads do not touch each other's counters.
class ForkWaits {
 public:
  ForkWaits();
  ~ForkWaits();
  ForkWaits(const ForkWaits&) = delete;
  ForkWaits& operator=(const ForkWaits&) = delete;
  ForkWaits(ForkWaits&&) = delete;
  ForkWaits& operator=(ForkWaits&&) = delete;
};

/// ForkMayPass is a part of such a call that lasts and holds no lock of libcrypto's: waiting for somebody,
/// or working through large content. Forks do not wait for it. Its end waits for a fork that is under way;
/// nobody makes one while holding a lock, which that fork could need. Outside of a call it does nothing.
class ForkMayPass {
 public:
  ForkMayPass();
  ~ForkMayPass();
  ForkMayPass(const ForkMayPass&) = delete;
  ForkMayPass& operator=(const ForkMayPass&) = delete;
  ForkMayPass(ForkMayPass&&) = delete;
  ForkMayPass& operator=(ForkMayPass&&) = delete;

 private:
  unsigned depth_;
};

/// closeForkGate returns when no call is at work; new ones wait until the same thread opens the gate, in
/// the parent and in the child. The child first forgets the other threads: those that began a call while
/// the gate was closed have counted it, and will not come to take it back. For the fork handlers.
void closeForkGate();
void forgetOtherThreads();
void openForkGate();

}  // namespace qx

#endif
