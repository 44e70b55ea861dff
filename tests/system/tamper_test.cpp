#include <cstdlib>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/der_tree.h"
#include "tests/support/ssf_calls.h"
#include "tests/support/system_world.h"
#include "tools/lab/services.h"

// Messages that somebody took apart and put together in another way. Two persons signed one document
// each: whatever is made of both messages, what verifies is one of the two documents, signed by its own
// signer.

namespace qx::test::tamper_test {
namespace {

/// What somebody signed.
struct Statement {
  std::string content;
  std::string signer;

  bool operator==(const Statement&) const = default;
};

/// How the documents are signed.
struct Form {
  const char* name;
  const char* format;
  bool detached;
  lab::KeyKind kind;
  /// Of all bits every so-many-th is flipped, to stay within a second; no step has a factor in common with
  /// the eight bits of an octet.
  std::size_t stride;
};

class SystemTamper : public testing::TestWithParam<Form> {
 protected:
  SystemTamper() : world_(GetParam().kind) {
    services().offerTimeStamps(
        "/tsp",
        std::make_shared<lab::TimeStampAuthority>(
            lab::TimeStampAuthority::issuedBy(world_.authority(), GetParam().kind)));
    for (std::size_t i = 0; i < 2; ++i) {
      const Person person = world_.enrol(kNames[i]);
      const lab::Bytes der = lab::toDer(person.certificate.get());
      statements_[i] = {kDocuments[i], {der.begin(), der.end()}};
      messages_[i] = ssfSign(kDocuments[i],
                             {{.id = person.thumbprint, .profile = {}, .password = {}}},
                             {.format = GetParam().format, .detached = GetParam().detached})
                         .output;
    }
  }

  void SetUp() override {
    ASSERT_TRUE(isGood(messages_[0], 0));
    ASSERT_TRUE(isGood(messages_[1], 1));
  }

  /// Verifies a message, with a document beside it when it is detached. True when it is good; then it is
  /// what somebody signed.
  bool isGood(const std::string& message, std::size_t document) const {
    const std::string given = GetParam().detached ? kDocuments[document] : std::string();
    const SsfOutcome verified = ssfVerify(message, given, {}, GetParam().format);
    if (verified.code != SSF_API_OK) {
      return false;
    }
    // A signature may stand twice.
    EXPECT_FALSE(verified.records.empty());
    for (const SsfRecord& record : verified.records) {
      const Statement said = {GetParam().detached ? given : verified.output, record.password};
      EXPECT_TRUE(said == statements_[0] || said == statements_[1]) << said.content;
    }
    return true;
  }

  static std::size_t lastOf(const DerTree& tree, std::size_t parent) {
    return tree.childrenOf(parent).back();
  }

  static std::size_t signedData(const DerTree& message) {
    return lastOf(message, lastOf(message, 0));
  }

  static std::size_t certificates(const DerTree& message) {
    return message.childrenOf(signedData(message)).at(3);
  }

  static std::size_t signerInfo(const DerTree& message) {
    return lastOf(message, lastOf(message, signedData(message)));
  }

  static constexpr const char* kNames[] = {"Ivan", "Anna"};
  static constexpr const char* kDocuments[] = {"a document", "an order"};

  std::string messages_[2];

 private:
  // One server for all tests: the provider reads once in a process where it is.
  static lab::Services& services() {
    static lab::Services served;
    static const bool known = [] {
      const std::string url = served.url("/tsp");
      return setenv("QXPROVIDER_TSP_DEFAULT_URL", url.c_str(), 1) ==
             0;  // NOLINT(concurrency-mt-unsafe)
    }();
    EXPECT_TRUE(known);
    return served;
  }

  SystemWorld world_;
  Statement statements_[2];
};

TEST_P(SystemTamper, AFlippedBitNeverPassesForSomethingElse) {
  for (std::size_t bit = 0; bit < messages_[0].size() * 8; bit += GetParam().stride) {
    std::string changed = messages_[0];
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << (bit % 8)));
    isGood(changed, 0);
  }
}

