#include "tests/qxsapssf/develope_call.h"

namespace qx::test::develope_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST_F(DevelopeTest, TellsAndDoesEverythingInOrder) {
  provider().addCertificate({.pin = "1234"});
  setRecipient("CN=Ivan Petrov, C=RU", "uMy", "1234");
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().journal(),
              ElementsAre("trace SsfDevelope: ****************#start#****************\n",
                          "qxsup_mbsrtowcs(My, 3)",
                          "CertOpenStore(10, 0x0, 0, 0x14000, My)",
                          "CertFindCertificateInStore(store#1, 0x10001, 0, 0x0, NULL, NULL)",
                          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, size)",
                          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, read)",
                          "WideCharToMultiByte(0, 0x0, 47 characters, read)",
                          "CryptAcquireCertificatePrivateKey(certificate#1, 0x45, NULL)",
                          "CryptSetProvParam(key#1, 0x20, a PIN of 4, 0)",
                          "CryptGetProvParam(key#1, 109, 8 bytes, 0x0)",
                          "CertCloseStore(store#1, 0x0)",
                          "CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                          "CryptMsgUpdate(message#1, 80 bytes, 1)",
                          "CryptMsgGetParam(CMSG_RECIPIENT_COUNT_PARAM, 0, read)",
                          "CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 0, size)",
                          "CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 0, read)",
                          "CertCompareCertificateName(CN=Test CA, C=RU, CN=Test CA, C=RU)",
                          "CertCompareIntegerBlob(01, 09)",
                          "CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 1, size)",
                          "CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 1, read)",
                          "CertCompareCertificateName(CN=Test CA, C=RU, CN=Test CA, C=RU)",
                          "CertCompareIntegerBlob(01, 01)",
                          "CryptMsgControl(message#1, 0, CMSG_CTRL_DECRYPT, cbSize 24 key#1 spec 1 "
                          "recipient 1)",
                          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
                          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
                          "CryptMsgClose(message#1)",
                          "CertFreeCertificateContext(certificate#1)",
                          "trace SsfDevelope: ++++++++++++++++#success#++++++++++++++++\n"));
  EXPECT_THAT(provider().pinsSet(), ElementsAre("1234"));
  EXPECT_EQ(call.recipient->result, SSF_RESULT_OK);
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(DevelopeTest, DevelopesEmptyContentToNoBytes) {
  provider().addCertificate({});
  toy.content.clear();
  call.envelopedData = provider().addMessage(toy);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_NE(call.output.bytes(), nullptr);
  EXPECT_EQ(call.recipient->result, SSF_RESULT_OK);
}

TEST_F(DevelopeTest, AcceptsEveryFormatName) {
  provider().addCertificate({});
  for (const std::string_view name : {"PKCS7", "PKCS7_ANY", "CADES", "PKCS7_CADES"}) {
    call.format = name;
    EXPECT_EQ(call.run(), SSF_API_OK) << name;
    EXPECT_EQ(call.output.text(), "content");
  }
}

TEST_F(DevelopeTest, RefusesAnUnknownFormatFirst) {
  call.format = "PKCS";
  call.recipient = nullptr;
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Unknown format name ('PKCS').\n", kError));
}

TEST_F(DevelopeTest, ChecksTheRecipientBeforeTheMessage) {
  call.recipient = nullptr;
  call.envelopedData.clear();
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: Empty recipient structire\n", kError));
}

TEST_F(DevelopeTest, ChecksTheMessageBeforeItOpensAStore) {
  call.envelopedData.clear();
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(provider().journal(),
              ElementsAre(StartsWith("trace"),
                          "trace SsfDevelope: #error#: ostrEnvelopedDataL <= 0\n",
                          StartsWith("trace")));
  EXPECT_EQ(call.recipient->result, 99);
}

TEST_F(DevelopeTest, RefusesANegativeLengthAndAMissingMessage) {
  for (const auto& [bytes, length] : std::vector<std::pair<SAP_B8*, SsfOctetlen>>{
           {bytesOf(call.envelopedData), -1}, {nullptr, 5}}) {
    EXPECT_EQ(SsfDevelope(bytesOf(call.format),
                          5,
                          bytes,
                          length,
                          call.recipient,
                          call.output.data(),
                          call.output.length()),
              SSF_API_INVALID_INPUT);
    EXPECT_EQ(call.output.bytes(), nullptr);
    EXPECT_EQ(call.output.size(), 0);
  }
  EXPECT_THAT(provider().calls("Cert"), IsEmpty());
}

