#ifndef QX_TESTS_SOAK_WORKER_H_
#define QX_TESTS_SOAK_WORKER_H_

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

#include "tests/soak/world.h"
#include "tests/support/ssf_calls.h"

namespace qx::soak {

/// Worker uses the library as a host does, piece of work after piece of work, and knows what each
/// answer must be. The first wrong ones are told on standard error. For one thread.
class Worker {
 public:
  /// `seed` decides what the worker does. The world is borrowed.
  Worker(const World& world, std::uint64_t seed) : world_(&world), random_(seed) {}

  /// work does one piece of work: some calls that belong together.
  void work();

  /// How many calls of operations were made, and how many of them answered wrongly.
  std::uint64_t calls() const { return calls_; }

  std::uint64_t wrong() const { return wrong_; }

  /// How many signatures were given time stamps, and how many times a server that failed was the reason
  /// why there is none.
  std::uint64_t stamped() const { return stamped_; }

  std::uint64_t unstamped() const { return unstamped_; }

 private:
  using Task = void (Worker::*)();

  /// What was signed for years.
  struct Kept {
    std::string message;
    std::string content;
    std::string given;  ///< with it: the content when it is detached
    std::size_t signers = 0;
  };

  // The pieces of work.
  void signAttached();
  void signDetached();
  void signWithTwo();
  void signWithWrongPin();
  void addSigner();
  void verifyChanged();
  void envelope();
  void develope();
  void digest();
  void copy();
  void tell();
  void keepRecords();
  void signAsGuest();
  void writeToGuest();
  void signWithStamps();
  void addSignerWithStamps();
  void verifyChangedWithStamps();
  void verifyKept();

  bool isStamped(const char* what, const test::SsfOutcome& made, std::size_t signers);
  void keep(Kept kept);
  void expectVerified(const char* what,
                      const std::string& message,
                      const std::string& given,
                      const std::string& content,
                      std::size_t signers,
                      const std::string& format = "PKCS7");
  void expectRefused(const char* what,
                     const test::SsfOutcome& got,
                     SAPRETURN code,
                     SAPRETURN result);
  void expect(bool right, const char* what, const test::SsfOutcome& got);

  std::size_t number(std::size_t below);
  std::string anyContent();
  const Identity& anySigner();
  const Identity& anyRecipient();
  const Identity& anyGuest();
  test::SsfRecord recordOf(const Identity& identity);

  const World* world_;
  std::mt19937_64 random_;
  std::uint64_t calls_ = 0;
  std::uint64_t wrong_ = 0;
  std::uint64_t stamped_ = 0;
  std::uint64_t unstamped_ = 0;
  Kept kept_;
};

}  // namespace qx::soak

#endif
