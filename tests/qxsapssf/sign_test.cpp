#include "platform/cert_store.h"

#include "tests/qxsapssf/sign_call.h"

namespace qx::test::sign_test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class SsfSignTest : public OperationTest {
 protected:
  /// Whatever went wrong, the outputs say so and the error banner comes last.
  void expectFailure(SAPRETURN code) {
    EXPECT_EQ(call.run(), code);
    EXPECT_EQ(call.output.bytes(), nullptr);
    EXPECT_EQ(call.output.size(), 0);
    EXPECT_EQ(provider().traceTexts().front(), kStart);
    EXPECT_EQ(provider().traceTexts().back(), kError);
    EXPECT_THAT(provider().leftovers(), IsEmpty());
  }

  /// The lines of the operation from this one to its end.
  static std::vector<std::string> linesFrom(std::string_view first) {
    const std::vector<std::string> lines = linesOf("SsfSign");
    return {std::ranges::find(lines, first), lines.end()};
  }

  /// A signer that is found by his thumbprint and has a key without PIN.
  void addSigner(BYTE number) {
    ToyCertificate certificate;
    certificate.subject = "CN=Signer " + std::to_string(number);
    certificate.serial = {number};
    certificate.thumbprint = scripted::Bytes(20, number);
    provider().addCertificate(certificate);
    std::array<char, 3> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", number);
    call.signers.add(thumbprint(digits.data()));
  }

  SignCall call;
};

TEST_F(SsfSignTest, TellsAndDoesEverythingInOrder) {
  provider().addCertificate({.pin = "1234"});
  call.signers.add("CN=Ivan Petrov, C=RU", "uMy", "1234");
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(
      provider().journal(),
      ElementsAre(
          "trace SsfSign: ****************#start#****************\n",
          "trace SsfSign: #info# SSFformat name ('PKCS7').\n",
          "trace SsfSign: #info#: accept isCades='0' \n",
          "trace SsfSign: #trace# Count of signers=1.\n",
          "trace SsfSign: #trace# Check Signer # = 0.\n",
          "trace SsfSign: #trace# Signer 0 Store = uMy.\n",
          "qxsup_mbsrtowcs(My, 3)",
          "CertOpenStore(10, 0x0, 0, 0x14000, My)",
          "trace SsfSign: #info#: Searched userID (CN=Ivan Petrov, C=RU)\n",
          "trace SsfSign: #trace# Search Signer's certificate.\n",
          "CertFindCertificateInStore(store#1, 0x10001, 0, 0x0, NULL, NULL)",
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, size)",
          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2, read)",
          "WideCharToMultiByte(0, 0x0, 47 characters, read)",
          "trace SsfSign: #trace# One of Signer's certificate found. Trying to acquire private "
          "key.\n",
          "trace SsfSign: #trace# Explicit pin code? IsPinExplicit = 1.\n",
          "CryptAcquireCertificatePrivateKey(certificate#1, 0x45, NULL)",
          "CryptSetProvParam(key#1, 0x20, a PIN of 4, 0)",
          "trace SsfSign: #trace# Set explisit pin code - Ok.\n",
          "CryptGetProvParam(key#1, 109, 8 bytes, 0x0)",
          "trace SsfSign: #trace# Private Key successfully acquired.\n",
          "CertAlgIdToOID(0x8021)",
          "trace SsfSign: #trace# Using hash alg = 1.2.643.7.1.1.2.2.\n",
          "CertCloseStore(store#1, 0x0)",
          "trace SsfSign: #trace#: trying to sign message...\n",
          "CryptMsgOpenToEncode(0x10001, 0x0, CMSG_SIGNED, cbSize 48 signer cbSize 96 CN=Ivan "
          "Petrov, O=Bank, C=RU key#1 spec 1 hash 1.2.643.7.1.1.2.2 attributes 0+0 certificates 0 "
          "crls 0, NULL, NULL)",
          "CryptMsgUpdate(message#1, 12 bytes, 1)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size)",
          "CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read)",
          "CryptMsgClose(message#1)",
          "CertFreeCertificateContext(certificate#1)",
          "trace SsfSign: ++++++++++++++++#success#++++++++++++++++\n"));
  EXPECT_THAT(provider().pinsSet(), ElementsAre("1234"));
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK));
}

