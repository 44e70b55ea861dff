// The opening and the checks of SsfVerify.
#include "platform/cades.h"

#include "qxsapssf/qxsapssf_messages.h"
#include "tests/qxsapssf/verify_call.h"

namespace qx::test::verify_open_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kDetached = "#info#: Detached dignature!\n";

class VerifyOpenTest : public VerifyTest {
 protected:
  /// The call ends before the content is taken: nothing is handed out.
  void expectRefusal(SAPRETURN code, const std::vector<std::string>& lines) {
    EXPECT_EQ(verify(), code);
    EXPECT_TRUE(call.output.isUntouched());
    EXPECT_EQ(call.output.size(), 0);
    EXPECT_EQ(call.signers.list, nullptr);
    std::vector<std::string> expected = lines;
    expected.emplace_back(kError);
    EXPECT_THAT(linesAfterOpening(), ElementsAreArray(expected));
    EXPECT_THAT(provider().leftovers(), IsEmpty());
  }

  /// Verifies with arguments that no string can hold.
  SAPRETURN verifyWith(SAP_B8* data, SsfOctetlen length, SAP_B8* input, SsfOctetlen inputLength) {
    return SsfVerify(bytesOf(call.format),
                     lengthOf(call.format),
                     nullptr,
                     data,
                     length,
                     input,
                     inputLength,
                     nullptr,
                     0,
                     nullptr,
                     0,
                     &call.signers.list,
                     call.output.data(),
                     call.output.length());
  }
};

TEST_F(VerifyOpenTest, RefusesAnUnknownFormat) {
  call.format = "PKCS8";
  EXPECT_EQ(verify(), SSF_API_INVALID_FORMAT);
  EXPECT_TRUE(call.output.isUntouched());
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart,
                          "#info# SSFformat name ('PKCS8').\n",
                          "#warn# Unknown format name ('PKCS8').\n",
                          kError));
}

TEST_F(VerifyOpenTest, TellsNoFormatNameWithoutLength) {
  call.format.clear();
  EXPECT_EQ(verify(), SSF_API_INVALID_FORMAT);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#warn# Invalid format name lnegth (0)\n", kError));
}

TEST_F(VerifyOpenTest, TellsTheCadesFlagOfTheFormat) {
  call.format = "PKCS7_CADES";
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesOf("SsfVerify"), Contains("#info#: accept isCades='1' \n"));
}

TEST_F(VerifyOpenTest, RefusesAnEmptyMessage) {
  call.signedData = provider().addMessage(toy);
  for (const SsfOctetlen length : {0, -1}) {
    provider().reset();
    EXPECT_EQ(verifyWith(bytesOf(call.signedData), length, nullptr, 0), SSF_API_INVALID_INPUT);
    EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: ostrSignedDataL <= 0\n", kError));
    EXPECT_TRUE(call.output.isUntouched());
  }
}

