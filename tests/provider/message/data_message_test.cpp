#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tests/provider/message/messages.h"

namespace qx::test::data_message_test {
namespace {

MessageHandle openData(DWORD flags = 0) {
  return MessageHandle(
      CryptMsgOpenToEncode(kEncoding, flags, CMSG_DATA, nullptr, nullptr, nullptr));
}

std::string hexParam(const MessageHandle& message, DWORD type) {
  return toHex(bytesParam(message, type));
}

TEST(DataMessage, IsOctetsInAContentInfo) {
  const MessageHandle message = openData();
  ASSERT_EQ(update(message, octets("abc")), ERROR_SUCCESS);
  EXPECT_EQ(hexParam(message, CMSG_CONTENT_PARAM), "301206092a864886f70d010701a0050403616263");
  EXPECT_EQ(hexParam(message, CMSG_BARE_CONTENT_PARAM), "0403616263");
}

TEST(DataMessage, HasASkeletonBeforeItsContent) {
  const MessageHandle message = openData();
  EXPECT_EQ(hexParam(message, CMSG_CONTENT_PARAM), "300f06092a864886f70d010701a0020400");
  EXPECT_EQ(hexParam(message, CMSG_BARE_CONTENT_PARAM), "0400");
}

TEST(DataMessage, MayBeEmpty) {
  const MessageHandle message = openData();
  ASSERT_EQ(update(message, {}), ERROR_SUCCESS);
  EXPECT_EQ(hexParam(message, CMSG_CONTENT_PARAM), "300f06092a864886f70d010701a0020400");
}

TEST(DataMessage, BorrowsItsContentAndCopiesItOnlyToTheCaller) {
  Octets content = octets("abc");
  const MessageHandle message = openData();
  ASSERT_EQ(updateBorrowed(message, content), ERROR_SUCCESS);
  content[0] = 'A';
  EXPECT_EQ(hexParam(message, CMSG_BARE_CONTENT_PARAM), "0403416263");
}

TEST(DataMessage, HasNoParametersOfOtherTypes) {
  const MessageHandle message = openData();
  ASSERT_EQ(update(message, octets("abc")), ERROR_SUCCESS);
  for (DWORD type = 0; type <= CMSG_CMS_SIGNER_INFO_PARAM + 2; ++type) {
    if (type != CMSG_CONTENT_PARAM && type != CMSG_BARE_CONTENT_PARAM) {
      EXPECT_EQ(paramError(message, type), CRYPT_E_INVALID_MSG_TYPE) << type;
    }
  }
}

TEST(DataMessage, IsTakenInOnePieceOnly) {
  const MessageHandle message = openData();
  EXPECT_EQ(update(message, octets("abc"), /*final=*/false), CRYPT_E_MSG_ERROR);
  EXPECT_EQ(update(message, octets("def")), ERROR_SUCCESS) << "the handle stays usable";
  EXPECT_EQ(update(message, octets("ghi")), CRYPT_E_MSG_ERROR);
  EXPECT_EQ(hexParam(message, CMSG_BARE_CONTENT_PARAM), "0403646566");
}

TEST(DataMessage, RefusesPartsOtherwiseWhenItIsOpenedAsDetached) {
  const MessageHandle message = openData(CMSG_DETACHED_FLAG);
  EXPECT_EQ(update(message, octets("abc"), /*final=*/false), E_INVALIDARG);
  EXPECT_EQ(update(message, octets("def")), ERROR_SUCCESS);
}

TEST(DataMessage, TakesNoRecord) {
  const CMSG_HASHED_ENCODE_INFO info{};
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_DATA, &info, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(DataMessage, IsDecodedInBothForms) {
  const Octets whole = fromHex("301206092a864886f70d010701a0050403616263");
  const MessageHandle message = decode(whole);
  EXPECT_EQ(numberParam(message, CMSG_TYPE_PARAM), CMSG_DATA);
  EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), "abc");
  EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), whole);

  const MessageHandle bare = openDecoder(0, CMSG_DATA);
  ASSERT_EQ(update(bare, fromHex("0403616263")), ERROR_SUCCESS);
  EXPECT_EQ(text(bytesParam(bare, CMSG_CONTENT_PARAM)), "abc");
  EXPECT_EQ(bytesParam(bare, CMSG_ENCODED_MESSAGE), whole);
}

TEST(DataMessage, IsDecodedFromSegments) {
  const Octets ber = fromHex(
      "3080 06092a864886f70d010701 a080 2480 04026162 2480 040163 0000 0000 0000 0000 beef");
  const MessageHandle message = decode(ber);
  EXPECT_EQ(text(bytesParam(message, CMSG_CONTENT_PARAM)), "abc");
  EXPECT_EQ(toHex(bytesParam(message, CMSG_ENCODED_MESSAGE)),
            toHex(der::Bytes(ber).first(ber.size() - 2)))
      << "as it was, without what stands behind it";
}

TEST(DataMessage, AnswersNoControl) {
  const MessageHandle message = decode(fromHex("301206092a864886f70d010701a0050403616263"));
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_HASH, nullptr), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(paramError(message, CMSG_BARE_CONTENT_PARAM), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(paramError(message, CMSG_VERSION_PARAM), CRYPT_E_INVALID_MSG_TYPE);
}

TEST(DataMessage, HasNoContentOfItsOwnToComeLater) {
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, fromHex("301206092a864886f70d010701a0050403616263")), ERROR_SUCCESS);
  EXPECT_EQ(update(message, octets("x")), CRYPT_E_MSG_ERROR);
}

TEST(DataMessage, MustBeAnOctetString) {
  EXPECT_EQ(decodeError(fromHex("301206092a864886f70d010701a0050c03616263")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(fromHex("0c03616263"), CMSG_DATA), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(decodeError(fromHex("300b06092a864886f70d010701")), CRYPT_E_ASN1_EOD);
}

}  // namespace
}  // namespace qx::test::data_message_test
