#include "tests/contract/message.h"

// Messages while they are read.

namespace qx::test::decode_test {
namespace {

class ContractDecode : public ::testing::Test {
 protected:
  const std::vector<BYTE> bytes_ = signedMessage();
  const Message message_ = openDecoder();
  const Certificate signer_ = contextOf(subject().signer);
};

TEST_F(ContractDecode, ChecksItsEncodingTypeButNotItsMessageType) {
  EXPECT_REFUSED(CryptMsgOpenToDecode(X509_ASN_ENCODING, 0, 0, 0, nullptr, nullptr), E_INVALIDARG);
  const Message typed = openDecoder(0, 1000);
  ASSERT_TRUE(typed);
  EXPECT_EQ(numberOf(typed, CMSG_TYPE_PARAM), 1000U);
}

TEST_F(ContractDecode, KnowsNothingBeforeItsMessage) {
  EXPECT_EQ(numberOf(message_, CMSG_TYPE_PARAM), 0U);
  EXPECT_REFUSED(ask(message_, CMSG_CONTENT_PARAM), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_REFUSED(
      CryptMsgControl(message_.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE, signer_.get()->pCertInfo),
      CRYPT_E_INVALID_MSG_TYPE);
}

TEST_F(ContractDecode, TakesOneFinalUpdate) {
  EXPECT_REFUSED(update(message_, bytes_, FALSE), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(update(message_, bytes_));
  EXPECT_REFUSED(update(message_, bytes_), CRYPT_E_MSG_ERROR);
}

TEST_F(ContractDecode, RefusesWhatIsNoMessage) {
  const std::vector<BYTE> junk(20, 0xFF);
  const std::vector<BYTE> cut(bytes_.begin(), bytes_.end() - 1);
  EXPECT_FALSE(update(message_, junk));
  const Message shorter = openDecoder();
  EXPECT_REFUSED(update(shorter, cut), CRYPT_E_ASN1_EOD);
  const Message typed = openDecoder(0, CMSG_SIGNED);
  EXPECT_REFUSED(update(typed, bytes_), CRYPT_E_ASN1_BADTAG);
}

TEST_F(ContractDecode, OverlooksWhatStandsBehindTheMessage) {
  std::vector<BYTE> longer = bytes_;
  longer.push_back(0);
  EXPECT_TRUE(update(message_, longer));
}

TEST_F(ContractDecode, TellsWhatTheMessageHolds) {
  ASSERT_TRUE(update(message_, bytes_));
  EXPECT_EQ(numberOf(message_, CMSG_TYPE_PARAM), DWORD{CMSG_SIGNED});
  EXPECT_EQ(paramOf(message_, CMSG_CONTENT_PARAM), kContent);
  EXPECT_EQ(numberOf(message_, CMSG_SIGNER_COUNT_PARAM), 1U);
  EXPECT_EQ(numberOf(message_, CMSG_CERT_COUNT_PARAM), 1U);
  EXPECT_EQ(numberOf(message_, CMSG_CRL_COUNT_PARAM), 0U);
  EXPECT_EQ(numberOf(message_, CMSG_VERSION_PARAM), 1U);
  EXPECT_EQ(paramOf(message_, CMSG_CERT_PARAM), subject().signer);
  const std::vector<BYTE> inner = paramOf(message_, CMSG_INNER_CONTENT_TYPE_PARAM);
  EXPECT_EQ(std::string(inner.begin(), inner.end()), std::string(szOID_RSA_data) + '\0');
}

TEST_F(ContractDecode, GivesRecordsInOnePiece) {
  ASSERT_TRUE(update(message_, bytes_));
  std::vector<BYTE> record = paramOf(message_, CMSG_SIGNER_INFO_PARAM);
  const auto& info = *reinterpret_cast<const CMSG_SIGNER_INFO*>(record.data());
  const CERT_INFO& expected = *signer_.get()->pCertInfo;
  ASSERT_EQ(info.Issuer.cbData, expected.Issuer.cbData);
  EXPECT_EQ(std::memcmp(info.Issuer.pbData, expected.Issuer.pbData, info.Issuer.cbData), 0);
  EXPECT_STREQ(info.HashAlgorithm.pszObjId, szOID_NIST_sha256);
  EXPECT_EQ(info.AuthAttrs.cAttr, 0U);
  EXPECT_EQ(info.AuthAttrs.rgAttr, nullptr);
  EXPECT_TRUE(info.Issuer.pbData > record.data() &&
              info.Issuer.pbData < record.data() + record.size());

  const std::vector<BYTE> named = paramOf(message_, CMSG_SIGNER_CERT_INFO_PARAM);
  EXPECT_TRUE(CertCompareCertificate(
      kBoth,
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the interface reads only
      const_cast<CERT_INFO*>(reinterpret_cast<const CERT_INFO*>(named.data())),
      signer_.get()->pCertInfo));
}

TEST_F(ContractDecode, SaysWhatItDoesNotHold) {
  ASSERT_TRUE(update(message_, bytes_));
  EXPECT_REFUSED(ask(message_, CMSG_SIGNER_AUTH_ATTR_PARAM), CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_REFUSED(ask(message_, CMSG_SIGNER_UNAUTH_ATTR_PARAM), CRYPT_E_ATTRIBUTES_MISSING);
  for (const DWORD type : {CMSG_SIGNER_INFO_PARAM, CMSG_CERT_PARAM, CMSG_ENCRYPTED_DIGEST}) {
    EXPECT_REFUSED(ask(message_, type, 1), CRYPT_E_INVALID_INDEX);
  }
  EXPECT_REFUSED(ask(message_, CMSG_CRL_PARAM, 0), CRYPT_E_INVALID_INDEX);
  for (const DWORD type :
       {CMSG_RECIPIENT_COUNT_PARAM, CMSG_HASH_DATA_PARAM, CMSG_BARE_CONTENT_PARAM}) {
    EXPECT_REFUSED(ask(message_, type), CRYPT_E_INVALID_MSG_TYPE);
  }
}

TEST_F(ContractDecode, VerifiesWithTheSignersKeyOnly) {
  ASSERT_TRUE(update(message_, bytes_));
  const auto verify = [&](CERT_INFO* info) {
    return CryptMsgControl(message_.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE, info);
  };
  CERT_INFO info = *signer_.get()->pCertInfo;
  EXPECT_TRUE(verify(&info));
  const Certificate stranger = contextOf(subject().stranger);
  EXPECT_REFUSED(verify(stranger.get()->pCertInfo), CRYPT_E_SIGNER_NOT_FOUND);
  info.SubjectPublicKeyInfo = stranger.get()->pCertInfo->SubjectPublicKeyInfo;
  EXPECT_REFUSED(verify(&info), NTE_BAD_SIGNATURE);
}

TEST_F(ContractDecode, VerifiesASignerByHisNumber) {
  ASSERT_TRUE(update(message_, bytes_));
  CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA para{};
  para.cbSize = sizeof para;
  para.dwSignerType = CMSG_VERIFY_SIGNER_CERT;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the interface reads only
  para.pvSigner = const_cast<CERT_CONTEXT*>(signer_.get());
  EXPECT_TRUE(CryptMsgControl(message_.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para));
  para.dwSignerIndex = 1;
  EXPECT_REFUSED(CryptMsgControl(message_.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE_EX, &para),
                 CRYPT_E_INVALID_INDEX);
}

TEST_F(ContractDecode, TakesOnlyControlsThatFit) {
  ASSERT_TRUE(update(message_, bytes_));
  EXPECT_REFUSED(CryptMsgControl(message_.get(), 0, 99, nullptr), CRYPT_E_CONTROL_TYPE);
  EXPECT_REFUSED(CryptMsgControl(message_.get(), 0, CMSG_CTRL_VERIFY_HASH, nullptr),
                 CRYPT_E_INVALID_MSG_TYPE);
  CMSG_CTRL_DECRYPT_PARA decrypt{};
  decrypt.cbSize = sizeof decrypt;
  EXPECT_REFUSED(CryptMsgControl(message_.get(), 0, CMSG_CTRL_DECRYPT, &decrypt),
                 CRYPT_E_INVALID_MSG_TYPE);
}

TEST_F(ContractDecode, TakesDetachedContentInPartsBehindTheMessage) {
  const std::vector<BYTE> detached = signedMessage(CMSG_DETACHED_FLAG);
  const std::vector<BYTE> head(kContent.begin(), kContent.begin() + 3);
  const std::vector<BYTE> tail(kContent.begin() + 3, kContent.end());
  const Message message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_TRUE(update(message, detached));
  EXPECT_TRUE(update(message, head, FALSE));
  EXPECT_TRUE(update(message, tail));
  EXPECT_REFUSED(update(message, tail), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(
      CryptMsgControl(message.get(), 0, CMSG_CTRL_VERIFY_SIGNATURE, signer_.get()->pCertInfo));
}

TEST_F(ContractDecode, WritesWhatWasAddedAndTakenAway) {
  ASSERT_TRUE(update(message_, bytes_));
  const Certificate stranger = contextOf(subject().stranger);
  CRYPT_INTEGER_BLOB added = {stranger.get()->cbCertEncoded, stranger.get()->pbCertEncoded};
  EXPECT_TRUE(CryptMsgControl(message_.get(), 0, CMSG_CTRL_ADD_CERT, &added));
  EXPECT_EQ(numberOf(message_, CMSG_CERT_COUNT_PARAM), 2U);
  DWORD index = 2;
  EXPECT_REFUSED(CryptMsgControl(message_.get(), 0, CMSG_CTRL_DEL_CERT, &index),
                 CRYPT_E_INVALID_INDEX);
  index = 0;
  EXPECT_TRUE(CryptMsgControl(message_.get(), 0, CMSG_CTRL_DEL_SIGNER, &index));

  const std::vector<BYTE> changed = paramOf(message_, CMSG_ENCODED_MESSAGE);
  const Message again = openDecoder();
  ASSERT_TRUE(update(again, changed));
  EXPECT_EQ(numberOf(again, CMSG_CERT_COUNT_PARAM), 2U);
  EXPECT_EQ(numberOf(again, CMSG_SIGNER_COUNT_PARAM), 0U);
}

}  // namespace
}  // namespace qx::test::decode_test
