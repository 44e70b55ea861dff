#include "provider/chain/trust_error.h"

#include <gtest/gtest.h>

#include "platform/cert_chain.h"

namespace qx::trust_error_test {
namespace {

TEST(TrustError, IsNoneForAGoodChain) {
  EXPECT_TRUE(trustError(CERT_TRUST_NO_ERROR));
}

TEST(TrustError, NamesTheFault) {
  EXPECT_EQ(trustError(CERT_TRUST_IS_NOT_TIME_VALID).error(), CERT_E_EXPIRED);
  EXPECT_EQ(trustError(CERT_TRUST_IS_REVOKED).error(), CRYPT_E_REVOKED);
  EXPECT_EQ(trustError(CERT_TRUST_IS_NOT_VALID_FOR_USAGE).error(), CERT_E_WRONG_USAGE);
  EXPECT_EQ(trustError(CERT_TRUST_INVALID_BASIC_CONSTRAINTS).error(), TRUST_E_BASIC_CONSTRAINTS);
  EXPECT_EQ(trustError(CERT_TRUST_HAS_NOT_SUPPORTED_CRITICAL_EXT).error(), CERT_E_CRITICAL);
  EXPECT_EQ(trustError(CERT_TRUST_INVALID_POLICY_CONSTRAINTS).error(), CERT_E_INVALID_POLICY);
  EXPECT_EQ(trustError(CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT).error(), CERT_E_INVALID_NAME);
  EXPECT_EQ(trustError(CERT_TRUST_REVOCATION_STATUS_UNKNOWN).error(), CRYPT_E_NO_REVOCATION_CHECK);
}

TEST(TrustError, TellsAServerThatDidNotAnswerFromAStatusThatNobodyKnows) {
  EXPECT_EQ(
      trustError(CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION).error(),
      CRYPT_E_REVOCATION_OFFLINE);
}

TEST(TrustError, PutsTheWorstFaultFirst) {
  EXPECT_EQ(trustError(CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_IS_UNTRUSTED_ROOT |
                       CERT_TRUST_IS_NOT_TIME_VALID)
                .error(),
            TRUST_E_CERT_SIGNATURE);
  EXPECT_EQ(trustError(CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_REVOKED).error(),
            CERT_E_CHAINING);
  EXPECT_EQ(trustError(CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_REVOKED).error(),
            CERT_E_UNTRUSTEDROOT);
  EXPECT_EQ(trustError(CERT_TRUST_IS_REVOKED | CERT_TRUST_IS_NOT_TIME_VALID).error(),
            CRYPT_E_REVOKED);
}

// Nothing unknown passes: every bit that could be set is an error.
TEST(TrustError, HasACodeForEveryBit) {
  for (unsigned bit = 0; bit < 32; ++bit) {
    EXPECT_FALSE(trustError(1U << bit)) << bit;
  }
  EXPECT_EQ(trustError(CERT_TRUST_IS_EXPLICIT_DISTRUST).error(), TRUST_E_FAIL);
}

}  // namespace
}  // namespace qx::trust_error_test
