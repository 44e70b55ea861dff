// SsfVerify as a whole, and the verdict on several signers.
#include "qxsapssf/qxsapssf_messages.h"
#include "tests/qxsapssf/verify_call.h"

namespace qx::test::verify_test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(VerifyTest, TellsAndDoesEverythingInOrder) {
  EXPECT_EQ(verify(), SSF_API_OK);
  const std::string size = std::to_string(call.signedData.size());
  EXPECT_THAT(
      provider().journal(),
      ElementsAre(
          "trace SsfVerify: ****************#start#****************\n",
          "trace SsfVerify: #info# SSFformat name ('PKCS7').\n",
          "trace SsfVerify: #info#: accept isCades='0' \n",
          "CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
          "CryptMsgUpdate(message#1, " + size + " bytes, 1)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
          "CryptMsgGetParam(CMSG_SIGNER_COUNT_PARAM, 0, read)",
          "trace SsfVerify: #trace#: Check signer # 0\n",
          "CryptMsgGetParam(CMSG_SIGNER_INFO_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_SIGNER_INFO_PARAM, 0, read)",
          "CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_SIGNER_CERT_INFO_PARAM, 0, read)",
          "CryptMsgGetParam(CMSG_CERT_COUNT_PARAM, 0, read)",
          "CryptMsgGetParam(CMSG_CERT_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_CERT_PARAM, 0, read)",
          "CertCreateCertificateContext(0x10001, certificate(CN=Ivan Petrov, O=Bank, C=RU,01))",
          "CertCompareCertificate(0x10001, CN=Ivan Petrov, O=Bank, C=RU, CN=Test CA, C=RU)",
          "CryptMsgControl(message#1, 0, CMSG_CTRL_VERIFY_SIGNATURE_EX)",
          "trace SsfVerify: #info#: Signer's signature # 0 - OK. Verifying Signer's "
          "certificate...\n",
          "CertGetCertificateChain(default, certificate#1, now, NULL, cbSize 32 usages 0, "
          "0x40000000, NULL)",
          "CertFreeCertificateChain(chain#1)",
          std::string("trace PrintString: ") + messageRow(134).russian,
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x3, size)",
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x3, read)",
          "WideCharToMultiByte(0, 0x0, 29 characters, read)",
          "trace SsfVerify: #info#: Successed to verify Certificate (CertID=CN=Ivan Petrov, "
          "O=Bank, C=RU) for signature # 0\n",
          "CryptMsgClose(message#1)",
          "CertFreeCertificateContext(certificate#1)",
          "trace SsfVerify: ++++++++++++++++#success#++++++++++++++++\n"));
}

TEST_F(VerifyTest, ReturnsTheContentAndARecordForEachSigner) {
  addSigner(2);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "content");
  EXPECT_THAT(call.ids(), ElementsAre(kIvan, "CN=Signer 2"));
  EXPECT_THAT(call.signers.results(), Each(SSF_RESULT_OK));
  EXPECT_EQ(passwordOf(*call.signers.list->info), "certificate(CN=Ivan Petrov, O=Bank, C=RU,01)");
}

TEST_F(VerifyTest, AppendsBehindTheRecordsThatAreThere) {
  call.signers.add("CN=first");
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(call.ids(), ElementsAre("CN=first", kIvan));
  EXPECT_THAT(call.signers.results(), ElementsAre(99, SSF_RESULT_OK));
}

TEST_F(VerifyTest, ComparesTheContentWithAnInputThatIsGiven) {
  call.input = "content";
  EXPECT_EQ(verify(), SSF_API_OK);
}

TEST_F(VerifyTest, RefusesAnInputThatDiffersAndKeepsTheOutput) {
  for (const std::string input : {"contenT", "conten", "contents"}) {
    VerifyCall other;
    other.signedData = provider().addMessage(toy);
    other.input = input;
    EXPECT_EQ(other.run(), SSF_API_INVALID_INPUT);
    EXPECT_EQ(other.output.text(), "content");
    EXPECT_THAT(other.signers.results(), ElementsAre(SSF_RESULT_OK));
    const auto lines = linesOf("SsfVerify");
    EXPECT_EQ(*(lines.end() - 2), "#error#: Input data is different from content data\n");
    EXPECT_EQ(lines.back(), kError);
  }
  EXPECT_THAT(provider().calls("CryptMsgClose"), SizeIs(3));
}

TEST_F(VerifyTest, TellsADifferentInputBeforeTheVerdict) {
  toy.signers[0].signatureError = 0x80090006;
  call.input = "other";
  EXPECT_EQ(verify(), SSF_API_INVALID_INPUT);
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_NOT_OK));
}

TEST_F(VerifyTest, DoesNotCompareADetachedInput) {
  toy.isDetached = true;
  call.input = "anything";
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "anything");
}

TEST_F(VerifyTest, FailsWhenAnySignerFails) {
  addSigner(2).signatureError = 0x80090006;
  addSigner(3);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.output.text(), "content");
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK, SSF_RESULT_NOT_OK, SSF_RESULT_OK));
  EXPECT_EQ(linesOf("SsfVerify").back(), kError);
}

TEST_F(VerifyTest, FailsWhenTheLastSignerFails) {
  addSigner(2).signatureError = 0x80090006;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
}

