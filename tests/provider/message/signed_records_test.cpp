#include <algorithm>
#include <memory>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/encode_records.h"

namespace qx::test::signed_records_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("abc");

TEST(SignedRecords, CopiesEveryRecordWhenItIsOpened) {
  Signer& one = signer(KeyKind::EcP256);
  Octets issuer(one.info().Issuer.pbData, one.info().Issuer.pbData + one.info().Issuer.cbData);
  Octets certificate = one.der();
  std::string hash = one.hashOid();
  CERT_INFO certInfo = one.info();
  certInfo.Issuer = blob(issuer);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.pCertInfo = &certInfo;
  info.HashAlgorithm.pszObjId = hash.data();
  CERT_BLOB certificates[] = {blob(certificate)};
  CMSG_SIGNED_ENCODE_INFO record{};
  record.cbSize = sizeof record;
  record.cSigners = 1;
  record.rgSigners = &info;
  record.cCertEncoded = 1;
  record.rgCertEncoded = certificates;
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &record, nullptr, nullptr));
  ASSERT_TRUE(message);
  std::ranges::fill(issuer, 0xEE);
  std::ranges::fill(certificate, 0xEE);
  hash.assign(hash.size(), 'x');
  info = {};
  record = {};
  certInfo = {};
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));
}

TEST(SignedRecords, NamesASignerByHisKeyWhenItIsToldTo) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets keyId = one.keyId();
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  CERT_INFO empty{};
  empty.SubjectPublicKeyInfo = one.info().SubjectPublicKeyInfo;
  info.pCertInfo = &empty;
  info.SignerId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  info.SignerId.KeyId = blob(keyId);
  const MessageHandle message = openLong({info, longForm(signer(KeyKind::Rsa2048))});
  ASSERT_TRUE(message) << GetLastError();
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER), "0201038014" + toHex(keyId)));
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_TRUE(cmsVerifies(bytes, {&one, &signer(KeyKind::Rsa2048)}));
  EXPECT_EQ(verify(decode(bytes), 0, one.context()), ERROR_SUCCESS);
}

TEST(SignedRecords, TakesTheIdentifierOfTheLongForm) {
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  CERT_INFO empty{};
  info.pCertInfo = &empty;
  info.SignerId.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
  info.SignerId.IssuerSerialNumber.Issuer = one.info().Issuer;
  info.SignerId.IssuerSerialNumber.SerialNumber = one.info().SerialNumber;
  const MessageHandle message = openLong({info});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}))
      << "the key says what algorithm it is";
  info.SignerId.dwIdChoice = CERT_ID_SHA1_HASH;
  SetLastError(0);
  EXPECT_FALSE(openLong({info}));
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(SignedRecords, WritesASignatureAlgorithmThatFitsTheKey) {
  Signer& one = signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  info.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.113549.1.1.11");
  const MessageHandle message = openLong({info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER), "300d06092a864886f70d01010b0500"));
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));

  Signer& curve = signer(KeyKind::EcP256);
  info = longForm(curve);
  info.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.10045.2.1");
  const MessageHandle bare = openLong({info});
  ASSERT_EQ(update(bare, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(bare, CMSG_ENCODED_SIGNER), "300b06072a8648ce3d02010500"));
  const Octets bytes = bytesParam(bare, CMSG_CONTENT_PARAM);
  EXPECT_EQ(verify(decode(bytes), 0, curve.context()), ERROR_SUCCESS);
}

TEST(SignedRecords, RefusesASignatureAlgorithmThatDoesNotFitTheKey) {
  for (const char* oid : {"1.2.840.113549.1.1.5", "1.2.840.10045.2.1", "1.2.3.4"}) {
    CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(signer(KeyKind::Rsa2048));
    info.HashEncryptionAlgorithm.pszObjId = writable(oid);
    const MessageHandle message = openLong({info});
    ASSERT_TRUE(message);
    EXPECT_EQ(update(message, kContent), NTE_BAD_ALGID) << oid;
  }
}

TEST(SignedRecords, WritesTheHashThatASignatureAlgorithmNames) {
  Signer& one = signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.HashAlgorithm.pszObjId = writable("1.2.840.113549.1.1.5");
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_TRUE(contains(bytes, "300906052b0e03021a0500"));
  EXPECT_TRUE(cmsVerifies(bytes, {&one}));
}

TEST(SignedRecords, NeedsTheKeyNotBeforeTheFinalUpdate) {
  KeyContext noKey(PROV_GOST_2001_DH);
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  info.hCryptProv = noKey.handle();
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_TRUE(message);
  EXPECT_EQ(update(message, kContent), NTE_NO_KEY);
  EXPECT_EQ(update(message, kContent), CRYPT_E_MSG_ERROR) << "a failed final update is final";
  EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), CRYPT_E_MSG_ERROR);
}

