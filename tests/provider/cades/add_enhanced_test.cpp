#include "provider/cades/add_enhanced.h"

#include <gtest/gtest.h>

#include "provider/cades/signature_kind.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/provider/message/signed_parts.h"

namespace qx::test::add_enhanced_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("What is written here is signed.");

class AddEnhanced : public ::testing::Test {
 protected:
  AddEnhanced() : world_(&sharedWorld()), service_(world_->authority()) {}

  Signer& first() { return world_->signer(); }

  Signer& second() { return world_->signer(KeyKind::Gost2012_256); }

  Result<void> add(const MessageHandle& message, const CMSG_SIGNER_ENCODE_INFO& record) {
    DecodedSigned& decoded = **decodedSigned(message.get());
    return addEnhanced(decoded.data(), decoded.content(), record, service_);
  }

  EnhanceWorld* world_;
  LabTimeStamps service_;
};

TEST_F(AddEnhanced, AddsASignerBehindTheOthers) {
  testFolder().addCertificate("My", second().certificate());
  for (const Octets& before : {sign({&first()}, kContent),
                               signBes({&first()}, kContent),
                               streamed(signBes({&first()}, kContent), 7)}) {
    const MessageHandle message = decode(before);
    const auto done = add(message, second().encodeInfo());
    ASSERT_TRUE(done) << std::hex << done.error();
    const Octets after = changedMessage(message);
    EXPECT_TRUE(keepsEveryPart(before, after));
    EXPECT_EQ(partsOf(after).certificates.size(), 1U) << "his own is among the values";
    ASSERT_EQ(dataOf(message).signers().size(), 2U);
    EXPECT_FALSE(isEnhanced(dataOf(message).signers()[0]));
    EXPECT_TRUE(isXLongType1(dataOf(message).signers()[1]));
    EXPECT_TRUE(opensslVerifies(after, {&first(), &second()}));
  }
}

TEST_F(AddEnhanced, SignsDetachedContent) {
  const Octets before = signBes({&first()}, kContent, {.flags = CMSG_DETACHED_FLAG});
  const MessageHandle message = decodeDetached(before, kContent);
  testFolder().addCertificate("My", second().certificate());
  ASSERT_TRUE(add(message, second().encodeInfo()));
  EXPECT_TRUE(cadesVerifies(changedMessage(message), {&first(), &second()}, &kContent));
}

// No store has the certificate, nor has the message: the key's handle knows it.
TEST_F(AddEnhanced, TakesTheCertificateThatTheKeyWasAcquiredFor) {
  Signer& unlisted = world_->signer(KeyKind::EcP256, 5);
  HCRYPTPROV provider = 0;
  DWORD keySpec = 0;
  BOOL callerFrees = FALSE;
  ASSERT_TRUE(CryptAcquireCertificatePrivateKey(
      unlisted.context(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr, &provider, &keySpec, &callerFrees));
  CMSG_SIGNER_ENCODE_INFO record = unlisted.encodeInfo();
  EXPECT_EQ(add(decode(signBes({&first()}, kContent)), record).error(), CRYPT_E_SIGNER_NOT_FOUND);
  record.hCryptProv = provider;
  const MessageHandle message = decode(signBes({&first()}, kContent));
  EXPECT_TRUE(add(message, record));
  EXPECT_TRUE(cadesVerifies(changedMessage(message), {&first(), &unlisted}));
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}

// Both name their certificate, so that nobody is taken for the other one.
TEST_F(AddEnhanced, AddsASecondSignatureOfOneSigner) {
  const MessageHandle message = decode(signBes({&first()}, kContent));
  ASSERT_TRUE(add(message, first().encodeInfo()));
  EXPECT_EQ(dataOf(message).signers().size(), 2U);
}

TEST_F(AddEnhanced, AsksForNoStampWhenTheSignerMayNotJoin) {
  const Octets before = sign({&first()}, kContent);
  const MessageHandle message = decode(before);
  EXPECT_EQ(add(message, first().encodeInfo()).error(), CRYPT_E_EXISTS);
  EXPECT_EQ(service_.requests(), 0U);
  EXPECT_EQ(changedMessage(message), before);
}

TEST_F(AddEnhanced, LeavesTheMessageAsItWasWhenAnythingFails) {
  const Octets before = signBes({&first()}, kContent);
  testFolder().addCertificate("My", second().certificate());
  for (const std::size_t request : {0U, 1U}) {
    const MessageHandle message = decode(before);
    LabTimeStamps failing(world_->authority());
    failing.failFrom(request, ERROR_TIMEOUT);
    DecodedSigned& decoded = **decodedSigned(message.get());
    EXPECT_EQ(
        addEnhanced(decoded.data(), decoded.content(), second().encodeInfo(), failing).error(),
        ERROR_TIMEOUT);
    EXPECT_FALSE(decoded.isChanged());
    EXPECT_EQ(changedMessage(message), before);
  }
}

TEST_F(AddEnhanced, RefusesRecordsThatNobodyCouldSignWith) {
  const MessageHandle message = decode(signBes({&first()}, kContent));
  testFolder().addCertificate("My", second().certificate());
  CMSG_SIGNER_ENCODE_INFO record = second().encodeInfo();
  record.cbSize -= 1;
  EXPECT_EQ(add(message, record).error(), E_INVALIDARG);
  record = second().encodeInfo();
  record.hCryptProv = 0;
  EXPECT_EQ(add(message, record).error(), E_INVALIDARG);
  record = second().encodeInfo();
  record.HashAlgorithm.pszObjId = writable("1.2.3");
  EXPECT_EQ(add(message, record).error(), CRYPT_E_UNKNOWN_ALGO);
  EXPECT_EQ(service_.requests(), 0U);
}

// A detached message whose content did not come has nothing to sign.
TEST_F(AddEnhanced, NeedsTheContent) {
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, signBes({&first()}, kContent, {.flags = CMSG_DETACHED_FLAG})),
            ERROR_SUCCESS);
  testFolder().addCertificate("My", second().certificate());
  EXPECT_EQ(add(message, second().encodeInfo()).error(), NTE_BAD_HASH_STATE);
  EXPECT_EQ(service_.requests(), 0U);
}

}  // namespace
}  // namespace qx::test::add_enhanced_test
