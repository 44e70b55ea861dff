// One signer of a plain message: signing time, signature, chain, and the way out through CAdES.
#include "platform/cades.h"

#include "qxsapssf/qxsapssf_messages.h"
#include "tests/qxsapssf/verify_call.h"

namespace qx::test::verify_plain_test {
namespace {

using scripted::Bytes;
using scripted::encodedTime;
using scripted::fileTime;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kSigningTimeOid = "1.2.840.113549.1.9.5";
constexpr const char* kCheck = "#trace#: Check signer # 0\n";
constexpr const char* kSignatureGood =
    "#info#: Signer's signature # 0 - OK. Verifying Signer's certificate...\n";
constexpr const char* kTryingCades =
    "#error#: Signer's certificate # 0 - Not checked. Trying to check as cades message...\n";

class VerifyPlainTest : public VerifyTest {
 protected:
  const SigRcpSsfInformation& record() const { return *call.signers.list->info; }

  void setSigningTime() {
    toy.signers[0].attributes = {
        {"1.2.3", {Bytes{1}}}, {kSigningTimeOid, {encodedTime(fileTime(2026, 11, 15, 17, 3, 41))}}};
  }
};

TEST_F(VerifyPlainTest, ReadsTheSigningTime) {
  setSigningTime();
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(profileOf(record()), EndsWith("(UTCTime: 261115170341Z)"));
  EXPECT_THAT(provider().calls("CertFindAttribute"),
              ElementsAre("CertFindAttribute(1.2.840.113549.1.9.5, 2)"));
  EXPECT_THAT(provider().calls("CryptDecodeObject"),
              ElementsAre("CryptDecodeObject(0x10001, 1.2.840.113549.1.9.5, 8 bytes, 0x0, read)"));
}

TEST_F(VerifyPlainTest, GoesOnWithoutASigningTime) {
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(profileOf(record()), "");
  EXPECT_THAT(provider().calls("CertFindAttribute"), IsEmpty());
  EXPECT_THAT(linesOf("getSigningTime"), IsEmpty());
}

TEST_F(VerifyPlainTest, GoesOnWithoutTheAttributeOrItsValue) {
  toy.signers[0].attributes = {{"1.2.3", {Bytes{1}}}};
  EXPECT_EQ(verify(), SSF_API_OK);
  addSigner(2).attributes = {{kSigningTimeOid, {}}};
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesOf("getSigningTime"), IsEmpty());
  EXPECT_THAT(provider().calls("CryptDecodeObject"), IsEmpty());
}

class SigningTimeFailure : public VerifyPlainTest,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(SigningTimeFailure, IsToldAndTheSignerIsStillChecked) {
  setSigningTime();
  provider().failFirst(GetParam(), 0x80093102);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(profileOf(record()), "");
  EXPECT_EQ(record().result, SSF_RESULT_OK);
  EXPECT_THAT(linesOf("getSigningTime"), ElementsAre(errorLine(0x80093102)));
  EXPECT_THAT(linesOf("PrintString"), Contains(errorText(0x80093102)));
}

INSTANTIATE_TEST_SUITE_P(EveryCall,
                         SigningTimeFailure,
                         ::testing::Values("CryptMsgGetParam(CMSG_SIGNER_INFO_PARAM, 0, size",
                                           "CryptMsgGetParam(CMSG_SIGNER_INFO_PARAM, 0, read",
                                           "CryptDecodeObject"));

TEST_F(VerifyPlainTest, IgnoresASignerInfoThatIsNoRecord) {
  setSigningTime();
  provider().giveNothing("CryptMsgGetParam(CMSG_SIGNER_INFO_PARAM");
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(profileOf(record()), "");
}

class CertInfoFailure : public VerifyPlainTest,
                        public ::testing::WithParamInterface<const char*> {};

TEST_P(CertInfoFailure, IsToldBeforeTheReportAndMakesAnUnknownSigner) {
  setSigningTime();
  addSigner(2);
  provider().failFirst(GetParam(), 0x80091004);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  const auto lines = linesAfterOpening();
  EXPECT_EQ(lines[0], kCheck);
  EXPECT_EQ(lines[1],
            "#error#: signer's signature # 0 - Failed. Can not get Certificate Info from "
            "signature\n");
  EXPECT_EQ(lines[2], errorLine(0x80091004));
  EXPECT_EQ(lines[3], "#trace#: Check signer # 1\n");
  EXPECT_THAT(call.ids(), ElementsAre(kUnknownSigner, "CN=Signer 2"));
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_NOCERTIFICATE, SSF_RESULT_OK));
  EXPECT_THAT(profileOf(record()), EndsWith("(UTCTime: 261115170341Z)"));
  EXPECT_EQ(passwordOf(record()), "");
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    CertInfoFailure,
    ::testing::Values("CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM, 0, size",
                      "CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM, 0, read"));

