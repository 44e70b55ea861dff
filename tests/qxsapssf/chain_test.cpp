#include "platform/cert_chain.h"

#include "qxsapssf/encoding.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/qxsapssf_chain.h"
#include "tests/qxsapssf/operation.h"

namespace qx::test::chain_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class VerifyCertificateTest : public OperationTest {
 protected:
  /// A context of a certificate whose chain has these error bits.
  static Certificate certificateWith(DWORD trustError) {
    ToyCertificate toy;
    toy.trustError = trustError;
    provider().otherCertificates = {toy};
    const std::string encoded = toy.encoded();
    return Certificate(CertCreateCertificateContext(kEncoding,
                                                    reinterpret_cast<const BYTE*>(encoded.data()),
                                                    static_cast<DWORD>(encoded.size())));
  }

  DWORD chainStatus = 0xFFFFFFFF;
};

TEST_F(VerifyCertificateTest, AsksForAChainAsOfNowWithTheFlagsGiven) {
  const Certificate certificate = certificateWith(0);
  EXPECT_EQ(VerifyCertificate(certificate.get(), 0x40000000, &chainStatus), 0U);
  EXPECT_EQ(chainStatus, 0U);
  EXPECT_THAT(provider().calls("CertGetCertificateChain"),
              ElementsAre("CertGetCertificateChain(default, certificate#1, now, NULL, cbSize 32 "
                          "usages 0, 0x40000000, NULL)"));
  EXPECT_THAT(provider().calls("CertFreeCertificateChain"),
              ElementsAre("CertFreeCertificateChain(chain#1)"));
}

TEST_F(VerifyCertificateTest, PassesOnEveryErrorBit) {
  const DWORD bits = CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_REVOCATION_STATUS_UNKNOWN |
                     CERT_TRUST_IS_OFFLINE_REVOCATION;
  const Certificate certificate = certificateWith(bits);
  EXPECT_EQ(VerifyCertificate(certificate.get(), 0, &chainStatus), 0U);
  EXPECT_EQ(chainStatus, bits);
}

TEST_F(VerifyCertificateTest, ReportsAChainThatCannotBeBuilt) {
  const Certificate certificate = certificateWith(0);
  provider().failFirst("CertGetCertificateChain", 0x800B010A);
  EXPECT_EQ(VerifyCertificate(certificate.get(), 0, &chainStatus), 0x800B010AU);
  EXPECT_EQ(chainStatus, 0x40U);
  ASSERT_EQ(provider().trace().size(), 1U);
  EXPECT_EQ(provider().trace()[0].text, errorText(0x800B010A));
  EXPECT_THAT(provider().calls("CertFreeCertificateChain"), IsEmpty());
}

TEST_F(VerifyCertificateTest, SetsTheStatusAlsoWhenTheFailureLeavesNoError) {
  const Certificate certificate = certificateWith(0);
  provider().failFirst("CertGetCertificateChain", 0);
  EXPECT_EQ(VerifyCertificate(certificate.get(), 0, &chainStatus), 0U);
  EXPECT_EQ(chainStatus, 0x40U);
  EXPECT_THAT(provider().trace(), IsEmpty());
}

}  // namespace
}  // namespace qx::test::chain_test