TEST_F(VerifyOpenTest, RefusesAMissingMessageAndNegativeInput) {
  EXPECT_EQ(verifyWith(nullptr, 5, nullptr, 0), SSF_API_INVALID_INPUT);
  EXPECT_EQ(verifyWith(bytesOf(certificate.subject), 5, nullptr, -1), SSF_API_INVALID_INPUT);
  EXPECT_THAT(provider().calls("CryptMsg"), IsEmpty());
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

TEST_F(VerifyOpenTest, RefusesAMissingInputOfPositiveLength) {
  call.signedData = provider().addMessage(toy);
  EXPECT_EQ(verifyWith(bytesOf(call.signedData), lengthOf(call.signedData), nullptr, 7),
            SSF_API_INVALID_INPUT);
  EXPECT_TRUE(call.output.isUntouched());
  EXPECT_EQ(call.output.size(), 0);
}

TEST_F(VerifyOpenTest, RefusesMissingOutputs) {
  call.signedData = provider().addMessage(toy);
  const auto verifyInto =
      [&](SigRcpSsfInformationListStruct** list, SAP_B8** data, SsfOctetlen* length) {
        return SsfVerify(bytesOf(call.format),
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
                         list,
                         data,
                         length);
      };
  EXPECT_EQ(verifyInto(nullptr, call.output.data(), call.output.length()), SSF_API_INVALID_INPUT);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(verifyInto(&call.signers.list, nullptr, call.output.length()), SSF_API_INVALID_INPUT);
  EXPECT_EQ(verifyInto(&call.signers.list, call.output.data(), nullptr), SSF_API_INVALID_INPUT);
  EXPECT_THAT(provider().calls("CryptMsg"), IsEmpty());
}

TEST_F(VerifyOpenTest, TakesNegativeAndMissingProfilesForEmptyOnes) {
  toy.certificates.clear();
  call.signedData = provider().addMessage(toy);
  SsfVerify(bytesOf(call.format),
            lengthOf(call.format),
            nullptr,
            bytesOf(call.signedData),
            lengthOf(call.signedData),
            nullptr,
            0,
            nullptr,
            4,
            nullptr,
            0,
            &call.signers.list,
            call.output.data(),
            call.output.length());
  EXPECT_THAT(provider().calls("CertOpenStore"), ElementsAre(HasSubstr("Addressbook")));
}

TEST_F(VerifyOpenTest, ReportsAMessageThatCannotBeOpened) {
  provider().failFirst("CryptMsgOpenToDecode", 0x80090016);
  expectRefusal(SSF_API_NO_PROVIDER, {errorLine(0x80090016)});
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80090016)));
}

TEST_F(VerifyOpenTest, RefusesWhatIsNoMessage) {
  call.signedData = "no message";
  EXPECT_EQ(call.run(), SSF_API_DECODE_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(errorLine(0x8009310B), "#error#: Invalid message format?.\n", kError));
  EXPECT_TRUE(call.output.isUntouched());
}

TEST_F(VerifyOpenTest, ReportsAFailedUpdateBeforeItsOwnLineAndBeforeItCloses) {
  provider().failFirst("CryptMsgUpdate", 0x80093102);
  expectRefusal(SSF_API_DECODE_ERROR,
                {errorLine(0x80093102), "#error#: Invalid message format?.\n"});
  const auto& journal = provider().journal();
  EXPECT_EQ(*(journal.end() - 2), "CryptMsgClose(message#1)");
}

TEST_F(VerifyOpenTest, AsksWhatAPkcs7AnyMessageIs) {
  call.format = "PKCS7_ANY";
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CadesMsgIsType"),
              ElementsAre("CadesMsgIsType(message#1, 0, 0x5d)"));
  EXPECT_THAT(linesOf("SsfVerify"),
              Contains("#info#: Checking for PKCS7_ANY format. isCades = 0\n"));
  EXPECT_THAT(provider().calls("CadesMsgVerifySignature"), IsEmpty());
}

TEST_F(VerifyOpenTest, SwitchesAPkcs7AnyMessageToCades) {
  call.format = "PKCS7_ANY";
  toy.signers[0].isCadesXLong = true;
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesOf("SsfVerify"),
              Contains("#info#: Checking for PKCS7_ANY format. isCades = 1\n"));
  EXPECT_THAT(provider().calls("CadesMsgVerifySignature"), SizeIs(1));
  EXPECT_THAT(provider().calls("CryptMsgControl"), IsEmpty());
}

TEST_F(VerifyOpenTest, StaysPlainWhenNobodyCanTell) {
  call.format = "PKCS7_ANY";
  toy.signers[0].isCadesXLong = true;
  provider().failFirst("CadesMsgIsType", 120);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_THAT(linesAfterOpening(),
              Contains("#info#: Checking for PKCS7_ANY format. isCades = 0\n"));
  EXPECT_THAT(linesAfterOpening(), Contains(errorLine(120)));
  EXPECT_THAT(provider().calls("CadesMsgVerifySignature"), IsEmpty());
}

