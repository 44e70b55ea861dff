#include <gtest/gtest.h>

#include "tests/support/der_tree.h"
#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"

// An envelope that somebody took apart and put together in another way. Its cipher has no proof of the
// content, whose octets are therefore left alone here: whatever is done to all around them, what comes out
// is the content that was put in, or nothing.

namespace qx::test::tamper_envelope_test {
namespace {

const std::string kContent = "a document for one reader";

class SystemTamperEnvelope : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(opens(envelope_));
    ASSERT_GT(ciphertext_, 0U);
  }

  /// Opens an envelope. True when that works; then it holds what was put in.
  bool opens(const std::string& envelope) const {
    const SsfOutcome opened = ssfDevelope(envelope, recipient_);
    if (opened.code != SSF_API_OK) {
      EXPECT_EQ(opened.output, "");
      return false;
    }
    EXPECT_EQ(opened.output, kContent);
    return true;
  }

  static std::size_t ciphertextOf(const DerTree& envelope) {
    for (std::size_t i = 0; i < envelope.size(); ++i) {
      if (!envelope[i].constructed() && envelope[i].content.size() == kContent.size() &&
          envelope[i].depth == 4) {
        return i;
      }
    }
    return 0;
  }

  SystemWorld world_;
  Person reader_ = world_.enrol({.subject = {{"CN", "Reader"}}, .keyUsage = "keyEncipherment"});
  SsfRecord recipient_ = {.id = reader_.thumbprint, .profile = {}, .password = {}};
  std::string envelope_ = ssfEnvelope(kContent, {recipient_}, "My").output;
  DerTree tree_ = DerTree(envelope_);
  std::size_t ciphertext_ = ciphertextOf(tree_);
};

TEST_F(SystemTamperEnvelope, ThatIsCutIsRefused) {
  for (std::size_t length = 1; length < envelope_.size(); ++length) {
    EXPECT_FALSE(opens(envelope_.substr(0, length))) << length;
  }
}

TEST_F(SystemTamperEnvelope, WithJunkBehindAnElementGivesNothingElse) {
  const DerTree junk(std::string("\x05\x00", 2));
  for (std::size_t i = 0; i < tree_.size(); ++i) {
    SCOPED_TRACE(i);
    if (i == ciphertext_) {
      continue;
    }
    DerTree changed = tree_;
    if (tree_[i].constructed()) {
      changed.append(i, junk, 0);
    } else {
      changed[i].content.push_back('\0');
    }
    opens(changed.encoded());
  }
}

TEST_F(SystemTamperEnvelope, WithAnElementTwiceOrMissingGivesNothingElse) {
  for (std::size_t i = 1; i < tree_.size(); ++i) {
    SCOPED_TRACE(i);
    if (i == ciphertext_) {
      continue;
    }
    DerTree shorter = tree_;
    shorter.remove(i);
    opens(shorter.encoded());
    if (tree_[i].constructed()) {
      DerTree longer = tree_;
      longer.append(i, tree_, tree_.childrenOf(i).front());
      opens(longer.encoded());
    }
  }
}

}  // namespace
}  // namespace qx::test::tamper_envelope_test
