// How SsfAddSign adds an enhanced signature, with the configured time-stamp server and the listed ones.
#include "tests/qxsapssf/addsign_call.h"

namespace qx::test::addsign_cades_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kTryingDefault =
    "#trace#: trying to add cades enhanced signature with default TSP...\n";
constexpr const char* kTryingFirst =
    "#info#: Trying to enhance cades message with additional TSP = http://first/...\n";
constexpr const char* kAdded = "#info#: Enhanced signature is added to cades message.\n";
constexpr const char* kFailedWithServer =
    "#error#: Failed to add enhanced signature to cades message. res = 0x0\n";

class AddEnhancedSignTest : public AddSignTest {
 protected:
  void SetUp() override {
    AddSignTest::SetUp();
    call.format = "CADES";
    provider().addCertificate({});
  }

  /// The default server stamps nothing, so that the listed ones have to.
  void useServers(const std::vector<std::string>& listed, const std::vector<std::string>& working) {
    gConfig.tspList.assign(listed.begin(), listed.end());
    provider().workingTspServers = working;
  }
};

TEST_F(AddEnhancedSignTest, AddsWithTheDefaultServer) {
  gConfig.tspList = {"http://first/"};
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(linesFrom(kReopening), ElementsAre(kReopening, kTryingDefault, kAdded, kSuccess));
  EXPECT_THAT(
      provider().calls("Cades"),
      ElementsAre("CadesMsgAddEnhancedSignature(message#2, dwSize 24 signer cbSize 96 CN=Ivan "
                  "Petrov, O=Bank, C=RU key#1 spec 1 hash 1.2.643.7.1.1.2.2 attributes 0+0, dwSize "
                  "56 type 93 default server)"));
  EXPECT_EQ(call.output.text(),
            "signed(\"content\";signer CN=Test CA, C=RU/09;signer CN=Test CA, C=RU/01;added signer "
            "stamped by default)");
}

TEST_F(AddEnhancedSignTest, LeavesTheCertificateToTheCadesLibrary) {
  call.includeCertificate = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptMsgControl"), IsEmpty());
}

TEST_F(AddEnhancedSignTest, AddsToADetachedMessage) {
  makeDetached();
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), HasSubstr("signed(detached "));
  EXPECT_THAT(call.output.text(), HasSubstr("added signer stamped by default"));
}

TEST_F(AddEnhancedSignTest, FailsWithTheDefaultServerWhenNoneIsListed) {
  useServers({}, {});
  expectFailure(SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesFrom(kTryingDefault),
              ElementsAre(kTryingDefault,
                          errorLine(ERROR_TIMEOUT),
                          "#error#: Failed to add enhanced signature to cades message.\n",
                          kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(ERROR_TIMEOUT)));
  EXPECT_EQ(call.signer->result, SSF_RESULT_OK);
}

