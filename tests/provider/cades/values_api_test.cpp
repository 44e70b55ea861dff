#include <memory>

#include <gtest/gtest.h>

#include "platform/cades.h"

#include "provider/cades/enhance.h"
#include "provider/cades/oids.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"

namespace qx::test::values_api_test {
namespace {

const Octets kContent = octets("What is written here is signed.");

class ValuesApi : public ::testing::Test {
 protected:
  ValuesApi() : world_(&sharedWorld()), message_(decode(signBes({&world_->signer()}, kContent))) {}

  void enhance() {
    LabTimeStamps service(world_->authority());
    ASSERT_TRUE(qx::enhance(dataOf(message_), 0, service));
  }

  HCRYPTMSG handle() const { return message_.get(); }

  bool isXLong() const {
    BOOL result = 7;
    EXPECT_TRUE(CadesMsgIsType(handle(), 0, CADES_TYPE_X_LONG_1, &result));
    EXPECT_TRUE(result == TRUE || result == FALSE);
    return result == TRUE;
  }

  DWORD typeError(HCRYPTMSG message, DWORD index, DWORD type, BOOL* result) const {
    return errorOf([&] { return CadesMsgIsType(message, index, type, result); });
  }

  DWORD valuesError(HCRYPTMSG message, DWORD index) const {
    CADES_BLOB_ARRAY marker{};
    CADES_BLOB_ARRAY* values = &marker;
    const DWORD error =
        errorOf([&] { return CadesMsgGetCertificateValues(message, index, &values); });
    EXPECT_EQ(values, nullptr);
    return error;
  }

  EnhanceWorld* world_;
  MessageHandle message_;
};

TEST_F(ValuesApi, TellsXLongByItsSixAttributes) {
  EXPECT_FALSE(isXLong());
  enhance();
  EXPECT_TRUE(isXLong());
  const Octets whole = changedMessage(message_);
  for (DWORD missing = 0; missing < 6; ++missing) {
    const MessageHandle five = decode(whole);
    ASSERT_EQ(removeUnsigned(five, 0, missing), ERROR_SUCCESS);
    BOOL result = TRUE;
    EXPECT_TRUE(CadesMsgIsType(five.get(), 0, CADES_TYPE_X_LONG_1, &result));
    EXPECT_EQ(result, FALSE) << missing;
  }
}

TEST_F(ValuesApi, KnowsNoOtherTypes) {
  BOOL result = 7;
  EXPECT_EQ(typeError(handle(), 0, 0x01, &result), ERROR_NOT_SUPPORTED);
  EXPECT_EQ(result, 7);
}

TEST_F(ValuesApi, RefusesWhatIsNoSigner) {
  BOOL result = FALSE;
  EXPECT_EQ(typeError(nullptr, 0, CADES_TYPE_X_LONG_1, &result), ERROR_INVALID_HANDLE);
  EXPECT_EQ(typeError(handle(), 1, CADES_TYPE_X_LONG_1, &result), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(typeError(handle(), 0, CADES_TYPE_X_LONG_1, nullptr), E_INVALIDARG);
  EXPECT_EQ(valuesError(nullptr, 0), ERROR_INVALID_HANDLE);
  EXPECT_EQ(valuesError(handle(), 1), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(errorOf([&] { return CadesMsgGetCertificateValues(handle(), 0, nullptr); }),
            E_INVALIDARG);
}

TEST_F(ValuesApi, RefusesMessagesThatAreBeingMade) {
  const MessageHandle encoder = openBes({&world_->signer()});
  BOOL result = FALSE;
  EXPECT_EQ(typeError(encoder.get(), 0, CADES_TYPE_X_LONG_1, &result), CRYPT_E_INVALID_MSG_TYPE);
  EXPECT_EQ(valuesError(encoder.get(), 0), CRYPT_E_INVALID_MSG_TYPE);
}

TEST_F(ValuesApi, GivesTheCertificatesAsTheyAreEncoded) {
  enhance();
  CADES_BLOB_ARRAY* values = nullptr;
  ASSERT_TRUE(CadesMsgGetCertificateValues(handle(), 0, &values));
  const std::unique_ptr<CADES_BLOB_ARRAY, decltype(&CadesFreeBlobArray)> owned(values,
                                                                               CadesFreeBlobArray);
  ASSERT_EQ(values->cBlob, 4U);
  const std::vector<const X509*> expected = {world_->signer().certificate(),
                                             world_->issuer().certificate(),
                                             world_->root().certificate(),
                                             world_->authority().certificate()};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const CRYPT_DATA_BLOB& blob = values->pBlobs[i];
    EXPECT_EQ(toHex({blob.pbData, blob.cbData}), toHex(lab::toDer(expected[i])));
  }
}

TEST_F(ValuesApi, SaysWhenThereAreNone) {
  EXPECT_EQ(valuesError(handle(), 0), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST_F(ValuesApi, GivesAnEmptyListForEmptyValues) {
  const Octets empty = *encodeAttribute(oids::kCertificateValues, {fromHex("3000")});
  ASSERT_EQ(addUnsigned(message_, 0, empty), ERROR_SUCCESS);
  CADES_BLOB_ARRAY* values = nullptr;
  ASSERT_TRUE(CadesMsgGetCertificateValues(handle(), 0, &values));
  EXPECT_EQ(values->cBlob, 0U);
  EXPECT_TRUE(CadesFreeBlobArray(values));
}

TEST_F(ValuesApi, RefusesMalformedValues) {
  const Octets malformed = *encodeAttribute(oids::kCertificateValues, {fromHex("30020500")});
  ASSERT_EQ(addUnsigned(message_, 0, malformed), ERROR_SUCCESS);
  EXPECT_EQ(valuesError(handle(), 0), CRYPT_E_ASN1_BADTAG);
}

}  // namespace
}  // namespace qx::test::values_api_test
