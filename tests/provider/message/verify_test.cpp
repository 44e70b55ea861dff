#include <gtest/gtest.h>

#include "platform/cert_chain.h"

#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"
#include "tests/support/kind_name.h"

namespace qx::test::verify_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Content that came from elsewhere.");

DWORD verifyWithKey(const MessageHandle& message, const CERT_PUBLIC_KEY_INFO& key) {
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_PUBKEY;
  para.pvSigner = writable(&key);
  return control(message, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para);
}

class VerifyOpenssl : public ::testing::TestWithParam<KeyKind> {
 protected:
  Signer& one() const { return signer(GetParam()); }

  void expectGood(const std::vector<std::string>& options) const {
    const Octets bytes = opensslSign({&one()}, kContent, options);
    const MessageHandle message = decode(bytes);
    EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), text(kContent));
    EXPECT_EQ(verify(message, 0, one().context()), ERROR_SUCCESS);
  }
};

TEST_P(VerifyOpenssl, WithAttributes) {
  expectGood({"-nodetach"});
}

TEST_P(VerifyOpenssl, WithoutAttributes) {
  expectGood({"-nodetach", "-noattr"});
}

TEST_P(VerifyOpenssl, StreamedWithAttributes) {
  expectGood({"-nodetach", "-stream"});
}

TEST_P(VerifyOpenssl, StreamedWithoutAttributes) {
  expectGood({"-nodetach", "-noattr", "-stream"});
}

TEST_P(VerifyOpenssl, NamedByTheKeysIdentifier) {
  expectGood({"-nodetach", "-keyid"});
}

TEST_P(VerifyOpenssl, WithoutCertificates) {
  expectGood({"-nodetach", "-nocerts"});
}

TEST_P(VerifyOpenssl, WithASigningCertificate) {
  expectGood({"-nodetach", "-cades"});
}

TEST_P(VerifyOpenssl, Detached) {
  for (const char* attributes : {"-nosmimecap", "-noattr"}) {
    const Octets bytes = opensslSign({&one()}, kContent, {attributes});
    const MessageHandle message = decodeDetached(bytes, kContent);
    EXPECT_EQ(verify(message, 0, one().context()), ERROR_SUCCESS) << attributes;
    EXPECT_TRUE(bytesParam(message, CMSG_CONTENT_PARAM).empty());
  }
}

TEST_P(VerifyOpenssl, DetachedInParts) {
  const Octets bytes = opensslSign({&one()}, kContent, {"-nosmimecap"});
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  for (const std::uint8_t octet : kContent) {
    const Octets part{octet};
    ASSERT_EQ(update(message, part, /*final=*/false), ERROR_SUCCESS);
  }
  ASSERT_EQ(update(message, {}), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 0, one().context()), ERROR_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Keys, VerifyOpenssl, ::testing::ValuesIn(allKinds()), kindOf);

TEST(Verify, TakesSeveralSignersOfDifferentKinds) {
  const std::vector<Signer*> three = {
      &signer(KeyKind::EcP256), &signer(KeyKind::Gost2012_256), &signer(KeyKind::Gost2001)};
  const Octets bytes = opensslSign(three, kContent, {"-nodetach", "-stream"});
  const MessageHandle message = decode(bytes);
  ASSERT_EQ(numberParam(message, CMSG_SIGNER_COUNT_PARAM), 3U);
  unsigned good = 0;
  for (DWORD index = 0; index < 3; ++index) {
    for (const Signer* one : three) {
      good += verify(message, index, one->context()) == ERROR_SUCCESS ? 1U : 0U;
    }
  }
  EXPECT_EQ(good, 3U) << "each signature is good for its own certificate only";
}

TEST(Verify, AcceptsPssSignatures) {
  Signer& one = signer(KeyKind::Rsa2048);
  const Octets bytes =
      opensslSign({&one}, kContent, {"-nodetach", "-keyopt", "rsa_padding_mode:pss"});
  EXPECT_EQ(verify(decode(bytes), 0, one.context()), ERROR_SUCCESS);
}