TEST_F(VerifyPlainTest, TakesACertInfoThatIsNoRecordForUnreadable) {
  provider().giveNothing("CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM");
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.ids(), ElementsAre(kUnknownSigner));
}

TEST_F(VerifyPlainTest, EndsWhenNotEvenTheUnknownSignerCanBeTold) {
  call.signedData = provider().addMessage(toy);
  addSigner(2);
  provider().failFirst("CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM", 0x80091004);
  SAPRETURN code = 0;
  {
    // The content, the signer's information, then the record.
    const scripted::AllocationFailure failure(3);
    code = SsfVerify(bytesOf(call.format),
                     lengthOf(call.format),
                     nullptr,
                     bytesOf(call.signedData),
                     lengthOf(call.signedData),
                     nullptr,
                     0,
                     nullptr,
                     0,
                     nullptr,
                     0,
                     &call.signers.list,
                     call.output.data(),
                     call.output.length());
  }
  EXPECT_EQ(code, SSF_API_SIGNER_INFO_ERROR);
  EXPECT_EQ(call.signers.list, nullptr);
  EXPECT_EQ(call.output.text(), "content");
  EXPECT_EQ(provider().traceTexts().back(), kError);
  EXPECT_THAT(linesOf("addToSignerResultList"), SizeIs(1));
}

struct SignatureError {
  DWORD error;
  SAPRETURN result;
};

class BadSignature : public VerifyPlainTest,
                     public ::testing::WithParamInterface<SignatureError> {};

TEST_P(BadSignature, IsReportedWithItsResult) {
  toy.signers[0].signatureError = GetParam().error;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kCheck,
                          errorLine(GetParam().error),
                          "#error#: Failed to verify signature # 0 with CertID=" +
                              std::string(kIvan) + "\n",
                          kError));
  EXPECT_EQ(record().result, GetParam().result);
  EXPECT_EQ(idOf(record()), kIvan);
  EXPECT_THAT(passwordOf(record()), StartsWith("certificate("));
  EXPECT_THAT(provider().calls("CertGetCertificateChain"), IsEmpty());
  const auto printed = linesOf("PrintString");
  EXPECT_EQ(printed[0], errorText(GetParam().error));
  EXPECT_EQ(printed.size(), GetParam().result == SSF_RESULT_NOCERTIFICATE ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(EveryError,
                         BadSignature,
                         ::testing::Values(SignatureError{0x80092004, 26},
                                           SignatureError{0x8009100E, 26},
                                           SignatureError{0x80090006, 27},
                                           SignatureError{0x80091007, 27},
                                           SignatureError{0x80090008, 22},
                                           SignatureError{8, 22}));

TEST_F(VerifyPlainTest, KnowsABadSignatureThatLeavesNoError) {
  provider().failFirst("CryptMsgControl", 0);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record().result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(linesAfterOpening(), Contains(errorLine(0)));
}

TEST_F(VerifyPlainTest, TellsASignerWithoutCertificate) {
  toy.certificates.clear();
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kCheck,
                          "Certificate not found\n",
                          errorLine(0x80092004),
                          "#error#: Failed to verify signature # 0 with CertID=" +
                              std::string(kUnknownSigner) + "\n",
                          kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80092004), messageRow(144).russian));
  EXPECT_EQ(idOf(record()), kUnknownSigner);
  EXPECT_EQ(record().result, SSF_RESULT_NOCERTIFICATE);
  EXPECT_THAT(provider().calls("CryptMsgControl"), IsEmpty());
}

TEST_F(VerifyPlainTest, TriesCadesWhenTheChainIsNotGood) {
  toy.certificates[0].trustError = 0x20;
  toy.signers[0].cades.status = 5;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kCheck,
                          kSignatureGood,
                          kTryingCades,
                          "#error#: VerifyCertificate (0) failed\n",
                          "#error#: Failed to verify Certificate (CertID=" + std::string(kIvan) +
                              ") for signature # 0\n",
                          kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(cadesRow(5).russian));
  EXPECT_EQ(record().result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().calls("CadesMsgVerifySignature"),
              ElementsAre("CadesMsgVerifySignature(message#1, 0, NULL)"));
}

