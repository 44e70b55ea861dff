#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "qxsapssf/ssfxxmain_enhance.h"
#include "tests/qxsapssf/sign_call.h"

namespace qx::test::enhance_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class EnhancePkcs7Test : public OperationTest {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    encoded = provider().addMessage(toy);
    message = OwnedBytes::copyOf(encoded.data(), encoded.size());
  }

  std::string text() const {
    return {reinterpret_cast<const char*>(message.data()), message.size()};
  }

  scripted::ToyMessage toy{.content = "data", .signers = {{}}};
  std::string encoded;
  OwnedBytes message;
};

TEST_F(EnhancePkcs7Test, ReplacesTheMessageByTheExtendedOne) {
  const Enhancement result = EnhancePKCS7(message, nullptr, kEverySignature);
  EXPECT_TRUE(result.succeeded);
  EXPECT_EQ(result.lastError, 0U);
  EXPECT_EQ(text(), "signed(\"data\";signer CN=Test CA, C=RU/01;all stamped by default)");
  EXPECT_THAT(
      provider().journal(),
      ElementsAre("CryptMsgOpenToDecode(0x10001, 0x0, 0, 0, NULL, NULL)",
                  "CryptMsgUpdate(message#1, " + std::to_string(encoded.size()) + " bytes, 1)",
                  "CadesMsgEnhanceSignatureAll(message#1, dwSize 56 type 93 default server)",
                  "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, size)",
                  "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, read)",
                  "CryptMsgClose(message#1)"));
}

TEST_F(EnhancePkcs7Test, NamesAServerInWideCharacters) {
  provider().workingTspServers = {"http://tsp"};
  EXPECT_TRUE(EnhancePKCS7(message, "http://tsp", kEverySignature).succeeded);
  EXPECT_THAT(text(), HasSubstr("all stamped by http://tsp"));
  EXPECT_THAT(provider().calls("MultiByteToWideChar"),
              ElementsAre(StartsWith("MultiByteToWideChar(0, 0x0, http://tsp")));
  EXPECT_THAT(provider().calls("CadesMsgEnhanceSignatureAll"),
              ElementsAre("CadesMsgEnhanceSignatureAll(message#1, dwSize 56 type 93 server cbSize "
                          "24 \"http://tsp\")"));
}

TEST_F(EnhancePkcs7Test, ExtendsOneSignatureByItsIndex) {
  EXPECT_TRUE(EnhancePKCS7(message, nullptr, 0).succeeded);
  EXPECT_THAT(provider().calls("CadesMsgEnhanceSignature("),
              ElementsAre(StartsWith("CadesMsgEnhanceSignature(message#1, 0, ")));
  EXPECT_THAT(provider().calls("CadesMsgEnhanceSignatureAll"), IsEmpty());
}

TEST_F(EnhancePkcs7Test, TakesAnEmptyAddressForAnAddress) {
  EXPECT_FALSE(EnhancePKCS7(message, "", kEverySignature).succeeded);
  EXPECT_THAT(provider().calls("CadesMsgEnhanceSignatureAll"),
              ElementsAre(HasSubstr("server cbSize 24 \"\"")));
  EXPECT_EQ(text(), encoded);
}

class EnhanceFailureTest : public EnhancePkcs7Test,
                           public ::testing::WithParamInterface<const char*> {};

TEST_P(EnhanceFailureTest, LeavesTheMessageAndTellsTheLastErrorOnly) {
  provider().workingTspServers = {"http://tsp"};
  provider().failFirst(GetParam(), 0x12345678);
  const Enhancement result = EnhancePKCS7(message, "http://tsp", kEverySignature);
  EXPECT_FALSE(result.succeeded);
  EXPECT_EQ(result.lastError, 0x12345678U);
  EXPECT_EQ(text(), encoded);
  EXPECT_THAT(provider().trace(), IsEmpty());
  EXPECT_EQ(provider().failuresSeen(), 1U);
}