TEST_F(SsfSignTest, ReturnsTheMessageThatTheEncoderMade) {
  addSigner(1);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "signed(\"data to sign\";signer CN=Test CA, C=RU/01)");
}

TEST_F(SsfSignTest, PutsTheCertificatesInWhenAsked) {
  addSigner(1);
  addSigner(2);
  call.includeCertificates = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(),
              HasSubstr(";certificate(CN=Signer 1,01);certificate(CN=Signer 2,02)"));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), Contains(HasSubstr(" certificates 2 ")));
}

TEST_F(SsfSignTest, KeepsADuplicateOfACertificateThatGoesIn) {
  addSigner(1);
  call.includeCertificates = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertDuplicateCertificateContext"), SizeIs(1));
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(2));
}

TEST_F(SsfSignTest, LeavesTheCertificatesOutOtherwise) {
  addSigner(1);
  addSigner(2);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), Not(HasSubstr("certificate(")));
  EXPECT_THAT(provider().calls("CertDuplicateCertificateContext"), IsEmpty());
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(2));
}

TEST_F(SsfSignTest, TestsTheLowByteOfABooleanOnly) {
  addSigner(1);
  call.includeCertificates = 0x100;
  call.detached = 0x7F00;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "signed(\"data to sign\";signer CN=Test CA, C=RU/01)");
}

TEST_F(SsfSignTest, LeavesTheContentOutOfADetachedMessage) {
  addSigner(1);
  call.detached = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), StartsWith("signed(detached "));
  EXPECT_THAT(call.output.text(), Not(HasSubstr("data to sign")));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), ElementsAre(HasSubstr("(0x10001, 0x4, ")));
  EXPECT_THAT(provider().calls("CryptMsgUpdate"),
              ElementsAre("CryptMsgUpdate(message#1, 12 bytes, 1)"));
}

TEST_F(SsfSignTest, NeverReadsTheNameOfAHash) {
  addSigner(1);
  std::string expected;
  for (const std::string_view name : {"SHA1", "", "no such hash"}) {
    const Output output;
    call.hashName = name;
    EXPECT_EQ(call.run(), SSF_API_OK);
    expected = expected.empty() ? call.output.text() : expected;
    EXPECT_EQ(call.output.text(), expected);
    SsfDELSsfOctetstring(call.output.data(), call.output.length());
  }
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    -7,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    call.signers.list,
                    call.output.data(),
                    call.output.length()),
            SSF_API_OK);
}

TEST_F(SsfSignTest, TellsTheWholeListAndCountsItsSigners) {
  addSigner(1);
  addSigner(2);
  addSigner(3);
  EXPECT_EQ(call.run(), SSF_API_OK);
  const auto lines = linesOf("SsfSign");
  EXPECT_THAT(lines, Contains("#trace# Count of signers=3.\n"));
  EXPECT_THAT(lines, Contains("#trace# Check Signer # = 2.\n"));
  EXPECT_THAT(call.signers.results(), ElementsAre(0, 0, 0));
}

TEST_F(SsfSignTest, RefusesAnUnknownFormatFirst) {
  call.format = "pkcs7";
  call.input.clear();
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart,
                          "#info# SSFformat name ('pkcs7').\n",
                          "#warn# Unknown format name ('pkcs7').\n",
                          kError));
}

TEST_F(SsfSignTest, TellsNoFormatNameWithoutLength) {
  call.format.clear();
  expectFailure(SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Invalid format name lnegth (0)\n", kError));
}

TEST_F(SsfSignTest, AcceptsEveryFormatName) {
  addSigner(1);
  for (const auto& [name, flag] : std::vector<std::pair<std::string, std::string>>{
           {"PKCS7", "0"}, {"PKCS7_ANY", "0"}, {"CADES", "1"}, {"PKCS7_CADES", "1"}}) {
    call.format = name;
    EXPECT_EQ(call.run(), SSF_API_OK) << name;
    EXPECT_EQ(linesOf("SsfSign").size() > 3, true);
    EXPECT_THAT(linesFrom("#info# SSFformat name ('" + name + "').\n"),
                Contains("#info#: accept isCades='" + flag + "' \n"));
    SsfDELSsfOctetstring(call.output.data(), call.output.length());
  }
}

TEST_F(SsfSignTest, ChecksTheListBeforeTheInput) {
  call.input.clear();
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesFrom("#error#: Empty signer's list\n"),
              ElementsAre("#error#: Empty signer's list\n", kError));
}