TEST(SignedRecords, OfAKeyThatIsGoneFails) {
  KeyContext gone(PROV_GOST_2001_DH,
                  {.location = Location::CurrentUser, .id = std::string(64, '0')});
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  info.hCryptProv = gone.handle();
  const MessageHandle message = openEncoder(std::vector{info});
  EXPECT_EQ(update(message, kContent), NTE_BAD_KEYSET);
}

TEST(SignedRecords, ReleasesTheHandlesThatItOwnsAtTheFinalUpdate) {
  Signer& one = signer(KeyKind::EcP256);
  KeyContext* context = one.newContext().release();
  const std::shared_ptr<const PrivateKey> key = *usableKey(context->handle());
  const auto owners = key.use_count();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  const MessageHandle message =
      openEncoder(std::vector{info}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG});
  ASSERT_TRUE(message);
  EXPECT_EQ(key.use_count(), owners);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(key.use_count(), owners - 1) << "the context is gone, and with it its key";
}

TEST(SignedRecords, ReleasesTheHandlesOfAMessageThatIsNeverFinished) {
  Signer& one = signer(KeyKind::EcP256);
  KeyContext* context = one.newContext().release();
  const std::shared_ptr<const PrivateKey> key = *usableKey(context->handle());
  const auto owners = key.use_count();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  {
    const MessageHandle message =
        openEncoder(std::vector{info}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG});
  }
  EXPECT_EQ(key.use_count(), owners - 1);
}

TEST(SignedRecords, LeavesTheHandlesWhenTheOpenFails) {
  Signer& one = signer(KeyKind::EcP256);
  const std::unique_ptr<KeyContext> context = one.newContext();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  EXPECT_EQ(openError({info}, {octets("junk")}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG}),
            CRYPT_E_ASN1_BADTAG);
  EXPECT_TRUE(usableKey(context->handle()));
}

TEST(SignedRecords, RefusesRecordsThatCannotBeUsed) {
  Signer& one = signer(KeyKind::EcP256);
  const CMSG_SIGNER_ENCODE_INFO good = one.encodeInfo();
  ASSERT_EQ(openError({good}), ERROR_SUCCESS);

  CMSG_SIGNER_ENCODE_INFO bad = good;
  bad.cbSize = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  bad.pCertInfo = nullptr;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  CERT_INFO info = one.info();
  info.SerialNumber.cbData = 0;
  bad.pCertInfo = &info;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  info = one.info();
  info.Issuer.cbData = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  info.Issuer.cbData = one.info().Issuer.cbData - 1;
  EXPECT_EQ(openError({bad}), E_INVALIDARG) << "not one element";
  bad = good;
  bad.hCryptProv = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  bad.HashAlgorithm.pszObjId = nullptr;
  EXPECT_EQ(openError({bad}), CRYPT_E_UNKNOWN_ALGO);
  bad.HashAlgorithm.pszObjId = writable("1.2.3");
  EXPECT_EQ(openError({bad}), CRYPT_E_UNKNOWN_ALGO);
  for (const char* broken : {"1.2.840.113549.2.2", "1.2.840.113549.2.5", "1.2.840.113549.1.1.4"}) {
    bad.HashAlgorithm.pszObjId = writable(broken);
    EXPECT_EQ(openError({bad}), NTE_BAD_ALGID) << broken;
  }
  EXPECT_EQ(openError({good}, {octets("junk")}), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(openError({good}, {fromHex("3000")}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(openError({good}, {Octets{}}), CRYPT_E_ASN1_EOD);
}

TEST(SignedRecords, RefusesAMessageRecordThatCannotBeUsed) {
  CMSG_SIGNED_ENCODE_INFO_LONG info{};
  const auto error = [&info] {
    SetLastError(0);
    EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr), nullptr);
    return GetLastError();
  };
  EXPECT_EQ(error(), E_INVALIDARG) << "cbSize 0";
  info.cbSize = sizeof(CMSG_SIGNED_ENCODE_INFO);
  info.cSigners = 1;
  EXPECT_EQ(error(), E_INVALIDARG) << "no array";
  info.cSigners = 0;
  info.cCertEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  info.cCertEncoded = 0;
  info.cCrlEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  info.cCrlEncoded = 0;
  info.cbSize = sizeof info;
  info.cAttrCertEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(SignedRecords, RefusesTwoSignersUnderOneIdentifier) {
  const CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  EXPECT_EQ(openError({info, info}), E_INVALIDARG);
}

TEST(SignedRecords, RefusesTwoCertificatesWithOneIssuerAndSerialNumber) {
  Signer& one = signer(KeyKind::EcP256);
  const EvpPkeyPtr other = lab::generateKey(KeyKind::EcP256);
  const lab::CertificateOptions options{
      .subject = {{.type = "CN", .value = lab::kindName(KeyKind::EcP256) + std::string(" 0")},
                  {.type = "O", .value = "Signers"}},
      .serial = lab::serialOf(one.certificate())};
  const Octets twin = lab::toDer(lab::selfSigned(other.get(), options).get());
  EXPECT_EQ(openError({one.encodeInfo()}, {one.der(), twin}), E_INVALIDARG);
}

}  // namespace
}  // namespace qx::test::signed_records_test
