#include <gtest/gtest.h>

#include "provider/der/writer.h"
#include "tests/provider/cades/cades_builder.h"
#include "tests/provider/cades/cades_verdict.h"

namespace qx::test {
namespace {

using lab::kDay;
using lab::KeyKind;

constexpr auto kYear = 365 * kDay;

// Everything happened two years ago: the signer's certificate and the lists are long out of date.
class VerifyLong : public ::testing::Test {
 protected:
  VerifyWorld world{{.when = -2 * kYear}};
  CadesBuilder builder{world};
};

TEST_F(VerifyLong, AcceptsAGoodSignatureYearsLater) {
  const Verdict verdict = verdictOn(builder.makeLong().message());
  ASSERT_EQ(verdict.status, CADES_STATUS_GOOD) << std::hex << verdict.error;
  EXPECT_NE(verdict.info->pSignerCert, nullptr);
  EXPECT_NE(verdict.info->pSigningTime, nullptr);
  EXPECT_NE(verdict.info->pSignatureTimeStampTime, nullptr);
}

}  // namespace
}  // namespace qx::test
