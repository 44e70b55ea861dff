#include "provider/chain/faults.h"

#include <set>
#include <string>

#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

namespace qx::faults_test {
namespace {

// The first and the last fault that libcrypto 3.0 can name.
constexpr int kFirstError = X509_V_ERR_UNSPECIFIED;
constexpr int kLastError = X509_V_ERR_CA_CERT_MISSING_KEY_USAGE;

// Dates are compared beside libcrypto, which therefore may call a certificate early or late.
bool isJudgedElsewhere(int error) {
  return error == X509_V_ERR_CERT_NOT_YET_VALID || error == X509_V_ERR_CERT_HAS_EXPIRED;
}

TEST(Faults, NoneThatLibcryptoKnowsPasses) {
  for (int error = kFirstError; error <= kLastError; ++error) {
    EXPECT_EQ(meaningOf(error).bits == 0, isJudgedElsewhere(error))
        << error << ": " << X509_verify_cert_error_string(error);
  }
}

TEST(Faults, NoneThatALaterLibcryptoNamesPasses) {
  for (const int error : {kLastError + 1, 1'000, -1, 0x7FFFFFFF}) {
    EXPECT_EQ(meaningOf(error).bits, CERT_TRUST_INVALID_EXTENSION) << error;
    EXPECT_EQ(meaningOf(error).place, FaultPlace::Element) << error;
  }
}

TEST(Faults, OfSignaturesAreNeverTakenForOthers) {
  EXPECT_EQ(meaningOf(X509_V_ERR_CERT_SIGNATURE_FAILURE).bits, CERT_TRUST_IS_NOT_SIGNATURE_VALID);
  EXPECT_EQ(meaningOf(X509_V_ERR_CERT_SIGNATURE_FAILURE).place, FaultPlace::Element);
  // The issuer's key cannot be read: it is its subject that is not proved.
  EXPECT_EQ(meaningOf(X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY).place, FaultPlace::Subject);
}

TEST(Faults, OfAMissingIssuerBelongToTheChain) {
  for (const int error : {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT,
                          X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY,
                          X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE,
                          X509_V_ERR_CERT_CHAIN_TOO_LONG}) {
    EXPECT_EQ(meaningOf(error).bits, CERT_TRUST_IS_PARTIAL_CHAIN);
    EXPECT_EQ(meaningOf(error).place, FaultPlace::Chain);
  }
}

TEST(Faults, OfAnUntrustedEndBelongToTheLastCertificate) {
  for (const int error :
       {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN}) {
    EXPECT_EQ(meaningOf(error).bits, CERT_TRUST_IS_UNTRUSTED_ROOT);
    EXPECT_EQ(meaningOf(error).place, FaultPlace::Last);
  }
}

TEST(Faults, HaveOneRowEach) {
  for (int error = kFirstError; error <= kLastError; ++error) {
    const FaultMeaning& meaning = meaningOf(error);
    const bool isNamed = meaning.error == error;
    const bool isUnknown = meaning.error == X509_V_ERR_UNSPECIFIED;
    EXPECT_TRUE(isNamed || isUnknown) << error;
    EXPECT_EQ(&meaningOf(error), &meaning) << "always the same row";
  }
}

}  // namespace
}  // namespace qx::faults_test