TEST_F(DevelopeTest, RefusesAMissingFormatNameAndMissingOutputs) {
  SAP_B8* message = bytesOf(call.envelopedData);
  const SsfOctetlen length = lengthOf(call.envelopedData);
  EXPECT_EQ(
      SsfDevelope(
          nullptr, 5, message, length, call.recipient, call.output.data(), call.output.length()),
      SSF_API_INVALID_FORMAT);
  *call.output.length() = 5;
  EXPECT_EQ(
      SsfDevelope(
          bytesOf(call.format), 5, message, length, call.recipient, nullptr, call.output.length()),
      SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(
      SsfDevelope(
          bytesOf(call.format), 5, message, length, call.recipient, call.output.data(), nullptr),
      SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.bytes(), nullptr);
}

TEST_F(DevelopeTest, RefusesWhatIsNoMessage) {
  provider().addCertificate({});
  call.envelopedData = "no message";
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(linesOf("SsfDevelope"), ElementsAre(kStart, errorLine(CRYPT_E_ASN1_BADTAG), kError));
  EXPECT_EQ(call.recipient->result, SSF_RESULT_OK);
}

TEST_F(DevelopeTest, RefusesAMessageForOthers) {
  provider().addCertificate({});
  toy.recipients = {{.serial = {9}}, {.issuer = "CN=Other CA", .serial = {1}}};
  call.envelopedData = provider().addMessage(toy);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_EQ(call.recipient->result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(linesOf("SsfDevelope"), ElementsAre(kStart, StartsWith("#error#: "), kError));
  EXPECT_THAT(provider().calls("CertCompareIntegerBlob"), ElementsAre(HasSubstr("(01, 09)")));
  EXPECT_THAT(provider().calls("CryptMsgControl"), IsEmpty());
}

TEST_F(DevelopeTest, RefusesAMessageForNobody) {
  provider().addCertificate({});
  toy.recipients.clear();
  call.envelopedData = provider().addMessage(toy);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_EQ(call.recipient->result, SSF_RESULT_NOT_OK);
}

TEST_F(DevelopeTest, TakesTheFirstEntryOfTwoThatMatch) {
  provider().addCertificate({});
  toy.recipients = {{.serial = {1}}, {.serial = {1}}};
  call.envelopedData = provider().addMessage(toy);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptMsgControl"), ElementsAre(HasSubstr(" recipient 0)")));
  EXPECT_THAT(provider().calls("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM"), SizeIs(2));
}

TEST_F(DevelopeTest, SkipsAnEntryThatTellsNothing) {
  provider().addCertificate({});
  provider().giveNothing("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 0");
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertCompareCertificateName"), SizeIs(1));
}

struct DevelopeFailure {
  const char* call;
  SAPRETURN code;
  SAPRETURN result;
};

class DevelopeCallFailure : public DevelopeTest,
                            public ::testing::WithParamInterface<DevelopeFailure> {};

TEST_P(DevelopeCallFailure, IsReportedAndReleasesEverything) {
  provider().addCertificate({});
  provider().failFirst(GetParam().call, 0x80091004);
  expectFailure(GetParam().code);
  EXPECT_THAT(linesOf("SsfDevelope"), ElementsAre(kStart, errorLine(0x80091004), kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80091004)));
  EXPECT_EQ(call.recipient->result, GetParam().result);
  EXPECT_EQ(provider().failuresSeen(), 1U);
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    DevelopeCallFailure,
    ::testing::Values(
        DevelopeFailure{"CryptMsgOpenToDecode", SSF_API_NO_PROVIDER, SSF_RESULT_OK},
        DevelopeFailure{"CryptMsgUpdate", SSF_API_INVALID_INPUT, SSF_RESULT_OK},
        DevelopeFailure{"CryptMsgGetParam(CMSG_RECIPIENT_COUNT_PARAM",
                        SSF_API_INVALID_FORMAT,
                        SSF_RESULT_UNDEFINED},
        DevelopeFailure{"CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 0, size",
                        SSF_API_DECODE_ERROR,
                        SSF_RESULT_OK},
        DevelopeFailure{"CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM, 1, read",
                        SSF_API_DECODE_ERROR,
                        SSF_RESULT_OK},
        DevelopeFailure{"CryptMsgControl", SSF_API_RECIPIENT_ERROR, SSF_RESULT_NOT_OK},
        DevelopeFailure{
            "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size", SSF_API_DECODE_ERROR, SSF_RESULT_OK},
        DevelopeFailure{
            "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read", SSF_API_DECODE_ERROR, SSF_RESULT_OK}));

TEST_F(DevelopeTest, ReportsARefusedDecryptionBeforeAnythingIsReleased) {
  provider().addCertificate({});
  provider().failFirst("CryptMsgControl", 0x80090005);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  const auto& journal = provider().journal();
  const auto failed = std::ranges::find_if(
      journal, [](const std::string& line) { return line.starts_with("CryptMsgControl"); });
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(std::vector<std::string>(failed + 1, journal.end()),
              ElementsAre("trace SsfDevelope: #error#: 80090005\n",
                          "FormatMessageA(0x1300, NULL, 80090005, 0, 0, NULL)",
                          "trace PrintString: Text of error 80090005. \r\n",
                          StartsWith("LocalFree("),
                          "CryptMsgClose(message#1)",
                          "CertFreeCertificateContext(certificate#1)",
                          "trace SsfDevelope: !!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n"));
}

TEST_F(DevelopeTest, IgnoresThatTheMessageDoesNotClose) {
  provider().addCertificate({});
  provider().failFirst("CryptMsgClose", 6);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

TEST_F(DevelopeTest, RefusesContentThatItsLengthCannotTell) {
  provider().addCertificate({});
  provider().claimSize("CryptMsgGetParam(CMSG_CONTENT_PARAM", 0x80000000);
  expectFailure(SSF_API_DECODE_ERROR);
}

TEST_F(DevelopeTest, FailsWithoutHarmWhenSizesGrowBetweenTheReads) {
  provider().addCertificate({});
  provider().sizeChanges("CryptMsgGetParam(CMSG_RECIPIENT_INFO_PARAM", 1);
  expectFailure(SSF_API_DECODE_ERROR);
  provider().reset();
  provider().addCertificate({});
  call.envelopedData = provider().addMessage(toy);
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", 1);
  expectFailure(SSF_API_DECODE_ERROR);
}

TEST_F(DevelopeTest, ReturnsWhatWasReadWhenTheContentShrinksBetweenItsReads) {
  provider().addCertificate({});
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", -3);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "cont");
}

TEST_F(DevelopeTest, WritesNothingWhileTracingIsOff) {
  provider().setTraceMask(0xF7);
  EXPECT_EQ(developeAs("=x"), SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 0U);
}

TEST_F(DevelopeTest, EndsWithFourWhereverMemoryIsShort) {
  provider().addCertificate({.pin = kLongPin});
  setRecipient("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
  expectNoMemory(call, 9);
}

}  // namespace
}  // namespace qx::test::develope_test