TEST_P(EnhanceFailureTest, KnowsAFailureThatLeavesNoError) {
  provider().workingTspServers = {"http://tsp"};
  provider().failFirst(GetParam(), 0);
  const Enhancement result = EnhancePKCS7(message, "http://tsp", kEverySignature);
  EXPECT_FALSE(result.succeeded);
  EXPECT_EQ(result.lastError, 0U);
}

INSTANTIATE_TEST_SUITE_P(EveryCall,
                         EnhanceFailureTest,
                         ::testing::Values("CryptMsgOpenToDecode",
                                           "CryptMsgUpdate",
                                           "MultiByteToWideChar",
                                           "CadesMsgEnhanceSignatureAll",
                                           "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, size",
                                           "CryptMsgGetParam(CMSG_ENCODED_MESSAGE, 0, read"));

TEST_F(EnhancePkcs7Test, ReadsTheLastErrorBeforeItClosesTheMessage) {
  provider().failFirst("CadesMsgEnhanceSignatureAll", 1111);
  provider().failFirst("CryptMsgClose", 2222);
  EXPECT_EQ(EnhancePKCS7(message, nullptr, kEverySignature).lastError, 1111U);
}

TEST_F(EnhancePkcs7Test, RefusesASizeThatALengthCannotTell) {
  provider().claimSize("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", 0x80000000);
  EXPECT_FALSE(EnhancePKCS7(message, nullptr, kEverySignature).succeeded);
  EXPECT_EQ(text(), encoded);
}

TEST_F(EnhancePkcs7Test, FailsWhenTheMessageGrowsBetweenItsReads) {
  provider().sizeChanges("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", 3);
  EXPECT_FALSE(EnhancePKCS7(message, nullptr, kEverySignature).succeeded);
  EXPECT_EQ(text(), encoded);
}

TEST_F(EnhancePkcs7Test, LeavesTheMessageWhereverMemoryIsShort) {
  provider().workingTspServers = {"http://tsp"};
  for (unsigned n = 1; n <= 2; ++n) {
    Enhancement result{true, 0};
    {
      const scripted::AllocationFailure failure(n);
      result = EnhancePKCS7(message, "http://tsp", kEverySignature);
    }
    EXPECT_FALSE(result.succeeded) << n;
    EXPECT_EQ(text(), encoded) << n;
  }
}

/// A text of one letter, of any length at the cost of one small file that is seen again and again.
class EndlessText {
 public:
  explicit EndlessText(std::size_t length) : size_((length / kWindow + 1) * kWindow) {
    const int file = memfd_create("text", 0);
    EXPECT_EQ(ftruncate(file, kWindow), 0);
    void* reserved = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_NE(reserved, MAP_FAILED);
    text_ = static_cast<char*>(reserved);
    for (std::size_t at = 0; at < size_; at += kWindow) {
      const int sharing = at + kWindow < size_ ? MAP_SHARED : MAP_PRIVATE;
      EXPECT_NE(mmap(text_ + at, kWindow, PROT_READ | PROT_WRITE, sharing | MAP_FIXED, file, 0),
                MAP_FAILED);
      std::memset(text_ + at, 'a', at == 0 ? kWindow : 0);
    }
    text_[length] = '\0';
    close(file);
  }

  EndlessText(const EndlessText&) = delete;
  EndlessText& operator=(const EndlessText&) = delete;

  ~EndlessText() { munmap(text_, size_); }

  const char* c_str() const { return text_; }

 private:
  static constexpr std::size_t kWindow = 1U << 22U;
  std::size_t size_;
  char* text_ = nullptr;
};

TEST(TspServiceTest, RefusesAnAddressThatIsTooLong) {
  provider().reset();
  const EndlessText address(0x3FFFFFFF);
  ASSERT_EQ(std::strlen(address.c_str()), 0x3FFFFFFFU);
  TspService service;
  EXPECT_EQ(service.setAddress(address.c_str()), SSF_API_ENCODE_ERROR);
  EXPECT_THAT(provider().journal(), IsEmpty());
}

