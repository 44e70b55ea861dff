#include <algorithm>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"

namespace qx::test::change_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed by one, then by others.");

bool contains(const Octets& bytes, const Octets& part) {
  return !std::ranges::search(bytes, part).empty();
}

const Octets kAttribute = fromHex("300a 06032a0304 3103 020104");

class Change : public ::testing::Test {
 protected:
  static Signer& one() { return signer(KeyKind::EcP256); }

  static Signer& two() { return signer(KeyKind::EcP256, 1); }

  const Octets bytes_ = sign({&one(), &two()}, kContent);
  const MessageHandle message_ = decode(bytes_);
};

TEST_F(Change, NothingGivesTheMessageAsItWas) {
  EXPECT_EQ(changedMessage(message_), bytes_);
}

TEST_F(Change, RefusesASignerWhoIsThereAlready) {
  EXPECT_EQ(addSigner(message_, one()), CRYPT_E_EXISTS);
  EXPECT_EQ(changedMessage(message_), bytes_) << "nothing is left of a failure";
}

TEST_F(Change, RefusesASignerWhoCannotSign) {
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::Rsa2048).encodeInfo();
  KeyContext noKey(PROV_GOST_2001_DH);
  info.hCryptProv = noKey.handle();
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), NTE_NO_KEY);
  info.HashAlgorithm.pszObjId = nullptr;
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), CRYPT_E_UNKNOWN_ALGO);
  info.cbSize = 0;
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), E_INVALIDARG);
  EXPECT_EQ(changedMessage(message_), bytes_);
}

TEST_F(Change, AddsASignerNamedByHisKeyWithTheVersionThatHeNeeds) {
  Signer& third = signer(KeyKind::Rsa2048);
  const Octets keyId = third.keyId();
  CMSG_SIGNER_ENCODE_INFO_LONG info{};
  const CMSG_SIGNER_ENCODE_INFO shortForm = third.encodeInfo();
  std::memcpy(&info, &shortForm, sizeof shortForm);
  info.cbSize = sizeof info;
  info.SignerId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  info.SignerId.KeyId = blob(keyId);
  ASSERT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  const MessageHandle again = decode(changedMessage(message_));
  EXPECT_EQ(numberParam(again, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&one(), &two(), &third}));
  ASSERT_EQ(removeAt(again, CMSG_CTRL_DEL_SIGNER, 2), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changedMessage(again)), CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
}

TEST_F(Change, RemovesASignerAndShiftsTheOthers) {
  const Octets second = bytesParam(message_, CMSG_ENCODED_SIGNER, 1);
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 2), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_SIGNER_COUNT_PARAM), 1U);
  EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_SIGNER, 0), second);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&two()}));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changedMessage(message_)), CMSG_SIGNER_COUNT_PARAM), 0U);
}

TEST_F(Change, RemovesACertificateAndShiftsTheOthers) {
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 2), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_CERT_PARAM, 0), two().der());
  EXPECT_EQ(paramError(message_, CMSG_CERT_PARAM, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_FALSE(contains(changedMessage(message_), one().der()));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changedMessage(message_)), CMSG_CERT_COUNT_PARAM), 0U);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&one(), &two()}));
}

TEST_F(Change, CopiesWhatIsAdded) {
  Octets certificate = signer(KeyKind::Rsa2048).der();
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, certificate), ERROR_SUCCESS);
  std::ranges::fill(certificate, 0xEE);
  EXPECT_EQ(bytesParam(message_, CMSG_CERT_PARAM, 2), signer(KeyKind::Rsa2048).der());
}

TEST_F(Change, DoesNotAddACertificateTwice) {
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, one().der()), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_CERT_COUNT_PARAM), 2U);
}

TEST_F(Change, RefusesAnotherCertificateWithTheSameIssuerAndSerialNumber) {
  Octets twin = one().der();
  twin.back() ^= 1;
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, twin), CRYPT_E_EXISTS);
  EXPECT_EQ(changedMessage(message_), bytes_);
}

TEST_F(Change, RefusesWhatIsNoCertificate) {
  const DWORD badTag = CRYPT_E_ASN1_BADTAG;
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, octets("junk")), badTag);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, {}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, one().der()), badTag);
  Octets more = one().der();
  more.push_back(0);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, more), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(changedMessage(message_), bytes_);
}

TEST_F(Change, AddsAndRemovesCrls) {
  const lab::Authority authority = lab::Authority::selfSigned(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Authority"}}});
  const Octets first = lab::toDer(authority.crl({.number = 1}).get());
  const Octets second = lab::toDer(authority.crl({.number = 2}).get());
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, first), ERROR_SUCCESS);
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, second), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_CRL_COUNT_PARAM), 2U);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&one(), &two()}));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CRL, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_CRL_PARAM, 0), second);
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_CRL, 1), CRYPT_E_INVALID_INDEX);
}

TEST_F(Change, AddsUnsignedAttributesBehindTheOthers) {
  const Octets other = fromHex("300a 06032a0301 3103 020101");
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message_, 1, other), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS) << "these may be repeated";
  const MessageHandle again = decode(changedMessage(message_));
  EXPECT_EQ(paramError(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0), CRYPT_E_ATTRIBUTES_MISSING);
  const RecordParam<CRYPT_ATTRIBUTES> attributes(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 1);
  ASSERT_EQ(attributes->cAttr, 3U);
  EXPECT_STREQ(attributes->rgAttr[0].pszObjId, "1.2.3.4");
  EXPECT_STREQ(attributes->rgAttr[1].pszObjId, "1.2.3.1");
  EXPECT_EQ(verify(again, 1, two().context()), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&one(), &two()}));
}

TEST_F(Change, RemovesUnsignedAttributes) {
  const Octets before = bytesParam(message_, CMSG_ENCODED_SIGNER, 1);
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS);
  EXPECT_EQ(removeUnsigned(message_, 1, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(removeUnsigned(message_, 2, 0), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeUnsigned(message_, 1, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_SIGNER, 1), before);
}

TEST_F(Change, RefusesUnsignedAttributesThatCannotBeUsed) {
  EXPECT_EQ(addUnsigned(message_, 2, kAttribute), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(addUnsigned(message_, 0, octets("junk")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3000")), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3007 06032a0304 0500")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3005 06032a0304")), CRYPT_E_ASN1_EOD);
  CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA add{};
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &add), E_INVALIDARG);
  CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA remove{};
  EXPECT_EQ(control(message_, CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &remove), E_INVALIDARG);
  EXPECT_EQ(changedMessage(message_), bytes_);
}

TEST_F(Change, RefusesMissingParameters) {
  for (const DWORD type : {CMSG_CTRL_ADD_SIGNER,
                           CMSG_CTRL_DEL_SIGNER,
                           CMSG_CTRL_ADD_CERT,
                           CMSG_CTRL_DEL_CERT,
                           CMSG_CTRL_ADD_CRL,
                           CMSG_CTRL_DEL_CRL,
                           CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR,
                           CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR}) {
    EXPECT_EQ(control(message_, type, nullptr), E_INVALIDARG) << type;
  }
}

TEST(ChangeLimits, RefuseMoreAttributesThanASignerMayHave) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle message = decode(sign({&one}, kContent));
  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(addUnsigned(message, 0, kAttribute), ERROR_SUCCESS) << i;
  }
  EXPECT_EQ(addUnsigned(message, 0, kAttribute), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(verify(decode(changedMessage(message)), 0, one.context()), ERROR_SUCCESS);
}

}  // namespace
}  // namespace qx::test::change_test
