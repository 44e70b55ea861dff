#include <utility>

#include "tests/qxsapssf/cp1251_text.h"
#include "tests/qxsapssf/envelope_call.h"

namespace qx::test::envelope_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST_F(EnvelopeTest, TellsAndDoesEverythingInOrder) {
  addRecipient(1);
  addCertificate(2);
  call.recipients.add(thumbprint("02"));
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(
      provider().journal(),
      ElementsAre(
          "trace SsfEnvelope: ****************#start#****************\n",
          "qxsup_mbsrtowcs(Addressbook, 12)",
          "CertOpenStore(10, 0x0, 0, 0x14000, Addressbook)",
          "CertFindCertificateInStore(store#1, 0x10001, 0, 0x0, NULL, NULL)",
          "CertNameToStrW(0x10001, CN=Recipient 1, 0x2, size)",
          "CertNameToStrW(0x10001, CN=Recipient 1, 0x2, read)",
          "WideCharToMultiByte(0, 0x0, 20 characters, read)",
          "CertDuplicateCertificateContext(certificate#1)",
          "CertFreeCertificateContext(certificate#1)",
          "CertFindCertificateInStore(store#1, 0x10001, 0, 0x10000, " + thumbprint("02") +
              ", NULL)",
          "CertDuplicateCertificateContext(certificate#2)",
          "CertFreeCertificateContext(certificate#2)",
          "CertCloseStore(store#1, 0x0)",
          "CryptMsgOpenToEncode(0x10001, 0x0, CMSG_ENVELOPED, cbSize 64 provider 0 1.2.643.2.2.21 "
          "parameters 0 recipients (CN=Recipient 1) (CN=Recipient 2), NULL, NULL)",
          "CryptMsgUpdate(message#1, 7 bytes, 1)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
          "CertFreeCertificateContext(certificate#1)",
          "CertFreeCertificateContext(certificate#2)",
          "CryptMsgClose(message#1)",
          StartsWith("trace PrintString: "),
          "trace SsfEnvelope: ++++++++++++++++#success#++++++++++++++++\n"));
  EXPECT_THAT(call.recipients.results(), ElementsAre(SSF_RESULT_OK, SSF_RESULT_OK));
}

TEST_F(EnvelopeTest, SaysThatTheMessageIsCreated) {
  addRecipient(1);
  EXPECT_EQ(call.run(), SSF_API_OK);
  ASSERT_THAT(linesOf("PrintString"), SizeIs(1));
  EXPECT_EQ(testing_support::utf8(linesOf("PrintString").front()),
            "Зашифрованное сообщение создано.\n");
}

TEST_F(EnvelopeTest, ReturnsTheMessageThatTheEncoderMade) {
  addRecipient(1);
  addRecipient(2);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(),
            "enveloped(\"content\";recipient CN=Test CA, C=RU/01;recipient CN=Test CA, C=RU/02)");
}

TEST_F(EnvelopeTest, MakesTheSameMessageForEveryFormat) {
  addRecipient(1);
  for (const std::string_view name : {"PKCS7", "PKCS7_ANY", "CADES", "PKCS7_CADES"}) {
    call.format = name;
    EXPECT_EQ(call.run(), SSF_API_OK) << name;
    EXPECT_EQ(call.output.text(), "enveloped(\"content\";recipient CN=Test CA, C=RU/01)");
  }
  EXPECT_THAT(provider().calls("Cades"), IsEmpty());
}

TEST_F(EnvelopeTest, IsOpenedAgainByTheRecipient) {
  provider().addCertificate({}, L"Addressbook");
  provider().addCertificate({});
  addRecipient(7);
  SigRcpSsfInformation& ivan = call.recipients.add("CN=Ivan Petrov");
  EXPECT_EQ(call.run(), SSF_API_OK);
  Output content;
  EXPECT_EQ(SsfDevelope(bytesOf(call.format),
                        5,
                        *call.output.data(),
                        call.output.size(),
                        &ivan,
                        content.data(),
                        content.length()),
            SSF_API_OK);
  EXPECT_EQ(content.text(), "content");
}

struct CipherName {
  std::string name;
  SAPRETURN code;
};

class EnvelopeCipherTest : public EnvelopeTest, public ::testing::WithParamInterface<CipherName> {};