TEST_F(SsfSignTest, RefusesAnEmptyInput) {
  addSigner(1);
  call.input.clear();
  expectFailure(SSF_API_INVALID_INPUT);
  EXPECT_THAT(linesFrom("#error#: ostrInputDataL <= 0\n"),
              ElementsAre("#error#: ostrInputDataL <= 0\n", kError));
  EXPECT_THAT(call.signers.results(), ElementsAre(99));
}

TEST_F(SsfSignTest, RefusesANegativeLengthAndAMissingInput) {
  addSigner(1);
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    -1,
                    call.signers.list,
                    call.output.data(),
                    call.output.length()),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    nullptr,
                    5,
                    call.signers.list,
                    call.output.data(),
                    call.output.length()),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.bytes(), nullptr);
}

TEST_F(SsfSignTest, RefusesAMissingFormatNameAndMissingOutputs) {
  addSigner(1);
  EXPECT_EQ(SsfSign(nullptr,
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    call.signers.list,
                    call.output.data(),
                    call.output.length()),
            SSF_API_INVALID_FORMAT);
  *call.output.length() = 5;
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    call.signers.list,
                    nullptr,
                    call.output.length()),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    call.signers.list,
                    call.output.data(),
                    nullptr),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.bytes(), nullptr);
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

TEST_F(SsfSignTest, StopsAtANodeWithoutRecord) {
  addSigner(1);
  addSigner(2);
  SigRcpSsfInformationListStruct* second = call.signers.list->next;
  SigRcpSsfInformation* record = std::exchange(second->info, nullptr);
  call.includeCertificates = 1;
  expectFailure(SSF_API_NO_PROVIDER);
  second->info = record;
  EXPECT_THAT(
      linesFrom("#trace# Check Signer # = 1.\n"),
      ElementsAre(
          "#trace# Check Signer # = 1.\n", "#error#: Unintialized signer structure\n", kError));
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK, 99));
}

TEST_F(SsfSignTest, TriesEverySignerAndMakesNoMessageWithoutAll) {
  addSigner(1);
  call.signers.add("no name at all");
  addSigner(2);
  call.signers.add("=x");
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.signers.results(),
              ElementsAre(SSF_RESULT_OK, SSF_RESULT_UNKNOWN, SSF_RESULT_OK, SSF_RESULT_UNKNOWN));
  EXPECT_THAT(
      linesFrom("#error#: Invalid user's ID (=x)\n"),
      ElementsAre(
          "#error#: Invalid user's ID (=x)\n", "#error#: 2 certificates not found\n", kError));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), IsEmpty());
}

TEST_F(SsfSignTest, ReleasesTheFoundCertificatesBeforeItSaysWhatIsMissing) {
  addSigner(1);
  call.signers.add("=x");
  call.includeCertificates = 1;
  expectFailure(SSF_API_SIGNER_ERROR);
  const auto& journal = provider().journal();
  const auto line =
      std::ranges::find(journal, "trace SsfSign: #error#: 1 certificates not found\n");
  ASSERT_NE(line, journal.end());
  EXPECT_EQ(*(line - 1), "CertFreeCertificateContext(certificate#1)");
}

struct EncodingFailure {
  const char* call;
  DWORD lastError;
  SAPRETURN code;
};

class SsfSignEncodingFailure : public SsfSignTest,
                               public ::testing::WithParamInterface<EncodingFailure> {};

TEST_P(SsfSignEncodingFailure, IsReportedAndReleasesEverything) {
  addSigner(1);
  addSigner(2);
  call.includeCertificates = 1;
  provider().failFirst(GetParam().call, GetParam().lastError);
  expectFailure(GetParam().code);
  EXPECT_THAT(
      linesFrom("#trace#: trying to sign message...\n"),
      ElementsAre("#trace#: trying to sign message...\n", errorLine(GetParam().lastError), kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(GetParam().lastError)));
  EXPECT_THAT(call.signers.results(), Each(SSF_RESULT_OK));
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    SsfSignEncodingFailure,
    ::testing::Values(
        EncodingFailure{"CryptMsgOpenToEncode", 0x80090016, SSF_API_NO_PROVIDER},
        EncodingFailure{"CryptMsgUpdate", 0x80091004, SSF_API_NO_PROVIDER},
        EncodingFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size", 8, SSF_API_ENCODE_ERROR},
        EncodingFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, read", 234, SSF_API_ENCODE_ERROR},
        EncodingFailure{"CryptMsgClose", 6, SSF_API_ENCODE_ERROR}));

