#include "provider/openssl/errors.h"

#include <gtest/gtest.h>
#include <openssl/asn1err.h>
#include <openssl/err.h>
#include <openssl/evperr.h>

namespace qx::errors_test {
namespace {

class OpensslErrors : public ::testing::Test {
 protected:
  void SetUp() override { ERR_clear_error(); }

  void TearDown() override { ERR_clear_error(); }
};

TEST_F(OpensslErrors, OfOurCallsAreTakenBack) {
  {
    const ErrorQueueGuard guard;
    ERR_raise(ERR_LIB_ASN1, ASN1_R_WRONG_TAG);
    ERR_raise(ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM);
    EXPECT_NE(ERR_peek_error(), 0U);
  }
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(OpensslErrors, OfTheHostStay) {
  ERR_raise(ERR_LIB_EVP, EVP_R_NO_KEY_SET);
  const unsigned long theirs = ERR_peek_last_error();
  {
    const ErrorQueueGuard guard;
    ERR_raise(ERR_LIB_ASN1, ASN1_R_WRONG_TAG);
  }
  EXPECT_EQ(ERR_peek_last_error(), theirs);
  EXPECT_EQ(ERR_get_error(), theirs);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(OpensslErrors, GuardsMayStandInsideEachOther) {
  const ErrorQueueGuard outer;
  ERR_raise(ERR_LIB_EVP, EVP_R_NO_KEY_SET);
  {
    const ErrorQueueGuard inner;
    ERR_raise(ERR_LIB_ASN1, ASN1_R_WRONG_TAG);
  }
  EXPECT_EQ(ERR_GET_REASON(ERR_peek_last_error()), EVP_R_NO_KEY_SET);
}

TEST_F(OpensslErrors, BecomeLastErrorValues) {
  ERR_raise(ERR_LIB_ASN1, ASN1_R_WRONG_TAG);
  EXPECT_EQ(opensslFailure(NTE_FAIL).code, CRYPT_E_ASN1_BADTAG);
  ERR_raise(ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM);
  EXPECT_EQ(opensslFailure(NTE_FAIL).code, NTE_BAD_ALGID);
  ERR_raise(ERR_LIB_EVP, ERR_R_MALLOC_FAILURE);
  EXPECT_EQ(opensslFailure(NTE_FAIL).code, E_OUTOFMEMORY);
}

TEST_F(OpensslErrors, ThatNobodyKnowsBecomeTheCallersValue) {
  EXPECT_EQ(opensslFailure(NTE_FAIL).code, NTE_FAIL);
  ERR_raise(ERR_LIB_EVP, EVP_R_NO_KEY_SET);
  EXPECT_EQ(opensslFailure(NTE_BAD_KEY).code, NTE_BAD_KEY);
}

}  // namespace
}  // namespace qx::errors_test