TEST_P(EnvelopeCipherTest, IsAcceptedWhenItBeginsLikeAKnownName) {
  addRecipient(1);
  call.cipher = GetParam().name;
  EXPECT_EQ(call.run(), GetParam().code);
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"),
              GetParam().code == SSF_API_OK ? SizeIs(1) : SizeIs(0));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), Each(HasSubstr(" 1.2.643.2.2.21 ")));
}

INSTANTIATE_TEST_SUITE_P(
    Names,
    EnvelopeCipherTest,
    ::testing::Values(CipherName{"GOST28147", SSF_API_OK},
                      CipherName{"GOST-28147-89", SSF_API_OK},
                      CipherName{"GOST", SSF_API_OK},
                      CipherName{"G", SSF_API_OK},
                      CipherName{"GOST-", SSF_API_OK},
                      CipherName{std::string("GOST28147\0x", 11), SSF_API_OK},
                      CipherName{std::string("GOST-28147-89\0x", 15), SSF_API_OK},
                      CipherName{"GOST28147X", SSF_API_INVALID_ENCR_ALG},
                      CipherName{"GOST-28147-89X", SSF_API_INVALID_ENCR_ALG},
                      CipherName{std::string("GOST\0", 5), SSF_API_INVALID_ENCR_ALG},
                      CipherName{"gost28147", SSF_API_INVALID_ENCR_ALG},
                      CipherName{"AES", SSF_API_INVALID_ENCR_ALG},
                      CipherName{"", SSF_API_INVALID_ENCR_ALG}));

TEST_F(EnvelopeTest, RefusesAnUnknownFormatFirst) {
  call.format = "PKCS8";
  call.input.clear();
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Unknown format name ('PKCS8').\n", kError));
}

TEST_F(EnvelopeTest, ChecksTheInputBeforeTheList) {
  call.input.clear();
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(lines(), ElementsAre("#error#: ostrInputDataL <= 0\n"));
}

TEST_F(EnvelopeTest, ChecksTheListBeforeTheCipher) {
  call.cipher = "AES";
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(lines(), ElementsAre("#error#: Empty recipient's list\n"));
}

TEST_F(EnvelopeTest, ChecksTheCipherBeforeTheStore) {
  call.recipients.add("CN=a");
  call.cipher = "AES";
  expectFailure(SSF_API_INVALID_ENCR_ALG);
  EXPECT_THAT(lines(), ElementsAre("#error#: Invalid encryption algorithm name\n"));
  EXPECT_THAT(provider().calls("CertOpenStore"), IsEmpty());
  EXPECT_THAT(call.recipients.results(), ElementsAre(99));
}

/// What the flat arguments can hold beyond a call's strings.
struct FlatArguments {
  SAP_B8* format;
  SAP_B8* cipher;
  SsfOctetlen cipherLength;
  SAP_B8* input;
  SsfOctetlen inputLength;
};

SAPRETURN callWith(EnvelopeCall& call,
                   const FlatArguments& arguments,
                   SAP_B8** output,
                   SsfOctetlen* outputLength) {
  return SsfEnvelope(arguments.format,
                     5,
                     arguments.cipher,
                     arguments.cipherLength,
                     arguments.input,
                     arguments.inputLength,
                     nullptr,
                     -1,
                     nullptr,
                     -1,
                     call.recipients.list,
                     output,
                     outputLength);
}

TEST_F(EnvelopeTest, RefusesNegativeLengthsAndMissingStrings) {
  addRecipient(1);
  SAP_B8* format = bytesOf(call.format);
  SAP_B8* cipher = bytesOf(call.cipher);
  SAP_B8* input = bytesOf(call.input);
  const auto codeOf = [&](const FlatArguments& arguments) {
    return callWith(call, arguments, call.output.data(), call.output.length());
  };
  EXPECT_EQ(codeOf({nullptr, cipher, 9, input, 7}), SSF_API_INVALID_FORMAT);
  EXPECT_EQ(codeOf({format, cipher, 9, input, -1}), SSF_API_INVALID_INPUT);
  EXPECT_EQ(codeOf({format, cipher, 9, nullptr, 7}), SSF_API_INVALID_INPUT);
  EXPECT_EQ(codeOf({format, cipher, -1, input, 7}), SSF_API_INVALID_ENCR_ALG);
  EXPECT_EQ(codeOf({format, nullptr, 9, input, 7}), SSF_API_INVALID_ENCR_ALG);
  EXPECT_TRUE(call.output.isUntouched());
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(codeOf({format, cipher, 9, input, 7}), SSF_API_OK);
}