/// The order in which SsfSign tries the servers.
class EnhancementOrderTest : public OperationTest {
 protected:
  void SetUp() override {
    OperationTest::SetUp();
    call.format = "CADES";
    provider().addCertificate({});
    call.signers.add("CN=Ivan Petrov");
  }

  /// What SsfSign told from its first attempt on.
  static std::vector<std::string> attempts() {
    const std::vector<std::string> lines = linesOf("SsfSign");
    return {std::ranges::find(lines, kFirst), lines.end()};
  }

  static constexpr const char* kFirst =
      "#trace#: trying to enhance cades message with default TSP\n";
  SignCall call;
};

TEST_F(EnhancementOrderTest, OpensAMessageOfTheCadesLibrary) {
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CadesMsgOpenToEncode"),
              ElementsAre(StartsWith("CadesMsgOpenToEncode(0x10001, 0x0, dwSize 48 cbSize 48 ")));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), IsEmpty());
}

TEST_F(EnhancementOrderTest, ContactsNoOtherServerWhenTheDefaultOneWorks) {
  gConfig.tspList = {"http://one", "http://two"};
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(attempts(), ElementsAre(kFirst, kSuccess));
  EXPECT_THAT(call.output.text(), HasSubstr(";all stamped by default)"));
}

TEST_F(EnhancementOrderTest, TriesTheListedServersUntilOneWorks) {
  gConfig.tspList = {"http://one", "http://two", "http://three"};
  provider().workingTspServers = {"http://two", "http://three"};
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(
      attempts(),
      ElementsAre(kFirst,
                  "#info#: Trying to enhance cades message with additional TSP = http://one\n",
                  "#info#: Trying to enhance cades message with additional TSP = http://two\n",
                  kSuccess));
  EXPECT_THAT(call.output.text(), HasSubstr(";all stamped by http://two)"));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(EnhancementOrderTest, TriesAnEmptyAddressLikeAnyOther) {
  gConfig.tspList = {"", "http://two"};
  provider().workingTspServers = {"http://two"};
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(
      attempts(),
      ElementsAre(kFirst,
                  "#info#: Trying to enhance cades message with additional TSP = \n",
                  "#info#: Trying to enhance cades message with additional TSP = http://two\n",
                  kSuccess));
}

TEST_F(EnhancementOrderTest, ReportsTheLastAttemptWhenEveryServerIsDown) {
  gConfig.tspList = {"http://one", "http://two"};
  provider().workingTspServers.clear();
  provider().failNth("CadesMsgEnhanceSignatureAll", 3, 0xABC);
  EXPECT_EQ(call.run(), SSF_API_ENCODE_ERROR);
  EXPECT_EQ(call.output.bytes(), nullptr);
  EXPECT_EQ(call.output.size(), 0);
  EXPECT_THAT(
      attempts(),
      ElementsAre(kFirst,
                  "#info#: Trying to enhance cades message with additional TSP = http://one\n",
                  "#info#: Trying to enhance cades message with additional TSP = http://two\n",
                  "#error#: Failed to enhance cades message. res = 0xabc\n",
                  errorLine(0xABC),
                  kError));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0xABC)));
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK));
}

TEST_F(EnhancementOrderTest, ReportsAFailedDefaultServerWithoutOthers) {
  provider().workingTspServers.clear();
  EXPECT_EQ(call.run(), SSF_API_ENCODE_ERROR);
  EXPECT_THAT(attempts(),
              ElementsAre(kFirst,
                          "#error#: Failed to enhance cades message. res = 0x5b4\n",
                          errorLine(ERROR_TIMEOUT),
                          kError));
}

