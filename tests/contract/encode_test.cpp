#include "tests/contract/message.h"

// Messages while they are made.

namespace qx::test::encode_test {
namespace {

HCRYPTMSG open(DWORD type, const void* info, DWORD encoding = kBoth) {
  return CryptMsgOpenToEncode(encoding, 0, type, info, nullptr, nullptr);
}

Message openData() {
  return Message(open(CMSG_DATA, nullptr));
}

TEST(ContractEncode, ChecksItsArgumentsInTheirOrder) {
  CMSG_SIGNED_ENCODE_INFO info{};
  EXPECT_REFUSED(open(0, nullptr, X509_ASN_ENCODING), E_INVALIDARG);
  for (const DWORD type : {DWORD{0}, CMSG_SIGNED_AND_ENVELOPED, CMSG_ENCRYPTED, DWORD{1000}}) {
    EXPECT_REFUSED(open(type, nullptr), CRYPT_E_INVALID_MSG_TYPE);
  }
  EXPECT_REFUSED(open(CMSG_DATA, &info), E_INVALIDARG);
  for (const DWORD type : {CMSG_SIGNED, CMSG_ENVELOPED, CMSG_HASHED}) {
    CMSG_ENVELOPED_ENCODE_INFO largest{};  // of size 0
    EXPECT_REFUSED(open(type, &largest), E_INVALIDARG);
  }
}

TEST(ContractEncode, ChecksItsSigners) {
  SignerRecords records;
  char* hash = std::exchange(records.signer().HashAlgorithm.pszObjId, nullptr);
  EXPECT_REFUSED(open(CMSG_SIGNED, &records.info()), CRYPT_E_UNKNOWN_ALGO);
  records.signer().HashAlgorithm.pszObjId = hash;
  records.signer().hCryptProv = 0;
  EXPECT_REFUSED(open(CMSG_SIGNED, &records.info()), E_INVALIDARG);
  records.signer().hCryptProv = records.key();
  records.signer().pCertInfo = nullptr;
  EXPECT_REFUSED(open(CMSG_SIGNED, &records.info()), E_INVALIDARG);
}

TEST(ContractEncode, ChecksTheAlgorithmsOfHashesAndEnvelopes) {
  CMSG_HASHED_ENCODE_INFO hashed{};
  hashed.cbSize = sizeof hashed;
  EXPECT_REFUSED(open(CMSG_HASHED, &hashed), CRYPT_E_UNKNOWN_ALGO);
  CMSG_ENVELOPED_ENCODE_INFO enveloped{};
  enveloped.cbSize = sizeof enveloped;
  EXPECT_REFUSED(open(CMSG_ENVELOPED, &enveloped), CRYPT_E_UNKNOWN_ALGO);
}

TEST(ContractEncode, TakesOneFinalUpdate) {
  const Message message = openData();
  EXPECT_REFUSED(update(message, kContent, FALSE), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(update(message, kContent)) << "the handle stayed usable";
  EXPECT_REFUSED(update(message, kContent), CRYPT_E_MSG_ERROR);
}

TEST(ContractEncode, TakesEmptyContentButNoLengthWithoutBytes) {
  const Message empty = openData();
  EXPECT_TRUE(CryptMsgUpdate(empty.get(), nullptr, 0, TRUE));
  const Message wrong = openData();
  EXPECT_REFUSED(CryptMsgUpdate(wrong.get(), nullptr, 1, TRUE), E_INVALIDARG);
}

TEST(ContractEncode, OfDataIsAsPublished) {
  const Message message = openData();
  const std::vector<BYTE> skeleton = {0x30,
                                      0x0F,
                                      0x06,
                                      0x09,
                                      0x2A,
                                      0x86,
                                      0x48,
                                      0x86,
                                      0xF7,
                                      0x0D,
                                      0x01,
                                      0x07,
                                      0x01,
                                      0xA0,
                                      0x02,
                                      0x04,
                                      0x00};
  EXPECT_EQ(paramOf(message, CMSG_CONTENT_PARAM), skeleton);
  EXPECT_EQ(paramOf(message, CMSG_BARE_CONTENT_PARAM), (std::vector<BYTE>{0x04, 0x00}));
  const std::vector<BYTE> content = {1, 2};
  ASSERT_TRUE(update(message, content));
  EXPECT_EQ(paramOf(message, CMSG_BARE_CONTENT_PARAM), (std::vector<BYTE>{0x04, 0x02, 1, 2}));
}

TEST(ContractEncode, AnswersOnlyWhatAnEncoderKnows) {
  SignerRecords records;
  const Message message = openSigned(records);
  for (const DWORD type : {CMSG_TYPE_PARAM, CMSG_SIGNER_INFO_PARAM, CMSG_HASH_DATA_PARAM}) {
    EXPECT_REFUSED(ask(message, type), CRYPT_E_INVALID_MSG_TYPE);
  }
  EXPECT_EQ(numberOf(message, CMSG_VERSION_PARAM), 1U);
  ASSERT_TRUE(update(message, kContent));
  EXPECT_FALSE(paramOf(message, CMSG_ENCODED_SIGNER).empty());
  EXPECT_REFUSED(ask(message, CMSG_ENCODED_SIGNER, 1), CRYPT_E_INVALID_INDEX);
}

TEST(ContractEncode, TakesNoControl) {
  SignerRecords records;
  const Message message = openSigned(records);
  DWORD index = 0;
  for (const DWORD type : {CMSG_CTRL_VERIFY_HASH, CMSG_CTRL_DEL_SIGNER, DWORD{99}}) {
    EXPECT_REFUSED(CryptMsgControl(message.get(), 0, type, &index), E_INVALIDARG);
  }
}

TEST(ContractEncode, CopiesItsRecordsAtTheOpen) {
  SignerRecords records;
  const Message message = openSigned(records);
  records.signer() = {};
  records.info() = {};
  ASSERT_TRUE(update(message, kContent));
  EXPECT_GT(paramOf(message, CMSG_CONTENT_PARAM).size(), subject().signer.size());
}

TEST(ContractEncode, OfAHashTakesItsContentInParts) {
  char hash[] = szOID_NIST_sha256;
  CMSG_HASHED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.HashAlgorithm.pszObjId = hash;
  const Message message(
      CryptMsgOpenToEncode(kBoth, CMSG_DETACHED_FLAG, CMSG_HASHED, &info, nullptr, nullptr));
  ASSERT_TRUE(message);
  EXPECT_TRUE(update(message, kContent, FALSE));
  EXPECT_TRUE(update(message, kContent));
  EXPECT_EQ(numberOf(message, CMSG_VERSION_PARAM), 0U);
  EXPECT_EQ(paramOf(message, CMSG_COMPUTED_HASH_PARAM).size(), 32U);
  EXPECT_REFUSED(ask(message, CMSG_ENCODED_SIGNER), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(ContractEncode, IsCountedAndClosedQuietly) {
  Message message = openData();
  const Message same(CryptMsgDuplicate(message.get()));
  EXPECT_EQ(same.get(), message.get());
  EXPECT_QUIET(CryptMsgClose(message.release()));
  EXPECT_TRUE(update(same, kContent)) << "one reference is left";
  EXPECT_QUIET(CryptMsgClose(nullptr));
}

}  // namespace
}  // namespace qx::test::encode_test
