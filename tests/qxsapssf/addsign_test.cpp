#include "tests/qxsapssf/addsign_call.h"

namespace qx::test::addsign_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kIvansCertificate = "certificate(CN=Ivan Petrov, O=Bank, C=RU,01)";

TEST_F(AddSignTest, TellsAndDoesEverythingInOrder) {
  provider().addCertificate({.pin = "1234"});
  setSigner("CN=Ivan Petrov, C=RU", "uMy", "1234");
  call.includeCertificate = 1;
  call.input = "content";
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(
      provider().journal(),
      ElementsAre(
          "trace SsfAddSign: ****************#start#****************\n",
          "trace SsfAddSign: #info# SSFformat name ('PKCS7').\n",
          "trace SsfAddSign: #info#: accept isCades='0' \n",
          "CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
          "CryptMsgUpdate(message#1, 44 bytes, 1)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
          "CryptMsgClose(message#1)",
          "trace SsfAddSign: #trace# Signer's Store = uMy.\n",
          "qxsup_mbsrtowcs(My, 3)",
          "CertOpenStore(10, 0x0, 0, 0x14000, My)",
          "trace SsfAddSign: #info#: Searched userID (CN=Ivan Petrov, C=RU)\n",
          "trace SsfAddSign: #trace# Search Signer's certificate.\n",
          "CertFindCertificateInStore(store#1, 0x10001, 0, 0x0, NULL, NULL)",
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, size)",
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, read)",
          "WideCharToMultiByte(0, 0x0, 47 characters, read)",
          "trace SsfAddSign: #trace# One of Signer's certificate found. Trying to acquire private "
          "key.\n",
          "trace SsfAddSign: #trace# Explicit pin code? IsPinExplicit = 1.\n",
          "CryptAcquireCertificatePrivateKey(certificate#1, 0x45, NULL)",
          "CryptSetProvParam(key#1, 0x20, a PIN of 4, 0)",
          "trace SsfAddSign: #trace# Set explisit pin code - Ok.\n",
          "CryptGetProvParam(key#1, 109, 8 bytes, 0x0)",
          "trace SsfAddSign: #trace# Private Key successfully acquired.\n",
          "CertAlgIdToOID(0x8021)",
          "trace SsfAddSign: #trace# Using hash alg = 1.2.643.7.1.1.2.2.\n",
          "CertCloseStore(store#1, 0x0)",
          "trace SsfAddSign: #trace#: trying to add signature to message.\n",
          "CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
          "CryptMsgUpdate(message#2, 44 bytes, 1)",
          "CryptMsgControl(message#2, 0, CMSG_CTRL_ADD_SIGNER, signer cbSize 96 CN=Ivan Petrov, "
          "O=Bank, C=RU key#1 spec 1 hash 1.2.643.7.1.1.2.2 attributes 0+0)",
          "CryptMsgControl(message#2, 0, CMSG_CTRL_ADD_CERT, certificate(CN=Ivan Petrov, O=Bank, "
          "C=RU,01))",
          "trace SsfAddSign: #info#: Signature is added to message.\n",
          "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, size)",
          "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, read)",
          "CryptMsgClose(message#2)",
          "CertFreeCertificateContext(certificate#1)",
          "trace SsfAddSign: ++++++++++++++++#success#++++++++++++++++\n"));
  EXPECT_THAT(provider().pinsSet(), ElementsAre("1234"));
  EXPECT_EQ(call.signer->result, SSF_RESULT_OK);
}

TEST_F(AddSignTest, ReturnsTheMessageWithBothSigners) {
  provider().addCertificate({});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(),
            "signed(\"content\";signer CN=Test CA, C=RU/09;signer CN=Test CA, C=RU/01)");
}

TEST_F(AddSignTest, PutsTheCertificateInOnlyWhenAsked) {
  provider().addCertificate({});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), Not(HasSubstr(kIvansCertificate)));
  EXPECT_THAT(provider().calls("CryptMsgControl"), SizeIs(1));
  call.includeCertificate = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), HasSubstr(kIvansCertificate));
}

TEST_F(AddSignTest, TestsTheLowByteOfTheBooleanOnly) {
  provider().addCertificate({});
  call.includeCertificate = 0x7F00;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), Not(HasSubstr(kIvansCertificate)));
  call.includeCertificate = 0x7F80;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), HasSubstr(kIvansCertificate));
}