TEST_F(VerifyPlainTest, AcceptsWhatCadesAccepts) {
  setSigningTime();
  toy.certificates[0].trustError = 0x40;
  toy.signers[0].cades.stampTime = fileTime(2026, 11, 15, 18, 0, 0);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kCheck,
                          kSignatureGood,
                          kTryingCades,
                          "#info#: VerifyCertificate (0) as Cades - Success\n",
                          kSuccess));
  EXPECT_EQ(record().result, SSF_RESULT_OK);
  EXPECT_THAT(profileOf(record()), HasSubstr("(UTCTime: 261115170341Z)"));
  EXPECT_THAT(profileOf(record()), EndsWith("(UTCTime: 261115180000Z) extracted from timestamp"));
}

TEST_F(VerifyPlainTest, PrefersTheSigningTimeOfCades) {
  setSigningTime();
  toy.certificates[0].trustError = 0x40;
  toy.signers[0].cades.signingTime = fileTime(2020, 1, 2, 3, 4, 5);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(profileOf(record()), EndsWith("(UTCTime: 200102030405Z)"));
}

TEST_F(VerifyPlainTest, ReportsACadesCallThatFails) {
  toy.certificates[0].trustError = 0x40;
  toy.signers[0].cades = {.answer = FALSE, .lastError = 120, .hasRecord = false};
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record().result, SSF_RESULT_UNKNOWN);
  EXPECT_EQ(idOf(record()), kIvan);
  EXPECT_THAT(linesAfterOpening(), Contains("#error#: VerifyCertificate (0) failed\n"));
  EXPECT_THAT(linesAfterOpening(), Contains(errorLine(120)));
}

TEST_F(VerifyPlainTest, TakesAMissingCadesRecordForAGoodStatus) {
  toy.certificates[0].trustError = 0x40;
  toy.signers[0].cades.hasRecord = false;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(record().result, SSF_RESULT_OK);
}

TEST_F(VerifyPlainTest, TriesCadesWhenTheChainCannotBeBuilt) {
  provider().failFirst("CertGetCertificateChain", 0x800B010A);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesAfterOpening(), Contains(kTryingCades));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x800B010A)));
}

TEST_F(VerifyPlainTest, TriesCadesWhenTheFailedChainLeavesNoError) {
  provider().failFirst("CertGetCertificateChain", 0);
  toy.signers[0].cades.status = 3;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), Contains(kTryingCades));
}

TEST_F(VerifyPlainTest, NumbersItsLinesByTheSigner) {
  addSigner(2);
  toy.certificates[1].trustError = 0x20;
  toy.signers[1].cades.status = 6;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), Contains("#error#: VerifyCertificate (1) failed\n"));
  EXPECT_THAT(linesAfterOpening(),
              Contains("#error#: Failed to verify Certificate (CertID=CN=Signer 2) for signature "
                       "# 1\n"));
}

/// A good signer whose record cannot be made fails the call, and the others are still checked.
TEST_F(VerifyPlainTest, FailsWhenTheRecordOfAGoodSignerIsLost) {
  addSigner(2);
  call.signedData = provider().addMessage(toy);
  unsigned lost = 0;
  for (unsigned n = 1; n < 40; ++n) {
    VerifyCall other;
    other.signedData = call.signedData;
    SAPRETURN code = 0;
    {
      const scripted::AllocationFailure failure(n);
      code = SsfVerify(bytesOf(other.format),
                       lengthOf(other.format),
                       nullptr,
                       bytesOf(other.signedData),
                       lengthOf(other.signedData),
                       nullptr,
                       0,
                       nullptr,
                       0,
                       nullptr,
                       0,
                       &other.signers.list,
                       other.output.data(),
                       other.output.length());
    }
    if (code == SSF_API_SIGNER_ERROR && other.ids() == std::vector<std::string>{"CN=Signer 2"}) {
      ++lost;
    }
  }
  EXPECT_EQ(lost, 4U);  // record, identity, certificate, list node
}

}  // namespace
}  // namespace qx::test::verify_plain_test