TEST(Verify, AcceptsSha1AndRefusesMd5) {
  Signer& one = signer(KeyKind::Rsa2048);
  const Octets sha1 = opensslSign({&one}, kContent, {"-nodetach", "-md", "sha1"});
  EXPECT_EQ(verify(decode(sha1), 0, one.context()), ERROR_SUCCESS);
  const Octets md5 = opensslSign({&one}, kContent, {"-nodetach", "-md", "md5"});
  EXPECT_EQ(verify(decode(md5), 0, one.context()), NTE_BAD_ALGID);
}

TEST(Verify, RefusesAHashThatItDoesNotKnow) {
  Signer& one = signer(KeyKind::Rsa2048);
  const Octets bytes = opensslSign({&one}, kContent, {"-nodetach", "-md", "sha224"});
  EXPECT_EQ(verify(decode(bytes), 0, one.context()), CRYPT_E_UNKNOWN_ALGO);
}

TEST(Verify, FindsTheSignerByIssuerAndSerialNumber) {
  Signer& one = signer(KeyKind::EcP256);
  Signer& other = signer(KeyKind::EcP256, 1);
  const Octets bytes = sign({&other, &one}, kContent);
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &one.info()), ERROR_SUCCESS);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &other.info()), ERROR_SUCCESS);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &signer(KeyKind::EcP256, 2).info()),
            CRYPT_E_SIGNER_NOT_FOUND);
}

TEST(Verify, ReadsNothingOfTheRecordButIdentifierAndKey) {
  Signer& one = signer(KeyKind::EcP256);
  CERT_INFO info{};
  info.Issuer = one.info().Issuer;
  info.SerialNumber = one.info().SerialNumber;
  info.SubjectPublicKeyInfo = one.info().SubjectPublicKeyInfo;
  const Octets bytes = sign({&one}, kContent);
  EXPECT_EQ(control(decode(bytes), CMSG_CTRL_VERIFY_SIGNATURE, &info), ERROR_SUCCESS);
}

TEST(Verify, SaysWhatIsWrongWithAKey) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  const MessageHandle message = decode(bytes);
  CERT_INFO info = one.info();
  info.SubjectPublicKeyInfo.PublicKey.cbData = 0;
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &info), CRYPT_E_ASN1_EOD);
  info = one.info();
  Octets malformed(65, 0x11);
  info.SubjectPublicKeyInfo.PublicKey.pbData = malformed.data();
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &info), CRYPT_E_ASN1_BADTAG);
  info = one.info();
  info.SubjectPublicKeyInfo = signer(KeyKind::EcP256, 1).info().SubjectPublicKeyInfo;
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &info), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verifyWithKey(message, info.SubjectPublicKeyInfo), NTE_BAD_SIGNATURE);
  EXPECT_EQ(verifyWithKey(message, one.info().SubjectPublicKeyInfo), ERROR_SUCCESS);
}

TEST(Verify, DoesNotProveACertificateThatTheMessageDoesNotName) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  // The same key under another name.
  const X509Ptr renamed =
      lab::selfSigned(one.key(), {.subject = {{.type = "CN", .value = "Else"}}});
  const Octets der = lab::toDer(renamed.get());
  PCCERT_CONTEXT context =
      CertCreateCertificateContext(kEncoding, der.data(), static_cast<DWORD>(der.size()));
  EXPECT_EQ(verify(decode(bytes), 0, context), CRYPT_E_SIGNER_NOT_FOUND);
  CertFreeCertificateContext(context);
  EXPECT_EQ(verify(decode(bytes), 0, signer(KeyKind::EcP256, 1).context()), NTE_BAD_SIGNATURE);
}

TEST(Verify, TakesTheCertificateOfAChain) {
  Signer& one = signer(KeyKind::EcP256);
  CERT_CHAIN_ELEMENT element{};
  element.pCertContext = one.context();
  PCERT_CHAIN_ELEMENT elements[] = {&element};
  CERT_SIMPLE_CHAIN simple{};
  simple.cElement = 1;
  simple.rgpElement = elements;
  PCERT_SIMPLE_CHAIN chains[] = {&simple};
  CERT_CHAIN_CONTEXT chain{};
  chain.cChain = 1;
  chain.rgpChain = chains;
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_CHAIN;
  para.pvSigner = &chain;
  const Octets bytes = sign({&one}, kContent);
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para), ERROR_SUCCESS);
  chain.cChain = 0;
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para), E_INVALIDARG);
}