TEST_F(EnhancementOrderTest, FailsAlsoWhenTheLastErrorIsZero) {
  provider().failAlways("CadesMsgEnhanceSignatureAll", 0);
  EXPECT_EQ(call.run(), SSF_API_ENCODE_ERROR);
  EXPECT_THAT(
      attempts(),
      ElementsAre(
          kFirst, "#error#: Failed to enhance cades message. res = 0x0\n", errorLine(0), kError));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(EnhancementOrderTest, GoesOnWithTheSameMessageAfterALateFailure) {
  gConfig.tspList = {"http://one"};
  provider().workingTspServers = {"", "http://one"};
  provider().failLate("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", 8);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(call.output.text(), HasSubstr(";all stamped by http://one)"));
  EXPECT_THAT(call.output.text(), Not(HasSubstr("default")));
}

TEST_F(EnhancementOrderTest, StampsADetachedMessageToo) {
  call.detached = 1;
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CadesMsgOpenToEncode"), ElementsAre(HasSubstr("(0x10001, 0x4, ")));
  EXPECT_THAT(call.output.text(), HasSubstr(";all stamped by default)"));
}

TEST_F(EnhancementOrderTest, ReleasesTheCertificatesBeforeTheFirstAttempt) {
  EXPECT_EQ(call.run(), SSF_API_OK);
  const auto& journal = provider().journal();
  const auto attempt = std::ranges::find(journal, "trace SsfSign: " + std::string(kFirst));
  ASSERT_NE(attempt, journal.end());
  EXPECT_EQ(*(attempt - 1), "CertFreeCertificateContext(certificate#1)");
}

TEST_F(EnhancementOrderTest, LeavesPlainMessagesAlone) {
  for (const std::string format : {"PKCS7", "PKCS7_ANY"}) {
    Output output;
    call.format = format;
    EXPECT_EQ(SsfSign(bytesOf(call.format),
                      lengthOf(call.format),
                      nullptr,
                      0,
                      0,
                      0,
                      bytesOf(call.input),
                      lengthOf(call.input),
                      call.signers.list,
                      output.data(),
                      output.length()),
              SSF_API_OK);
  }
  EXPECT_THAT(provider().calls("Cades"), IsEmpty());
}

TEST_F(EnhancementOrderTest, CutsALongAddressInItsLine) {
  gConfig.tspList = {std::string(300, 'a')};
  provider().workingTspServers.clear();
  EXPECT_EQ(call.run(), SSF_API_ENCODE_ERROR);
  EXPECT_THAT(attempts(),
              Contains("#info#: Trying to enhance cades message with additional TSP = " +
                       std::string(256, 'a') + "\n"));
}

struct CadesFailure {
  const char* call;
  SAPRETURN code;
};

class CadesEncodingFailure : public EnhancementOrderTest,
                             public ::testing::WithParamInterface<CadesFailure> {};

TEST_P(CadesEncodingFailure, IsReportedAsForAPlainMessage) {
  provider().failFirst(GetParam().call, 0x80004001);
  EXPECT_EQ(call.run(), GetParam().code);
  EXPECT_EQ(call.output.bytes(), nullptr);
  EXPECT_THAT(linesOf("SsfSign"), Contains(errorLine(0x80004001)));
  EXPECT_EQ(linesOf("SsfSign").back(), kError);
  EXPECT_THAT(provider().calls("CadesMsgEnhance"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    CadesEncodingFailure,
    ::testing::Values(CadesFailure{"CadesMsgOpenToEncode", SSF_API_NO_PROVIDER},
                      CadesFailure{"CryptMsgUpdate", SSF_API_NO_PROVIDER},
                      CadesFailure{"CryptMsgGetParam(CMSG_CONTENT_PARAM", SSF_API_ENCODE_ERROR},
                      CadesFailure{"CryptMsgClose", SSF_API_ENCODE_ERROR}));

}  // namespace
}  // namespace qx::test::enhance_test
