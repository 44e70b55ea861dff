#include <gtest/gtest.h>

#include "tests/provider/message/envelopes.h"
#include "tests/support/kind_name.h"

namespace qx::test::envelope_interop_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("For the eyes of some.");

class EnvelopeFor : public ::testing::TestWithParam<KeyKind> {
 protected:
  Signer& recipient() const { return signer(GetParam()); }

  bool isGost() const { return GetParam() != KeyKind::Rsa2048; }
};

TEST_P(EnvelopeFor, ARecipientIsOpenedByOpenssl) {
  EXPECT_EQ(opensslDecrypt(recipient(), envelope({&recipient()}, kContent)), kContent);
}

TEST_P(EnvelopeFor, ARecipientWithMuchContentIsOpenedByOpenssl) {
  const Octets much = content((std::size_t{1} << 20U) + 5);
  EXPECT_EQ(opensslDecrypt(recipient(), envelope({&recipient()}, much)), much);
}

TEST_P(EnvelopeFor, ARecipientIsOpenedByUs) {
  EXPECT_EQ(develope(envelope({&recipient()}, kContent), 0, recipient()), kContent);
}

TEST_P(EnvelopeFor, ARecipientOfOpensslIsOpenedByUs) {
  const Octets message = opensslEncrypt({&recipient()}, kContent, {"-gost89"});
  EXPECT_EQ(develope(message, 0, recipient()), kContent);
}

TEST_P(EnvelopeFor, ARecipientOfOpensslInSegmentsIsOpenedByUs) {
  const Octets much = content(100'003);
  const Octets message = opensslEncrypt({&recipient()}, much, {"-gost89", "-stream"});
  EXPECT_EQ(message[1], 0x80) << "an indefinite length";
  EXPECT_EQ(develope(message, 0, recipient()), much);
}

TEST_P(EnvelopeFor, ARecipientByKeyIdOfOpensslIsOpenedByUs) {
  const Octets message = opensslEncrypt({&recipient()}, kContent, {"-gost89", "-keyid"});
  EXPECT_EQ(develope(message, 0, recipient()), kContent);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EnvelopeFor, ::testing::ValuesIn(recipientKinds()), kindOf);

std::vector<Signer*> oneOfEachKind() {
  std::vector<Signer*> all;
  for (const KeyKind kind : recipientKinds()) {
    all.push_back(&signer(kind));
  }
  return all;
}

TEST(EnvelopeForAll, IsOpenedByEachWithOpenssl) {
  const std::vector<Signer*> all = oneOfEachKind();
  const Octets message = envelope(all, kContent);
  for (Signer* one : all) {
    EXPECT_EQ(opensslDecrypt(*one, message), kContent) << lab::kindName(one->kind());
  }
}

TEST(EnvelopeForAll, OfOpensslIsOpenedByEach) {
  const std::vector<Signer*> all = oneOfEachKind();
  const Octets message = opensslEncrypt(all, kContent, {"-gost89"});
  std::size_t opened = 0;
  for (Signer* one : all) {
    // openssl sorts its recipients; each finds himself by issuer and serial number.
    for (DWORD i = 0; i < all.size(); ++i) {
      const RecordParam<CERT_INFO> info(decode(message), CMSG_RECIPIENT_INFO_PARAM, i);
      if (CertCompareCertificate(kEncoding, writable(&*info), &one->info()) != FALSE) {
        EXPECT_EQ(develope(message, i, *one), kContent);
        ++opened;
      }
    }
  }
  EXPECT_EQ(opened, all.size());
}

}  // namespace
}  // namespace qx::test::envelope_interop_test