TEST_F(EnvelopeTest, RefusesMissingOutputs) {
  addRecipient(1);
  const FlatArguments arguments{
      bytesOf(call.format), bytesOf(call.cipher), 9, bytesOf(call.input), 7};
  *call.output.length() = 5;
  EXPECT_EQ(callWith(call, arguments, nullptr, call.output.length()), SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(callWith(call, arguments, call.output.data(), nullptr), SSF_API_INVALID_INPUT);
  EXPECT_TRUE(call.output.isUntouched());
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

struct EncodingFailure {
  const char* call;
  SAPRETURN code;
};

class EnvelopeEncodingFailure : public EnvelopeTest,
                                public ::testing::WithParamInterface<EncodingFailure> {};

TEST_P(EnvelopeEncodingFailure, IsReportedAndReleasesEverything) {
  addRecipient(1);
  addRecipient(2);
  provider().failFirst(GetParam().call, 0x80091004);
  expectFailure(GetParam().code);
  EXPECT_THAT(lines(), ElementsAre(errorLine(0x80091004)));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80091004)));
  EXPECT_THAT(call.recipients.results(), Each(SSF_RESULT_OK));
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    EnvelopeEncodingFailure,
    ::testing::Values(
        EncodingFailure{"CryptMsgOpenToEncode", SSF_API_NO_PROVIDER},
        EncodingFailure{"CryptMsgUpdate", SSF_API_NO_PROVIDER},
        EncodingFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size", SSF_API_ENCODE_ERROR},
        EncodingFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read", SSF_API_ENCODE_ERROR}));

TEST_F(EnvelopeTest, ReportsAFailedCallBeforeAnythingIsReleased) {
  addRecipient(1);
  provider().failFirst("CryptMsgUpdate", 0x80091004);
  expectFailure(SSF_API_NO_PROVIDER);
  const auto& journal = provider().journal();
  const auto failed =
      std::ranges::find(journal, "CryptMsgUpdate(message#1, 7 bytes, 1) -> FAILED 80091004");
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(std::vector<std::string>(failed + 1, journal.end()),
              ElementsAre("trace SsfEnvelope: #error#: 80091004\n",
                          "FormatMessageA(0x1300, NULL, 80091004, 0, 0, NULL)",
                          "trace PrintString: Text of error 80091004. \r\n",
                          StartsWith("LocalFree("),
                          "CryptMsgClose(message#1)",
                          "CertFreeCertificateContext(certificate#1)",
                          "trace SsfEnvelope: !!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n"));
}

TEST_F(EnvelopeTest, IgnoresThatTheMessageDoesNotClose) {
  addRecipient(1);
  provider().failFirst("CryptMsgClose", 6);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

TEST_F(EnvelopeTest, RefusesAMessageThatItsLengthCannotTell) {
  addRecipient(1);
  provider().claimSize("CryptMsgGetParam(CMSG_CONTENT_PARAM", 0x80000000);
  expectFailure(SSF_API_ENCODE_ERROR);
}

TEST_F(EnvelopeTest, FailsWithoutHarmWhenTheMessageGrowsBetweenItsReads) {
  addRecipient(1);
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", 1);
  expectFailure(SSF_API_ENCODE_ERROR);
}

TEST_F(EnvelopeTest, WritesNothingWhileTracingIsOff) {
  provider().setTraceMask(0xF7);
  addRecipient(1);
  EXPECT_EQ(call.run(), SSF_API_OK);
  call.recipients.add("=x");
  EXPECT_EQ(call.run(), SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 0U);
}

TEST_F(EnvelopeTest, EndsWithFourWhereverMemoryIsShort) {
  addRecipient(1);
  addRecipient(2);
  call.profile = "uAddressbook";
  expectNoMemory(call, 9);
}

}  // namespace
}  // namespace qx::test::envelope_test