TEST_F(VerifyOpenTest, AsksForPkcs7AnyOnly) {
  for (const std::string format : {"PKCS7", "CADES", "PKCS7_CADES"}) {
    VerifyCall other;
    other.format = format;
    other.signedData = provider().addMessage(toy);
    EXPECT_EQ(other.run(), SSF_API_OK) << format;
  }
  EXPECT_THAT(provider().calls("CadesMsgIsType"), IsEmpty());
}

TEST_F(VerifyOpenTest, VerifiesADetachedSignatureOverTheInput) {
  toy.isDetached = true;
  call.input = "content";
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "content");
  EXPECT_EQ(linesAfterOpening()[0], kDetached);
  const std::string size = std::to_string(call.signedData.size());
  EXPECT_THAT(provider().calls("CryptMsg"),
              ::testing::IsSupersetOf({"CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                                       "CryptMsgClose(message#1)",
                                       "CryptMsgOpenToDecode(0x10001, 0x4, 0, 0, NULL, NULL)"}));
  EXPECT_THAT(provider().calls("CryptMsgUpdate"),
              ElementsAre("CryptMsgUpdate(message#1, " + size + " bytes, 1)",
                          "CryptMsgUpdate(message#2, " + size + " bytes, 1)",
                          "CryptMsgUpdate(message#2, 7 bytes, 1)"));
}

TEST_F(VerifyOpenTest, ClosesTheFirstMessageBeforeItOpensTheSecond) {
  toy.isDetached = true;
  call.input = "content";
  EXPECT_EQ(verify(), SSF_API_OK);
  const auto& journal = provider().journal();
  const auto reopened =
      std::ranges::find(journal, "CryptMsgOpenToDecode(0x10001, 0x4, 0, 0, NULL, NULL)");
  ASSERT_NE(reopened, journal.end());
  EXPECT_EQ(*(reopened - 1), "CryptMsgClose(message#1)");
}

TEST_F(VerifyOpenTest, RefusesADetachedSignatureWithoutInput) {
  toy.isDetached = true;
  expectRefusal(SSF_API_INVALID_INPUT,
                {kDetached, "#error#: No input data while verifying detached signature\n"});
}

TEST_F(VerifyOpenTest, RefusesADetachedSignatureWithAnInputOfNoLength) {
  toy.isDetached = true;
  call.signedData = provider().addMessage(toy);
  std::string input = "content";
  EXPECT_EQ(verifyWith(bytesOf(call.signedData), lengthOf(call.signedData), bytesOf(input), 0),
            SSF_API_INVALID_INPUT);
  EXPECT_EQ(verifyWith(bytesOf(call.signedData), lengthOf(call.signedData), nullptr, 7),
            SSF_API_INVALID_INPUT);
  EXPECT_THAT(linesOf("SsfVerify"),
              Contains("#error#: No input data while verifying detached signature\n").Times(2));
}

