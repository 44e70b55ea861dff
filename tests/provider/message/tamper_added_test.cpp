#include <algorithm>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/provider/message/signed_parts.h"

// Messages with an added signer, as somebody hands them on who means no good.

namespace qx::test::tamper_added_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed twice.");

Signer& first() {
  return signer(KeyKind::EcP256);
}

Signer& second() {
  return signer(KeyKind::Gost2012_256);
}

Octets twiceSigned(const Octets& original) {
  const MessageHandle message = decode(original);
  EXPECT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  return changedMessage(message);
}

/// Whether the message can be read and both of its signatures are good.
bool areBothGood(const Octets& bytes) {
  const MessageHandle message = openDecoder();
  return update(message, bytes) == ERROR_SUCCESS &&
         verify(message, 0, first().context()) == ERROR_SUCCESS &&
         verify(message, 1, second().context()) == ERROR_SUCCESS;
}

struct Form {
  const char* name;
  Octets (*make)();
};

class TamperAdded : public ::testing::TestWithParam<Form> {
 protected:
  const Octets& good() const { return good_; }

 private:
  const Octets good_ = twiceSigned(GetParam().make());
};

// What is not signed itself (version, list of hashes, frames) is checked when it is read, and issuer and
// serial number must be the certificate's. Only a key's identifier could be changed unseen.
TEST_P(TamperAdded, NoFlippedBitLeavesBothSignaturesGood) {
  ASSERT_TRUE(areBothGood(good()));
  for (std::size_t bit = 0; bit < good().size() * 8; ++bit) {
    Octets bad = good();
    bad[bit / 8] ^= static_cast<std::uint8_t>(1U << (bit % 8));
    EXPECT_FALSE(areBothGood(bad))
        << "bit " << bit % 8 << " of byte " << bit / 8 << " in " << toHex(good());
  }
}

TEST_P(TamperAdded, NoCutMessageIsRead) {
  for (std::size_t length = 0; length < good().size(); ++length) {
    EXPECT_NE(decodeError(der::Bytes(good()).first(length)), ERROR_SUCCESS) << length;
  }
}

// Bytes behind the message are ignored, so one more of what stands at its end anyway would change nothing.
TEST_P(TamperAdded, NoByteTooManyIsRead) {
  for (std::size_t at = 2; at < good().size(); ++at) {
    Octets bad = good();
    const auto place = bad.begin() + static_cast<std::ptrdiff_t>(at);
    bad.insert(place, *place == 0 ? 1 : 0);
    EXPECT_FALSE(areBothGood(bad)) << at;
  }
}

TEST_P(TamperAdded, NoByteTooFewIsRead) {
  for (std::size_t at = 0; at < good().size(); ++at) {
    Octets bad = good();
    bad.erase(bad.begin() + static_cast<std::ptrdiff_t>(at));
    EXPECT_FALSE(areBothGood(bad)) << at;
  }
}

Octets bare(DWORD flags) {
  return sign({&first()}, kContent, {.flags = flags, .certificates = false});
}

INSTANTIATE_TEST_SUITE_P(
    Forms,
    TamperAdded,
    ::testing::Values(Form{.name = "Plain", .make = [] { return bare(0); }},
                      Form{.name = "Attributes",
                           .make = [] { return bare(CMSG_AUTHENTICATED_ATTRIBUTES_FLAG); }},
                      Form{.name = "SigningCertificate",
                           .make =
                               [] {
                                 return opensslSign(
                                     {&first()}, kContent, {"-nodetach", "-nocerts", "-cades"});
                               }}),
    [](const ::testing::TestParamInfo<Form>& parameter) {
      return std::string(parameter.param.name);
    });

TEST(TamperAddedSigners, RemovedOnesLeaveTheOthersGood) {
  const MessageHandle message = decode(twiceSigned(sign({&first()}, kContent)));
  ASSERT_EQ(removeAt(message, CMSG_CTRL_DEL_SIGNER, 0), ERROR_SUCCESS);
  const MessageHandle again = decode(changedMessage(message));
  EXPECT_EQ(numberParam(again, CMSG_SIGNER_COUNT_PARAM), 1U);
  EXPECT_EQ(verify(again, 0, second().context()), ERROR_SUCCESS);
}

TEST(TamperAddedSigners, OfAnotherMessageDoNotPass) {
  const Octets other = twiceSigned(sign({&first()}, octets("Something else.")));
  const Octets foreign = partsOf(other).signers[1];
  Octets bytes = twiceSigned(sign({&first()}, kContent));
  const Octets own = partsOf(bytes).signers[1];
  ASSERT_EQ(own.size(), foreign.size());
  std::ranges::copy(foreign, std::ranges::search(bytes, own).begin());
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(verify(message, 0, first().context()), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 1, second().context()), NTE_BAD_SIGNATURE);
}

TEST(TamperAddedSigners, AreNotProvedByTheOthersCertificate) {
  Signer& likeFirst = signer(KeyKind::EcP256, 1);
  const MessageHandle message = decode(twiceSigned(sign({&first()}, kContent)));
  ASSERT_EQ(addSigner(message, likeFirst), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 0, likeFirst.context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify(message, 2, first().context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify(message, 0, second().context()), NTE_BAD_ALGID) << "a key of another kind";
  EXPECT_EQ(verify(message, 1, first().context()), NTE_BAD_ALGID);
}

// The bytes of an update are borrowed: what is added must not depend on those of another message.
TEST(TamperAddedSigners, OutliveTheMessageThatTheyWereAddedTo) {
  Octets changed;
  {
    const MessageHandle message = decode(sign({&first()}, kContent));
    ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
    changed = changedMessage(message);
  }
  EXPECT_TRUE(areBothGood(changed));
}

TEST(TamperAddedSigners, OfABrokenMessageDoNotHideThatItIsBroken) {
  Octets bytes = sign({&first()}, kContent);
  bytes.back() ^= 1;  // the first one's signature
  const MessageHandle message = decode(bytes);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  const MessageHandle again = decode(changedMessage(message));
  EXPECT_EQ(verify(again, 0, first().context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verify(again, 1, second().context()), ERROR_SUCCESS);
}

}  // namespace
}  // namespace qx::test::tamper_added_test