TEST_F(AddEnhancedSignTest, OpensTheMessageAnewForTheFirstListedServer) {
  useServers({"http://first/", "http://second/"}, {"http://first/", "http://second/"});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(linesFrom(kTryingDefault),
              ElementsAre(kTryingDefault, kTryingFirst, kReopening, kAdded, kSuccess));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
  EXPECT_EQ(call.output.text(),
            "signed(\"content\";signer CN=Test CA, C=RU/09;signer CN=Test CA, C=RU/01;added signer "
            "stamped by http://first/)");
  const auto& journal = provider().journal();
  const auto at = std::ranges::find(journal, std::string("trace SsfAddSign: ") + kTryingFirst);
  ASSERT_NE(at, journal.end());
  EXPECT_THAT(std::vector<std::string>(at + 1, at + 7),
              ElementsAre("MultiByteToWideChar(0, 0x0, http://first/, read)",
                          "CryptMsgClose(message#2)",
                          std::string("trace SsfAddSign: ") + kReopening,
                          "CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                          "CryptMsgUpdate(message#3, 44 bytes, 1)",
                          HasSubstr("dwSize 56 type 93 server cbSize 24 \"http://first/\")")));
}

TEST_F(AddEnhancedSignTest, GivesADetachedMessageItsContentAgain) {
  makeDetached();
  useServers({"http://first/"}, {"http://first/"});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptMsgOpenToDecode(0x10001, 0x4"), SizeIs(2));
  EXPECT_THAT(provider().calls("CryptMsgUpdate(message#3"),
              ElementsAre(HasSubstr(" bytes, 1)"), "CryptMsgUpdate(message#3, 7 bytes, 1)"));
}

TEST_F(AddEnhancedSignTest, TriesNoSecondListedServer) {
  useServers({"http://first/", "http://second/"}, {"http://second/"});
  expectFailure(SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesFrom(kTryingDefault),
              ElementsAre(kTryingDefault,
                          kTryingFirst,
                          kReopening,
                          kFailedWithServer,
                          errorLine(ERROR_TIMEOUT),
                          kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(ERROR_TIMEOUT)));
  EXPECT_THAT(provider().calls("CadesMsgAddEnhancedSignature"), SizeIs(2));
  EXPECT_THAT(provider().journal(), Not(Contains(HasSubstr("http://second/"))));
}

TEST_F(AddEnhancedSignTest, TakesAnEmptyAddressForAServerThatFails) {
  useServers({""}, {});
  expectFailure(SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesOf("SsfAddSign"),
              Contains("#info#: Trying to enhance cades message with additional TSP = ...\n"));
  EXPECT_THAT(provider().calls("CadesMsgAddEnhancedSignature"),
              ElementsAre(HasSubstr("default server)"), HasSubstr("server cbSize 24 \"\")")));
}

TEST_F(AddEnhancedSignTest, FailsTheAttemptWhenTheAddressCannotBeConverted) {
  useServers({"http://first/"}, {"http://first/"});
  provider().failFirst("MultiByteToWideChar", 1113);
  expectFailure(SSF_API_ENCODE_ERROR);
  EXPECT_THAT(linesFrom(kTryingFirst),
              ElementsAre(kTryingFirst, kFailedWithServer, errorLine(1113), kError));
  EXPECT_THAT(provider().calls("CadesMsgAddEnhancedSignature"), SizeIs(1));
}

TEST_F(AddEnhancedSignTest, CutsALongAddressInItsLine) {
  const std::string address = "http://" + std::string(400, 'x');
  useServers({address}, {address});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(linesOf("SsfAddSign"),
              Contains("#info#: Trying to enhance cades message with additional TSP = " +
                       address.substr(0, 256) + "...\n"));
  EXPECT_THAT(call.output.text(), HasSubstr(address));
}

struct SecondOpening {
  const char* call;
  unsigned n;
  SAPRETURN code;
};

class AddEnhancedSignSecondOpening : public AddEnhancedSignTest,
                                     public ::testing::WithParamInterface<SecondOpening> {};

TEST_P(AddEnhancedSignSecondOpening, FailsLikeTheFirst) {
  makeDetached();
  useServers({"http://first/"}, {"http://first/"});
  provider().failNth(GetParam().call, GetParam().n, 0x80091004);
  expectFailure(GetParam().code);
  EXPECT_THAT(linesFrom(kTryingFirst),
              ElementsAre(kTryingFirst, kReopening, errorLine(0x80091004), kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80091004)));
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    AddEnhancedSignSecondOpening,
    ::testing::Values(SecondOpening{"CryptMsgOpenToDecode", 3, SSF_API_NO_PROVIDER},
                      SecondOpening{"CryptMsgUpdate(message#3", 1, SSF_API_INVALID_INPUT},
                      SecondOpening{"CryptMsgUpdate(message#3", 2, SSF_API_INVALID_INPUT}));

TEST_F(AddEnhancedSignTest, EndsWithFourWhereverMemoryIsShort) {
  makeDetached();
  useServers({"http://first/"}, {"http://first/"});
  expectNoMemory(call, 7);
}

}  // namespace
}  // namespace qx::test::addsign_cades_test
