#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// A caller that changes its bytes while the library reads them breaks the rules; the library's own
// memory stays whole all the same. (That is a race: the thread sanitizer is not asked.)

namespace qx::test::buffer_test {
namespace {

constexpr int kCalls = 60;
constexpr std::size_t kSize = 20'000;

/// Turns octets of a text over, one after the other, as long as it lives: every octet up to the
/// `head`th, where lengths and types stand, then one in a hundred.
class Scribbler {
 public:
  explicit Scribbler(std::string& text, std::size_t head = 200)
      : text_(text), head_(head), thread_([this] { scribble(); }) {}

  ~Scribbler() {
    stop_ = true;
    thread_.join();
  }

  Scribbler(const Scribbler&) = delete;
  Scribbler& operator=(const Scribbler&) = delete;
  Scribbler(Scribbler&&) = delete;
  Scribbler& operator=(Scribbler&&) = delete;

 private:
  void scribble() {
    while (!stop_) {
      for (std::size_t i = 0; i < text_.size() && !stop_; i += i < head_ ? 1 : 100) {
        turn(i);
        std::this_thread::yield();
        turn(i);
      }
    }
  }

  void turn(std::size_t i) { std::atomic_ref<char>(text_[i]).fetch_xor(0x15); }

  std::string&
      text_;  // NOLINT(cppcoreguidelines-avoid-const-or-ref-data-members): whose it is matters
  std::size_t head_;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

class SystemBuffer : public testing::Test {
 protected:
  /// Calls again and again while the bytes change; then, with the bytes as they were, all is well.
  static void whileItChanges(std::string& text, const std::function<SsfOutcome()>& call) {
    {
      const Scribbler scribbler(text);
      for (int i = 0; i < kCalls; ++i) {
        const SsfOutcome outcome = call();
        EXPECT_TRUE(outcome.code == SSF_API_OK || outcome.output.size() <= text.size());
      }
    }
    EXPECT_EQ(call().code, SSF_API_OK);
  }

  SystemWorld world_;
  Person ivan_ = world_.enrol("Ivan", "plum-1234");
  SsfRecord signer_{.id = ivan_.thumbprint, .password = "plum-1234"};
  std::string content_ = std::string(kSize, 'x');
};

TEST_F(SystemBuffer, ThatChangesWhileItIsSignedGivesAMessageOfItsLength) {
  std::string content = content_;
  whileItChanges(content, [&] {
    SsfOutcome made = ssfSign(content, {signer_});
    EXPECT_EQ(made.code, SSF_API_OK);
    EXPECT_GT(made.output.size(), content.size());
    return made;
  });
}

TEST_F(SystemBuffer, ThatChangesWhileItIsVerifiedDoesNoHarm) {
  std::string message = ssfSign(content_, {signer_}).output;
  whileItChanges(message, [&] { return ssfVerify(message); });
}

TEST_F(SystemBuffer, ThatChangesWhileASignerIsAddedDoesNoHarm) {
  const Person anna = world_.enrol("Anna");
  std::string message = ssfSign(content_, {signer_}).output;
  whileItChanges(message, [&] { return ssfAddSign(message, {}, {.id = anna.thumbprint}); });
}

TEST_F(SystemBuffer, ThatChangesWhileItIsEnvelopedAndDevelopedDoesNoHarm) {
  std::string content = content_;
  world_.folder().addCertificate("Addressbook", ivan_.certificate.get());
  whileItChanges(content, [&] { return ssfEnvelope(content, {{.id = ivan_.thumbprint}}); });

  std::string message = ssfEnvelope(content_, {{.id = ivan_.thumbprint}}).output;
  whileItChanges(message, [&] { return ssfDevelope(message, signer_); });
  EXPECT_EQ(ssfDevelope(message, signer_).output, content_);
}

}  // namespace
}  // namespace qx::test::buffer_test