TEST_F(AddSignTest, AddsToADetachedMessageWhichStaysDetached) {
  provider().addCertificate({});
  makeDetached();
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), StartsWith("signed(detached "));
  EXPECT_THAT(call.output.text(),
              HasSubstr(";signer CN=Test CA, C=RU/09;signer CN=Test CA, C=RU/01)"));
  EXPECT_THAT(provider().calls("CryptMsgOpenToDecode"),
              ElementsAre("CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                          "CryptMsgOpenToDecode(0x10001, 0x4, 0, 0, NULL, NULL)"));
  EXPECT_THAT(
      provider().calls("CryptMsgUpdate"),
      ElementsAre(
          HasSubstr("message#1, "), HasSubstr("message#2, "), HasSubstr("#2, 7 bytes, 1)")));
  EXPECT_THAT(provider().calls("CryptMsgGetParam(CMSG_CONTENT_PARAM"), SizeIs(1));
}

TEST_F(AddSignTest, AddsAThirdSignerToItsOwnOutput) {
  provider().addCertificate({});
  EXPECT_EQ(call.run(), SSF_API_OK);
  call.signedData = call.output.text();
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(),
              HasSubstr("/09;signer CN=Test CA, C=RU/01;signer CN=Test CA, C=RU/01)"));
}

TEST_F(AddSignTest, ComparesAGivenInputWithTheContent) {
  provider().addCertificate({});
  for (const auto& [input, code] : std::vector<std::pair<std::string, SAPRETURN>>{
           {"content", SSF_API_OK},
           {"contenT", SSF_API_INVALID_INPUT},
           {"conten", SSF_API_INVALID_INPUT},
           {"contents", SSF_API_INVALID_INPUT},
           {std::string("content\0", 8), SSF_API_INVALID_INPUT}}) {
    call.input = input;
    EXPECT_EQ(call.run(), code) << input;
  }
}

TEST_F(AddSignTest, RefusesAnotherInputThanTheContentBeforeItSearchesTheSigner) {
  provider().addCertificate({});
  call.input = "another";
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre("#error#: Input data is different from content data\n", kError));
  EXPECT_THAT(provider().calls("CertOpenStore"), IsEmpty());
  EXPECT_EQ(call.signer->result, 99);
}

TEST_F(AddSignTest, RefusesADetachedMessageWithoutInput) {
  provider().addCertificate({});
  makeDetached();
  call.input.clear();
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: No Input data\n", kError));
  EXPECT_EQ(call.signer->result, 99);
}

TEST_F(AddSignTest, AcceptsEveryFormatName) {
  provider().addCertificate({});
  for (const auto& [name, flag] : std::vector<std::pair<std::string, std::string>>{
           {"PKCS7", "0"}, {"PKCS7_ANY", "0"}, {"CADES", "1"}, {"PKCS7_CADES", "1"}}) {
    call.format = name;
    EXPECT_EQ(call.run(), SSF_API_OK) << name;
    EXPECT_THAT(linesFrom("#info# SSFformat name ('" + name + "').\n"),
                Contains("#info#: accept isCades='" + flag + "' \n"));
  }
}

TEST_F(AddSignTest, RefusesAnUnknownFormatFirst) {
  call.format = "pkcs7";
  call.signer = nullptr;
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart,
                          "#info# SSFformat name ('pkcs7').\n",
                          "#warn# Unknown format name ('pkcs7').\n",
                          kError));
}

TEST_F(AddSignTest, TellsNoFormatNameWithoutLength) {
  call.format.clear();
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Invalid format name lnegth (0)\n", kError));
}

TEST_F(AddSignTest, ChecksTheSignerBeforeTheMessage) {
  call.signer = nullptr;
  call.signedData.clear();
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: Empty signer structure\n", kError));
}

TEST_F(AddSignTest, ChecksTheMessageBeforeTheIdentity) {
  call.signedData.clear();
  call.signer->idLength = 0;
  expectFailure(SSF_API_INVALID_INPUT);
  call.signer->idLength = 14;
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: ostrSignedDataL <= 0\n", kError));
  EXPECT_EQ(call.signer->result, 99);
}

TEST_F(AddSignTest, RefusesASignerWithoutIdentityBeforeItDecodes) {
  call.signer->idLength = 0;
  expectFailure(SSF_API_SIGNER_ERROR);
  call.signer->idLength = 14;
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: strSigRcpIdL <= 0\n", kError));
  EXPECT_EQ(call.signer->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().calls("CryptMsg"), IsEmpty());
}