TEST_P(SystemTamper, ACutMessageIsRefused) {
  for (std::size_t length = 1; length < messages_[0].size(); ++length) {
    EXPECT_FALSE(isGood(messages_[0].substr(0, length), 0)) << length;
  }
}

// Behind the last child of what is constructed, and behind the octets of what is not; the lengths around
// it are right again.
TEST_P(SystemTamper, JunkBehindAnElementNeverPassesForSomethingElse) {
  const DerTree good(messages_[0]);
  const DerTree junk(std::string("\x05\x00", 2));
  for (std::size_t i = 0; i < good.size(); ++i) {
    DerTree changed = good;
    if (good[i].constructed()) {
      changed.append(i, junk, 0);
    } else {
      changed[i].content.push_back('\0');
    }
    isGood(changed.encoded(), 0);
  }
}

TEST_P(SystemTamper, AnElementThatStandsTwiceOrIsMissingNeverPassesForSomethingElse) {
  const DerTree good(messages_[0]);
  for (std::size_t i = 0; i < good.size(); ++i) {
    const std::vector<std::size_t> children = good.childrenOf(i);
    if (children.empty()) {
      continue;
    }
    DerTree longer = good;
    longer.append(i, good, children.front());
    isGood(longer.encoded(), 0);
    DerTree shorter = good;
    shorter.remove(children.back());
    isGood(shorter.encoded(), 0);
  }
}

// Each element of one message in the place of the other's: contents, digests, attributes, identifiers,
// certificates, signatures, time stamps, alone or with all that is in them.
TEST_P(SystemTamper, AnElementOfTheOtherMessageNeverPassesForSomethingElse) {
  const DerTree ours(messages_[0]);
  const DerTree theirs(messages_[1]);
  ASSERT_EQ(theirs.size(), ours.size()) << "both messages have one shape";
  for (std::size_t i = 1; i < ours.size(); ++i) {
    DerTree changed = ours;
    changed.replace(i, theirs, i);
    isGood(changed.encoded(), 0);
    isGood(changed.encoded(), 1);
  }
}

// Every mixture of the two signers' fields, in a message that holds one document and both certificates.
TEST_P(SystemTamper, AMixtureOfTwoSignersNeverPassesForSomethingElse) {
  DerTree both(messages_[0]);
  const DerTree other(messages_[1]);
  for (const std::size_t certificate : other.childrenOf(certificates(other))) {
    both.append(certificates(both), other, certificate);
  }
  const std::vector<std::size_t> ours = both.childrenOf(signerInfo(both));
  const std::vector<std::size_t> theirs = other.childrenOf(signerInfo(other));
  ASSERT_EQ(ours.size(), theirs.size());
  for (std::size_t mixture = 0; mixture < std::size_t{1} << ours.size(); ++mixture) {
    DerTree changed = both;
    // From the back: the numbers in front of a change stay.
    for (std::size_t i = ours.size(); i-- > 0;) {
      if ((mixture >> i & 1U) != 0) {
        changed.replace(ours[i], other, theirs[i]);
      }
    }
    isGood(changed.encoded(), 0);
    isGood(changed.encoded(), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Forms,
    SystemTamper,
    testing::Values(Form{"Gost", "PKCS7", false, lab::KeyKind::Gost2012_256, 3},
                    Form{"Detached", "PKCS7", true, lab::KeyKind::EcP256, 3},
                    Form{"Attached", "PKCS7", false, lab::KeyKind::EcP256, 3},
                    Form{"Enhanced", "CADES", false, lab::KeyKind::EcP256, 23},
                    Form{"EnhancedDetached", "CADES", true, lab::KeyKind::EcP256, 23}),
    [](const testing::TestParamInfo<Form>& form) { return std::string(form.param.name); });

}  // namespace
}  // namespace qx::test::tamper_test
