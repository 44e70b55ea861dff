#include <functional>
#include <ostream>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/provider/message/signed_parts.h"

namespace qx::test::add_signer_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed by one, then by others.");

Signer& first() {
  return signer(KeyKind::Gost2012_256);
}

/// How the message came that a signer is added to.
struct Origin {
  const char* name;
  std::function<Octets()> make;
  bool detached = false;
};

std::ostream& operator<<(std::ostream& out, const Origin& origin) {
  return out << origin.name;
}

std::function<Octets()> byOpenssl(const std::vector<std::string>& options) {
  return [options] { return opensslSign({&first()}, kContent, options); };
}

Octets ours(DWORD flags = 0) {
  return sign({&first()}, kContent, {.flags = flags | CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
}

class AddSigner : public ::testing::TestWithParam<Origin> {
 protected:
  static Signer& second() { return signer(KeyKind::EcP256); }

  static Signer& third() { return signer(KeyKind::Rsa2048); }

  static Signer& fourth() { return signer(KeyKind::Gost2001); }

  const Octets* detached() const { return GetParam().detached ? &kContent : nullptr; }

  MessageHandle open(const Octets& bytes) const {
    return GetParam().detached ? decodeDetached(bytes, kContent) : decode(bytes);
  }

  const Octets& original() const { return original_; }

  /// Every old byte is there, and libcrypto, the openssl command and our own decoder accept each one.
  void expectGood(const Octets& changed, const std::vector<Signer*>& signers) const {
    EXPECT_TRUE(keepsEveryPart(original(), changed));
    EXPECT_TRUE(cmsVerifies(changed, signers, detached()));
    EXPECT_TRUE(opensslVerifies(changed, signers, detached()));
    const MessageHandle again = open(changed);
    ASSERT_EQ(numberParam(again, CMSG_SIGNER_COUNT_PARAM), signers.size());
    for (DWORD i = 0; i < signers.size(); ++i) {
      EXPECT_EQ(verify(again, i, signers[i]->context()), ERROR_SUCCESS) << i;
    }
    EXPECT_EQ(bytesParam(again, CMSG_CONTENT_PARAM), GetParam().detached ? Octets{} : kContent);
  }

 private:
  const Octets original_ = GetParam().make();
};

TEST_P(AddSigner, FindsTheFirstSignatureGood) {
  expectGood(original(), {&first()});
}

TEST_P(AddSigner, LeavesTheFirstSignatureGoodAndItsBytesAsTheyWere) {
  const MessageHandle message = open(original());
  const DWORD certificates = numberParam(message, CMSG_CERT_COUNT_PARAM);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  const Octets changed = changedMessage(message);
  expectGood(changed, {&first(), &second()});
  EXPECT_EQ(numberParam(open(changed), CMSG_CERT_COUNT_PARAM), certificates)
      << "a signer comes without his certificate";
}

TEST_P(AddSigner, WorksASecondAndAThirdTime) {
  const MessageHandle message = open(original());
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  const Octets two = changedMessage(message);
  const MessageHandle next = open(two);
  ASSERT_EQ(addSigner(next, third()), ERROR_SUCCESS);
  const Octets three = changedMessage(next);
  EXPECT_TRUE(keepsEveryPart(two, three));
  const MessageHandle last = open(three);
  ASSERT_EQ(addSigner(last, fourth()), ERROR_SUCCESS);
  expectGood(changedMessage(last), {&first(), &second(), &third(), &fourth()});
}

TEST_P(AddSigner, WorksSeveralTimesOnOneHandle) {
  const MessageHandle message = open(original());
  for (Signer* one : {&second(), &third(), &fourth()}) {
    ASSERT_EQ(addSigner(message, *one), ERROR_SUCCESS);
  }
  expectGood(changedMessage(message), {&first(), &second(), &third(), &fourth()});
}

TEST_P(AddSigner, AndHisCertificate) {
  const MessageHandle message = open(original());
  const DWORD certificates = numberParam(message, CMSG_CERT_COUNT_PARAM);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  ASSERT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, second().der()), ERROR_SUCCESS);
  expectGood(changedMessage(message), {&first(), &second()});
  const MessageHandle again = open(changedMessage(message));
  ASSERT_EQ(numberParam(again, CMSG_CERT_COUNT_PARAM), certificates + 1);
  EXPECT_EQ(bytesParam(again, CMSG_CERT_PARAM, certificates), second().der());
}

TEST_P(AddSigner, AndAnAttributeForEach) {
  const Octets attribute = fromHex("300a 06032a0304 3103 020104");
  const MessageHandle message = open(original());
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message, 0, attribute), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message, 1, attribute), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changedMessage(message), {&first(), &second()}, detached()));
  const MessageHandle again = open(changedMessage(message));
  EXPECT_EQ(verify(again, 0, first().context()), ERROR_SUCCESS);
  for (const DWORD index : {0U, 1U}) {
    const RecordParam<CRYPT_ATTRIBUTES> attributes(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, index);
    EXPECT_STREQ(attributes->rgAttr[attributes->cAttr - 1].pszObjId, "1.2.3.4");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Messages,
    AddSigner,
    ::testing::Values(
        Origin{"Der", byOpenssl({"-nodetach"})},
        Origin{"DerNoAttributes", byOpenssl({"-nodetach", "-noattr"})},
        Origin{"Ber", byOpenssl({"-nodetach", "-stream"})},
        Origin{"BerNoAttributes", byOpenssl({"-nodetach", "-noattr", "-stream"})},
        Origin{"NoCertificates", byOpenssl({"-nodetach", "-nocerts"})},
        Origin{"KeyId", byOpenssl({"-nodetach", "-keyid"})},
        Origin{"SigningCertificate", byOpenssl({"-nodetach", "-cades"})},
        Origin{"Detached", byOpenssl({}), true},
        Origin{"DetachedNoAttributes", byOpenssl({"-noattr"}), true},
        Origin{"DetachedKeyId", byOpenssl({"-keyid"}), true},
        Origin{"StreamedFrame", [] { return streamed(ours(), 7); }},
        Origin{"StreamedDetached", [] { return streamed(ours(CMSG_DETACHED_FLAG), 7); }, true},
        Origin{"Loose", [] { return loose(ours()); }},
        Origin{"LooseDetached", [] { return loose(ours(CMSG_DETACHED_FLAG)); }, true},
        Origin{"BadOrder", [] { return badlyOrdered(first(), kContent); }},
        Origin{"BadOrderDetached",
               [] { return badlyOrdered(first(), kContent, CMSG_DETACHED_FLAG); },
               true},
        Origin{"BadOrderStreamed", [] { return streamed(badlyOrdered(first(), kContent), 5); }},
        Origin{"BadOrderLoose", [] { return loose(badlyOrdered(first(), kContent)); }},
        Origin{"HashWithoutNull", [] { return withoutNull(first(), kContent); }}),
    [](const ::testing::TestParamInfo<Origin>& parameter) {
      return std::string(parameter.param.name);
    });

}  // namespace
}  // namespace qx::test::add_signer_test