TEST_F(AddSignTest, RefusesAnIdentityOfSpacesBeforeItDecodes) {
  setSigner("  ");
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: Empty strSigRcpId\n", kError));
  EXPECT_EQ(call.signer->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().calls("CryptMsg"), IsEmpty());
}

/// What the flat arguments can hold beyond a call's strings.
SAPRETURN callWith(AddSignCall& call,
                   SAP_B8* signedData,
                   SsfOctetlen signedDataLength,
                   SAP_B8* input,
                   SsfOctetlen inputLength,
                   SAP_B8** output,
                   SsfOctetlen* outputLength) {
  return SsfAddSign(bytesOf(call.format),
                    lengthOf(call.format),
                    nullptr,
                    nullptr,
                    0,
                    signedData,
                    signedDataLength,
                    input,
                    inputLength,
                    call.signer,
                    output,
                    outputLength);
}

TEST_F(AddSignTest, RefusesNegativeLengthsAndMissingInputs) {
  provider().addCertificate({});
  SAP_B8* message = bytesOf(call.signedData);
  const SsfOctetlen length = lengthOf(call.signedData);
  SAP_B8** output = call.output.data();
  SsfOctetlen* outputLength = call.output.length();
  EXPECT_EQ(callWith(call, message, -1, nullptr, 0, output, outputLength), SSF_API_INVALID_INPUT);
  EXPECT_EQ(callWith(call, message, length, bytesOf(call.format), -1, output, outputLength),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(callWith(call, nullptr, length, nullptr, 0, output, outputLength),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(callWith(call, message, length, nullptr, 7, output, outputLength),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.bytes(), nullptr);
  EXPECT_EQ(call.output.size(), 0);
}

TEST_F(AddSignTest, RefusesMissingOutputs) {
  SAP_B8* message = bytesOf(call.signedData);
  const SsfOctetlen length = lengthOf(call.signedData);
  *call.output.length() = 5;
  EXPECT_EQ(callWith(call, message, length, nullptr, 0, nullptr, call.output.length()),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(callWith(call, message, length, nullptr, 0, call.output.data(), nullptr),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.bytes(), nullptr);
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

TEST_F(AddSignTest, RefusesWhatIsNoMessage) {
  provider().addCertificate({});
  call.signedData = "no message";
  expectFailure(SSF_API_DECODE_ERROR);
  EXPECT_THAT(linesAfterOpening(), ElementsAre(errorLine(CRYPT_E_ASN1_BADTAG), kError));
}

struct DecodingFailure {
  const char* call;
  DWORD lastError;
  SAPRETURN code;
};

class AddSignDecodingFailure : public AddSignTest,
                               public ::testing::WithParamInterface<DecodingFailure> {};

TEST_P(AddSignDecodingFailure, IsReportedAndTheSignerNotSearched) {
  provider().addCertificate({});
  provider().failFirst(GetParam().call, GetParam().lastError);
  expectFailure(GetParam().code);
  EXPECT_THAT(linesAfterOpening(), ElementsAre(errorLine(GetParam().lastError), kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(GetParam().lastError)));
  EXPECT_THAT(provider().calls("CertOpenStore"), IsEmpty());
  EXPECT_EQ(call.signer->result, 99);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    AddSignDecodingFailure,
    ::testing::Values(
        DecodingFailure{"CryptMsgOpenToDecode", 0x80090016, SSF_API_NO_PROVIDER},
        DecodingFailure{"CryptMsgUpdate", 0x80091004, SSF_API_DECODE_ERROR},
        DecodingFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size", 8, SSF_API_DECODE_ERROR},
        DecodingFailure{
            "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read", 234, SSF_API_DECODE_ERROR}));

struct AddingFailure {
  const char* call;
  unsigned n;
  SAPRETURN code;
  std::vector<std::string> lines;  // behind the pair
};

class AddSignAddingFailure : public AddSignTest,
                             public ::testing::WithParamInterface<AddingFailure> {
 protected:
  void SetUp() override {
    AddSignTest::SetUp();
    provider().addCertificate({});
    call.includeCertificate = 1;
    makeDetached();
    provider().failNth(GetParam().call, GetParam().n, 0x80091004);
  }
};

TEST_P(AddSignAddingFailure, IsReportedAndReleasesEverything) {
  expectFailure(GetParam().code);
  std::vector<std::string> lines = linesFrom(kReopening);
  std::erase(lines, "#info#: Signature is added to message.\n");
  std::vector<std::string> expected{kReopening, errorLine(0x80091004)};
  expected.insert(expected.end(), GetParam().lines.begin(), GetParam().lines.end());
  expected.emplace_back(kError);
  EXPECT_EQ(lines, expected);
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80091004)));
  EXPECT_EQ(call.signer->result, SSF_RESULT_OK);
  EXPECT_EQ(provider().failuresSeen(), 1U);
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    AddSignAddingFailure,
    ::testing::Values(AddingFailure{"CryptMsgOpenToDecode", 2, SSF_API_NO_PROVIDER, {}},
                      AddingFailure{"CryptMsgUpdate(message#2", 1, SSF_API_INVALID_INPUT, {}},
                      AddingFailure{"CryptMsgUpdate(message#2", 2, SSF_API_INVALID_INPUT, {}},
                      AddingFailure{"CryptMsgControl",
                                    1,
                                    SSF_API_ENCODE_ERROR,
                                    {"#error#: Failed to add signer to message.\n"}},
                      AddingFailure{"CryptMsgControl",
                                    2,
                                    SSF_API_ENCODE_ERROR,
                                    {"#error#: Failed to add certificate to message.\n"}},
                      AddingFailure{"CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, size",
                                    1,
                                    SSF_API_ENCODE_ERROR,
                                    {"#error#: Failed to extract encoded message size.\n"}},
                      AddingFailure{"CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, read",
                                    1,
                                    SSF_API_ENCODE_ERROR,
                                    {"#error#: Failed to extract encoded message.\n"}},
                      AddingFailure{"CryptMsgClose(message#2", 1, SSF_API_ENCODE_ERROR, {}}));

TEST_F(AddSignTest, ReportsAFailedControlBeforeAnythingIsReleased) {
  provider().addCertificate({});
  provider().failFirst("CryptMsgControl", 0x80091002);
  expectFailure(SSF_API_ENCODE_ERROR);
  const auto& journal = provider().journal();
  const auto failed = std::ranges::find_if(journal, [](const std::string& line) {
    return line.starts_with("CryptMsgControl") && line.ends_with("-> FAILED 80091002");
  });
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(std::vector<std::string>(failed + 1, journal.end()),
              ElementsAre("trace SsfAddSign: #error#: 80091002\n",
                          "FormatMessageA(0x1300, NULL, 80091002, 0, 0, NULL)",
                          "trace PrintString: Text of error 80091002. \r\n",
                          StartsWith("LocalFree("),
                          "trace SsfAddSign: #error#: Failed to add signer to message.\n",
                          "CertFreeCertificateContext(certificate#1)",
                          "CryptMsgClose(message#2)",
                          "trace SsfAddSign: !!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n"));
}

TEST_F(AddSignTest, IgnoresThatTheFirstMessageDoesNotClose) {
  provider().addCertificate({});
  provider().failFirst("CryptMsgClose(message#1", 6);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(provider().failuresSeen(), 1U);
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(AddSignTest, RefusesSizesThatALengthCannotTell) {
  provider().addCertificate({});
  provider().claimSize("CryptMsgGetParam(CMSG_CONTENT_PARAM", 0x80000000);
  expectFailure(SSF_API_DECODE_ERROR);
  provider().reset();
  provider().addCertificate({});
  call.signedData = provider().addMessage(toy);
  provider().claimSize("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", 0x80000000);
  expectFailure(SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesOf("SsfAddSign"), Contains("#error#: Failed to extract encoded message.\n"));
}

TEST_F(AddSignTest, FailsWithoutHarmWhenSizesChangeBetweenTheReads) {
  provider().addCertificate({});
  provider().sizeChanges("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", 1);
  expectFailure(SSF_API_ENCODE_ERROR);
  provider().reset();
  provider().addCertificate({});
  call.signedData = provider().addMessage(toy);
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", -1);
  call.input = "content";
  expectFailure(SSF_API_INVALID_INPUT);
}

TEST_F(AddSignTest, WritesNothingWhileTracingIsOff) {
  provider().setTraceMask(0xF7);
  provider().addCertificate({});
  provider().failFirst("CryptMsgControl", 0x80091002);
  EXPECT_EQ(call.run(), SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesOf("SsfAddSign"), IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 1U);  // for the message of the failed call
}

TEST_F(AddSignTest, EndsWithFourWhereverMemoryIsShort) {
  provider().addCertificate({.pin = kLongPin});
  setSigner("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
  call.input = "content";
  expectNoMemory(call, 9);
}

}  // namespace
}  // namespace qx::test::addsign_test