TEST_F(VerifyTest, AcceptsALastSignerThatIsGoodAsCadesOnly) {
  addSigner(2);
  toy.certificates[1].trustError = 0x20;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(call.signers.results(), Each(SSF_RESULT_OK));
}

TEST_F(VerifyTest, RefusesAnEarlierSignerThatIsGoodAsCadesOnly) {
  addSigner(2);
  toy.certificates[0].trustError = 0x20;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.signers.results(), Each(SSF_RESULT_OK));
}

TEST_F(VerifyTest, ReleasesTheCertificateOfEachSignerBeforeTheNext) {
  addSigner(2);
  EXPECT_EQ(verify(), SSF_API_OK);
  const auto& journal = provider().journal();
  const auto second = std::ranges::find(journal, "trace SsfVerify: #trace#: Check signer # 1\n");
  ASSERT_NE(second, journal.end());
  EXPECT_EQ(*(second - 1), "CertFreeCertificateContext(certificate#1)");
}

TEST_F(VerifyTest, ReportsResultsByHashWhenConfigured) {
  gConfig.useCertHash = 1;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.ids()[0].substr(0, 8), "11 11 11");
}

TEST_F(VerifyTest, AsksForTheChainWithTheConfiguredFlags) {
  gConfig.verifyCertFlags = 0x20000000;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertGetCertificateChain"),
              ElementsAre(HasSubstr(", 0x20000000, ")));
}

TEST_F(VerifyTest, WritesNothingWhileTracingIsOff) {
  provider().setTraceMask(0);
  toy.signers[0].signatureError = 0x80090006;
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(provider().trace(), IsEmpty());
}

TEST_F(VerifyTest, CutsALongIdentityInItsLines) {
  toy.certificates[0].subject = "CN=" + std::string(600, 'x');
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.ids()[0].size(), 603U);
  EXPECT_THAT(linesOf("SsfVerify"),
              Contains("#info#: Successed to verify Certificate (CertID=CN=" +
                       std::string(253, 'x') + ") for signature # 0\n"));
}

/// What may come of a call whose n-th platform call or allocation fails.
class VerifySweep : public VerifyTest {
 protected:
  static void check(SAPRETURN code, const VerifyCall& swept) {
    EXPECT_THAT(code, ::testing::AnyOf(SSF_API_OK, 2, 3, 4, 5, 6, 12, 13));
    EXPECT_EQ(provider().traceTexts().back(), code == SSF_API_OK ? kSuccess : kError);
    if (code == SSF_API_OK) {
      EXPECT_EQ(swept.output.text(), "content");
    }
    EXPECT_THAT(provider().leftovers(), IsEmpty());
  }

  void SetUp() override {
    VerifyTest::SetUp();
    addSigner(2).attributes = {
        {"1.2.840.113549.1.9.5", {scripted::encodedTime(scripted::fileTime(2026, 1, 1, 0, 0, 0))}}};
    toy.certificates.pop_back();  // the second signer's certificate lies in the store
    ToyCertificate stored = certificate;
    stored.subject = "CN=Signer 2";
    stored.serial = {2};
    stored.trustError = 0x20;
    toy.signers[1].cades.stampTime = scripted::fileTime(2026, 1, 1, 0, 0, 1);
  }

  /// The script of a run, which reset() forgets.
  void prepare() {
    provider().reset();
    ToyCertificate stored = certificate;
    stored.subject = "CN=Signer 2";
    stored.serial = {2};
    stored.trustError = 0x20;
    provider().addCertificate(stored, L"Addressbook");
    provider().addMessage(toy);
  }
};

TEST_F(VerifySweep, EndsInOrderWhicheverPlatformCallFails) {
  unsigned failed = 0;
  for (unsigned n = 1;; ++n) {
    prepare();
    provider().failAny(n, 0x80004005);
    VerifyCall swept;
    swept.signedData = toy.encoded();
    const SAPRETURN code = swept.run();
    if (provider().failuresSeen() == 0) {
      EXPECT_EQ(code, SSF_API_OK);
      break;
    }
    ++failed;
    check(code, swept);
  }
  EXPECT_GT(failed, 25U);
}

TEST_F(VerifySweep, EndsInOrderWhereverMemoryIsShort) {
  for (const auto& [format, isDetached] : std::vector<std::pair<std::string, bool>>{
           {"PKCS7", false}, {"PKCS7", true}, {"CADES", false}}) {
    toy.isDetached = isDetached;
    unsigned failed = 0;
    for (unsigned n = 1;; ++n) {
      prepare();
      VerifyCall swept;
      swept.format = format;
      swept.signedData = toy.encoded();
      swept.input = isDetached ? "content" : "";
      SAPRETURN code = -1;
      bool happened = false;
      {
        const scripted::AllocationFailure failure(n);
        code = SsfVerify(bytesOf(swept.format),
                         lengthOf(swept.format),
                         nullptr,
                         bytesOf(swept.signedData),
                         lengthOf(swept.signedData),
                         bytesOf(swept.input),
                         lengthOf(swept.input),
                         nullptr,
                         0,
                         nullptr,
                         0,
                         &swept.signers.list,
                         swept.output.data(),
                         swept.output.length());
        happened = failure.hasHappened();
      }
      if (!happened) {
        EXPECT_EQ(code, SSF_API_OK);
        break;
      }
      ++failed;
      check(code, swept);
    }
    EXPECT_GT(failed, 10U) << format;
  }
}

}  // namespace
}  // namespace qx::test::verify_test