TEST(Verify, RefusesWrongParameters) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  const MessageHandle message = decode(bytes);
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  const auto error = [&] { return control(message, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para); };
  EXPECT_EQ(error(), E_INVALIDARG) << "cbSize";
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
  EXPECT_EQ(error(), E_INVALIDARG) << "no certificate";
  para.pvSigner = writable(one.context());
  EXPECT_EQ(error(), ERROR_SUCCESS);
  para.dwSignerType = CMSG_VERIFY_SIGNER_NULL;
  EXPECT_EQ(error(), E_INVALIDARG) << "a certificate that is not wanted";
  para.dwSignerType = 7;
  EXPECT_EQ(error(), E_INVALIDARG);
  para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
  para.dwSignerIndex = 1;
  EXPECT_EQ(error(), CRYPT_E_INVALID_INDEX);
}

TEST(Verify, OfADetachedMessageFailsBeforeItsContentAndSpoilsIt) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent, {.flags = CMSG_DETACHED_FLAG});
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 0, one.context()), NTE_BAD_SIGNATURE);
  EXPECT_EQ(update(message, kContent), NTE_BAD_HASH_STATE);
}

TEST(Verify, OfADetachedMessageWithoutItsContentFails) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets plain = sign({&one}, kContent, {.flags = CMSG_DETACHED_FLAG});
  EXPECT_EQ(verify(decode(plain), 0, one.context()), NTE_BAD_SIGNATURE);
  const Octets attributes =
      sign({&one}, kContent, {.flags = CMSG_DETACHED_FLAG | CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  EXPECT_EQ(verify(decode(attributes), 0, one.context()), CRYPT_E_HASH_VALUE);
}

TEST(Verify, AcceptsEmptyContent) {
  Signer& one = signer(KeyKind::Gost2001);
  for (const DWORD flags : {DWORD{0}, CMSG_AUTHENTICATED_ATTRIBUTES_FLAG}) {
    const Octets bytes = sign({&one}, {}, {.flags = flags});
    EXPECT_EQ(verify(decode(bytes), 0, one.context()), ERROR_SUCCESS);
    EXPECT_EQ(verify(decodeDetached(bytes, {}), 0, one.context()), ERROR_SUCCESS);
  }
}

TEST(Verify, ProvesABareHashWithoutAKey) {
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO_LONG info{};
  const CMSG_SIGNER_ENCODE_INFO shortForm = one.encodeInfo();
  std::memcpy(&info, &shortForm, sizeof shortForm);
  info.cbSize = sizeof info;
  info.HashEncryptionAlgorithm.pszObjId = writable("1.3.6.1.5.5.7.6.2");
  CMSG_SIGNED_ENCODE_INFO signedInfo{};
  signedInfo.cbSize = sizeof signedInfo;
  signedInfo.cSigners = 1;
  signedInfo.rgSigners = reinterpret_cast<CMSG_SIGNER_ENCODE_INFO*>(&info);
  const MessageHandle made(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &signedInfo, nullptr, nullptr));
  ASSERT_TRUE(made);
  ASSERT_EQ(update(made, kContent), ERROR_SUCCESS);
  Octets bytes = bytesParam(made, CMSG_CONTENT_PARAM);

  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_NULL;
  EXPECT_EQ(control(decode(bytes), CMSG_CTRL_VERIFY_SIGNATURE_EX, &para), ERROR_SUCCESS);
  EXPECT_NE(verify(decode(bytes), 0, one.context()), ERROR_SUCCESS) << "it is no signature of his";
  bytes.back() ^= 1;
  EXPECT_EQ(control(decode(bytes), CMSG_CTRL_VERIFY_SIGNATURE_EX, &para), NTE_BAD_SIGNATURE);
  const Octets real = sign({&one}, kContent);
  EXPECT_EQ(control(decode(real), CMSG_CTRL_VERIFY_SIGNATURE_EX, &para), NTE_BAD_SIGNATURE);
}

TEST(Verify, HashesTheContentOnceForAnyNumberOfLooks) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets content = kContent;
  const Octets bytes = sign({&one}, content, {.flags = CMSG_DETACHED_FLAG});
  Octets borrowed = content;
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  ASSERT_EQ(updateBorrowed(message, borrowed), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  borrowed[0] ^= 1;
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS) << "the hash is kept";
}

}  // namespace
}  // namespace qx::test::verify_test
