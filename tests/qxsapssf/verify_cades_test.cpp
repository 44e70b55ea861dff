// One signer of a CAdES message.
#include "platform/cades.h"

#include "qxsapssf/qxsapssf_messages.h"
#include "tests/qxsapssf/verify_call.h"

namespace qx::test::verify_cades_test {
namespace {

using scripted::fileTime;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class VerifyCadesTest : public VerifyTest {
 protected:
  void SetUp() override {
    VerifyTest::SetUp();
    call.format = "CADES";
  }

  const SigRcpSsfInformation& record() const { return *call.signers.list->info; }
};

TEST_F(VerifyCadesTest, LeavesEverythingToTheCadesLibrary) {
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(
      linesAfterOpening(),
      ElementsAre("#trace#: Check signer # 0\n",
                  "#info#: signer's signature # 0 - OK with CertID=" + std::string(kIvan) + "\n",
                  kSuccess));
  EXPECT_THAT(provider().calls("CadesMsgVerifySignature"),
              ElementsAre("CadesMsgVerifySignature(message#1, 0, NULL)"));
  EXPECT_THAT(provider().calls("CryptMsgControl"), IsEmpty());
  EXPECT_THAT(provider().calls("CertGetCertificateChain"), IsEmpty());
  EXPECT_THAT(provider().calls("CertDuplicateCertificateContext"), SizeIs(1));
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(VerifyCadesTest, TellsTheTimesOfTheVerification) {
  toy.signers[0].cades.signingTime = fileTime(2026, 11, 15, 17, 3, 41);
  toy.signers[0].cades.stampTime = fileTime(2026, 11, 15, 17, 4, 5);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(profileOf(record()), HasSubstr("(UTCTime: 261115170341Z)"));
  EXPECT_THAT(profileOf(record()), EndsWith("(UTCTime: 261115170405Z) extracted from timestamp"));
}

TEST_F(VerifyCadesTest, FreesTheVerificationBeforeItTellsTheOutcome) {
  EXPECT_EQ(verify(), SSF_API_OK);
  const auto& journal = provider().journal();
  const auto freed = std::ranges::find_if(journal, [](const std::string& line) {
    return line.starts_with("CadesFreeVerificationInfo(");
  });
  ASSERT_NE(freed, journal.end());
  EXPECT_THAT(*(freed + 1), HasSubstr("#info#: signer's signature # 0 - OK"));
}

struct CadesStatus {
  DWORD status;
  SAPRETURN result;
};

class BadCadesStatus : public VerifyCadesTest, public ::testing::WithParamInterface<CadesStatus> {};

TEST_P(BadCadesStatus, FailsTheSignerWithItsResult) {
  toy.signers[0].cades.status = GetParam().status;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record().result, GetParam().result);
  EXPECT_EQ(idOf(record()), kIvan);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre("#trace#: Check signer # 0\n",
                          "#error#: Failed to verify signature # 0 with CertID=" +
                              std::string(kIvan) + "\n",
                          kError));
  if (GetParam().status <= 10) {
    EXPECT_THAT(linesOf("PrintString"),
                ElementsAre(cadesRow(static_cast<int>(GetParam().status)).russian));
  }
}

INSTANTIATE_TEST_SUITE_P(EveryStatus,
                         BadCadesStatus,
                         ::testing::Values(CadesStatus{1, 28},
                                           CadesStatus{2, 26},
                                           CadesStatus{3, 28},
                                           CadesStatus{4, 28},
                                           CadesStatus{5, 22},
                                           CadesStatus{6, 22},
                                           CadesStatus{7, 22},
                                           CadesStatus{8, 27},
                                           CadesStatus{9, 28},
                                           CadesStatus{10, 28},
                                           CadesStatus{11, 28},
                                           CadesStatus{0xFFFFFFFF, 28}));

TEST_F(VerifyCadesTest, ReportsTheErrorOfTheVerificationLast) {
  toy.signers[0].cades.answer = FALSE;
  toy.signers[0].cades.status = 8;
  toy.signers[0].cades.lastError = 0x80090006;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre("#trace#: Check signer # 0\n",
                          "#error#: Failed to verify signature # 0 with CertID=" +
                              std::string(kIvan) + "\n",
                          errorLine(0x80090006),
                          kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(cadesRow(8).russian, errorText(0x80090006)));
  EXPECT_THAT(provider().calls("SetLastError"), ElementsAre("SetLastError(80090006)"));
}

TEST_F(VerifyCadesTest, ReportsAnErrorBesideABadStatus) {
  toy.signers[0].cades.status = 3;
  toy.signers[0].cades.lastError = 1234;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), Contains(errorLine(1234)));
}

TEST_F(VerifyCadesTest, FailsWithAGoodResultWhenTheCallFailsWithAGoodStatus) {
  toy.signers[0].cades.answer = FALSE;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record().result, SSF_RESULT_OK);
  EXPECT_EQ(idOf(record()), kIvan);
}

TEST_F(VerifyCadesTest, KnowsNothingOfASignerWithoutVerification) {
  provider().failFirst("CadesMsgVerifySignature", 120);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(idOf(record()), kUnknownSigner);
  EXPECT_EQ(record().result, SSF_RESULT_NOCERTIFICATE);
  EXPECT_EQ(profileOf(record()), "");
  EXPECT_THAT(linesAfterOpening(), Contains(errorLine(120)));
}

TEST_F(VerifyCadesTest, TakesAMissingVerificationForAGoodStatus) {
  toy.signers[0].cades.hasRecord = false;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(idOf(record()), kUnknownSigner);
  EXPECT_EQ(record().result, SSF_RESULT_NOCERTIFICATE);
}

TEST_F(VerifyCadesTest, NamesASignerWithoutCertificateByTheFixedName) {
  toy.signers[0].cades.certificate.reset();
  toy.signers[0].cades.status = 2;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(idOf(record()), kUnknownSigner);
  EXPECT_EQ(record().result, SSF_RESULT_NOCERTIFICATE);
}

TEST_F(VerifyCadesTest, ChecksEverySigner) {
  addSigner(2).cades.status = 8;
  addSigner(3);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.signers.results(), ElementsAre(0, 27, 0));
  EXPECT_THAT(linesAfterOpening(),
              Contains("#info#: signer's signature # 2 - OK with CertID=CN=Signer 3\n"));
}

TEST_F(VerifyCadesTest, AcceptsSeveralGoodSigners) {
  addSigner(2);
  addSigner(3);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(call.signers.results(), Each(SSF_RESULT_OK));
}

TEST_F(VerifyCadesTest, VerifiesADetachedMessage) {
  toy.isDetached = true;
  call.input = "content";
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "content");
}

}  // namespace
}  // namespace qx::test::verify_cades_test