TEST_F(SsfSignTest, ReportsAFailedCallBeforeAnythingIsClosed) {
  addSigner(1);
  provider().failFirst("CryptMsgUpdate", 0x80091004);
  expectFailure(SSF_API_NO_PROVIDER);
  const auto& journal = provider().journal();
  const auto failed =
      std::ranges::find(journal, "CryptMsgUpdate(message#1, 12 bytes, 1) -> FAILED 80091004");
  ASSERT_NE(failed, journal.end());
  EXPECT_THAT(std::vector<std::string>(failed + 1, journal.end()),
              ElementsAre("trace SsfSign: #error#: 80091004\n",
                          "FormatMessageA(0x1300, NULL, 80091004, 0, 0, NULL)",
                          "trace PrintString: Text of error 80091004. \r\n",
                          StartsWith("LocalFree("),
                          "CryptMsgClose(message#1)",
                          "CertFreeCertificateContext(certificate#1)",
                          "trace SsfSign: !!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n"));
}

TEST_F(SsfSignTest, RefusesAMessageThatItsLengthCannotTell) {
  addSigner(1);
  provider().claimSize("CryptMsgGetParam(CMSG_CONTENT_PARAM", 0x80000000);
  expectFailure(SSF_API_ENCODE_ERROR);
}

TEST_F(SsfSignTest, FailsWithoutAHarmWhenTheMessageGrowsBetweenItsReads) {
  addSigner(1);
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", 1);
  expectFailure(SSF_API_ENCODE_ERROR);
}

TEST_F(SsfSignTest, ReturnsWhatWasReadWhenTheMessageShrinksBetweenItsReads) {
  addSigner(1);
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", -1);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "signed(\"data to sign\";signer CN=Test CA, C=RU/01");
}

TEST_F(SsfSignTest, WritesNothingWhileTracingIsOff) {
  provider().setTraceMask(0xF7);
  addSigner(1);
  call.signers.add("=x");
  EXPECT_EQ(call.run(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 0U);
}

TEST_F(SsfSignTest, CutsLongNamesInItsLines) {
  const std::string id = "CN=" + std::string(1000, 'x');
  const std::string profile(400, 'y');
  call.signers.add(id, profile);
  provider().stores.push_back({.name = std::wstring(400, L'y')});
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesOf("SsfSign"),
              Contains("#info#: Searched userID (" + id.substr(0, 256) + ")\n"));
  EXPECT_THAT(linesOf("SsfSign"),
              Contains("#trace# Signer 0 Store = " + profile.substr(0, 256) + ".\n"));
}

/// Every allocation of a call fails once.
class SsfSignMemoryTest : public SsfSignTest {
 protected:
  void sweep(SAPRETURN expected) {
    unsigned allocations = 0;
    {
      const scripted::AllocationFailure counter(0);
      EXPECT_EQ(call.run(), SSF_API_OK);
      allocations = counter.count();
    }
    ASSERT_GT(allocations, 5U);
    SsfDELSsfOctetstring(call.output.data(), call.output.length());
    for (unsigned n = 1; n <= allocations; ++n) {
      SAPRETURN code = -1;
      bool happened = false;
      {
        const scripted::AllocationFailure failure(n);
        code = call.run();
        happened = failure.hasHappened();
      }
      EXPECT_TRUE(happened) << n;
      EXPECT_EQ(code, expected) << n;
      EXPECT_EQ(call.output.bytes(), nullptr) << n;
      EXPECT_EQ(provider().traceTexts().back(), kError) << n;
    }
  }
};

TEST_F(SsfSignMemoryTest, EndsWithFourWhereverMemoryIsShort) {
  provider().addCertificate({.pin = "a long PIN of more than sixteen bytes"});
  call.signers.add("CN=Ivan Petrov, C=RU", "uMy", "a long PIN of more than sixteen bytes");
  call.signers.add("CN=Ivan Petrov, O=Bank", "", "a long PIN of more than sixteen bytes");
  call.includeCertificates = 1;
  sweep(SSF_API_NO_MEMORY);
}

}  // namespace
}  // namespace qx::test::sign_test