TEST_F(VerifyOpenTest, TakesAFailedSizeForADetachedMessageWithoutReport) {
  provider().failFirst("CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size", 0x80091004);
  expectRefusal(SSF_API_INVALID_INPUT,
                {kDetached, "#error#: No input data while verifying detached signature\n"});
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(VerifyOpenTest, ReportsADetachedMessageThatCannotBeReopened) {
  toy.isDetached = true;
  call.input = "content";
  provider().failNth("CryptMsgOpenToDecode", 2, 8);
  EXPECT_EQ(verify(), SSF_API_NO_PROVIDER);
  EXPECT_THAT(linesAfterOpening(), ElementsAre(kDetached, errorLine(8), kError));
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(VerifyOpenTest, ReportsDetachedDataThatIsRefusedNow) {
  toy.isDetached = true;
  call.input = "content";
  provider().failNth("CryptMsgUpdate", 2, 0x8009310B);
  EXPECT_EQ(verify(), SSF_API_DECODE_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kDetached,
                          errorLine(0x8009310B),
                          "#error#: failed to decode Detached dignature!\n",
                          kError));
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(VerifyOpenTest, ReportsAnInputThatIsRefused) {
  toy.isDetached = true;
  call.input = "content";
  provider().failNth("CryptMsgUpdate", 3, 0x80091007);
  EXPECT_EQ(verify(), SSF_API_DECODE_ERROR);
  EXPECT_THAT(linesAfterOpening(),
              ElementsAre(kDetached,
                          errorLine(0x80091007),
                          "#error#: failed to encode source data for Detached dignature!\n",
                          kError));
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(VerifyOpenTest, ReportsContentThatCannotBeRead) {
  provider().failLate("CryptMsgGetParam(CMSG_CONTENT_PARAM", 8);
  EXPECT_EQ(verify(), SSF_API_DECODE_ERROR);
  EXPECT_THAT(
      linesAfterOpening(),
      ElementsAre(
          errorLine(8), "#error#: failed to extract content from signed message!\n", kError));
  EXPECT_EQ(call.output.size(), 0);
}

TEST_F(VerifyOpenTest, RefusesContentThatItsLengthCannotTell) {
  provider().claimSize("CryptMsgGetParam(CMSG_CONTENT_PARAM", 0x80000000);
  EXPECT_EQ(verify(), SSF_API_DECODE_ERROR);
  EXPECT_TRUE(call.output.isUntouched());
}

TEST_F(VerifyOpenTest, FailsWhenTheContentGrowsBetweenItsReads) {
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", 1);
  EXPECT_EQ(verify(), SSF_API_DECODE_ERROR);
}

TEST_F(VerifyOpenTest, ReturnsWhatWasReadWhenTheContentShrinks) {
  provider().sizeChanges("CryptMsgGetParam(CMSG_CONTENT_PARAM", -3);
  EXPECT_EQ(verify(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "cont");
}

TEST_F(VerifyOpenTest, LeavesTheOutputWhenThereIsNoMemoryForIt) {
  call.signedData = provider().addMessage(toy);
  SAPRETURN code = 0;
  {
    const scripted::AllocationFailure failure(1);
    code = verifyWith(bytesOf(call.signedData), lengthOf(call.signedData), nullptr, 0);
  }
  EXPECT_EQ(code, SSF_API_NO_MEMORY);
  EXPECT_TRUE(call.output.isUntouched());
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_EQ(provider().traceTexts().back(), kError);
}

TEST_F(VerifyOpenTest, LeavesTheOutputWhenThereIsNoMemoryForADetachedCopy) {
  toy.isDetached = true;
  call.signedData = provider().addMessage(toy);
  std::string input = "content";
  SAPRETURN code = 0;
  {
    const scripted::AllocationFailure failure(1);
    code = verifyWith(bytesOf(call.signedData), lengthOf(call.signedData), bytesOf(input), 7);
  }
  EXPECT_EQ(code, SSF_API_NO_MEMORY);
  EXPECT_TRUE(call.output.isUntouched());
}

TEST_F(VerifyOpenTest, ReportsASignerCountThatCannotBeRead) {
  provider().failFirst("CryptMsgGetParam(CMSG_SIGNER_COUNT_PARAM", 0x80091004);
  EXPECT_EQ(verify(), SSF_API_INVALID_FORMAT);
  EXPECT_THAT(
      linesAfterOpening(),
      ElementsAre(
          errorLine(0x80091004), "#error#: failed to get signer count from message!\n", kError));
  EXPECT_EQ(call.output.text(), "content");
}

TEST_F(VerifyOpenTest, RefusesAMessageWithoutSigners) {
  toy.signers.clear();
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesAfterOpening(), ElementsAre("#error#: Signers not found in message!\n", kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorRow(504).russian));
  EXPECT_EQ(call.output.text(), "content");
}

}  // namespace
}  // namespace qx::test::verify_open_test
