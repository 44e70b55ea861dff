// How SsfDevelope finds the certificate and the key of the recipient.
#include "tests/qxsapssf/develope_call.h"

namespace qx::test::develope_selection_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kNotFound = "#error#: Some certificates not found\n";

class DevelopeSelectionTest : public DevelopeTest {
 protected:
  /// A call that ends because the recipient cannot be used.
  void expectRejected(SAPRETURN result) {
    expectFailure(SSF_API_RECIPIENT_ERROR);
    EXPECT_EQ(call.recipient->result, result);
    EXPECT_THAT(provider().calls("CryptMsg"), IsEmpty());
  }
};

TEST_F(DevelopeSelectionTest, OpensTheStoreThatTheProfileNames) {
  provider().failAlways("CertFindCertificateInStore", 0x80092004);
  for (const auto& [profile, expected] : std::vector<std::pair<std::string, std::string>>{
           {"", "0x14000, My)"},
           {"uMy", "0x14000, My)"},
           {"mMy", "0x24000, My)"},
           {"my", "0x24000, y)"},
           {"<TIME>My", "0x14000, My)"},
           {"20240131120000My", "0x14000, My)"},
           {"20240131120000", "0x14000, 20240131120000)"}}) {
    EXPECT_EQ(developeAs("CN=a", profile), SSF_API_RECIPIENT_ERROR);
    EXPECT_THAT(provider().calls("CertOpenStore").back(), HasSubstr(expected)) << profile;
  }
}

TEST_F(DevelopeSelectionTest, RejectsAStoreThatDoesNotOpen) {
  setRecipient("CN=a", "uNone");
  expectRejected(SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: Invaild Store in user's profile\n", kError));
}

TEST_F(DevelopeSelectionTest, OpensTheStoreBeforeItLooksAtTheIdentity) {
  call.recipient->idLength = 0;
  expectRejected(SSF_RESULT_INVALID_PROFILE);
  call.recipient->idLength = 14;
}

TEST_F(DevelopeSelectionTest, RejectsARecordWithoutIdentityAndClosesTheStore) {
  provider().addCertificate({});
  for (const SsfOctetlen length : {0, -1}) {
    call.recipient->idLength = length;
    expectRejected(SSF_RESULT_UNKNOWN_PROFILE);
    call.recipient->idLength = 14;
  }
  EXPECT_THAT(linesOf("SsfDevelope"), Contains("#error#: strSigRcpIdL <= 0\n").Times(2));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(2));
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"), IsEmpty());
}

TEST_F(DevelopeSelectionTest, TakesAMissingStringOfARecordForAnEmptyOne) {
  provider().addCertificate({});
  SigRcpSsfInformation hollow{};
  hollow.idLength = 4;
  hollow.profileLength = 3;
  call.recipient = &hollow;
  expectRejected(SSF_RESULT_UNKNOWN_PROFILE);
}

TEST_F(DevelopeSelectionTest, TakesAnIdentityOfSpacesForAnEmptyThumbprint) {
  provider().addCertificate({});
  setRecipient("   ");
  expectRejected(SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kNotFound, kError));
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre(HasSubstr("0x10000, , NULL)")));
}

TEST_F(DevelopeSelectionTest, RejectsAnIdentityThatIsNoName) {
  provider().addCertificate({});
  setRecipient("Ivan Petrov");
  expectRejected(SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: Invalid user's ID (Ivan Petrov)\n", kError));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(1));
}

TEST_F(DevelopeSelectionTest, FindsAThumbprintWithoutLookingAtNames) {
  provider().addCertificate({.serial = {2}, .thumbprint = scripted::Bytes(20, 0x22)});
  provider().addCertificate({});
  EXPECT_EQ(developeAs(thumbprint("11")), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre(HasSubstr("0x10000, " + thumbprint("11") + ", NULL)")));
  EXPECT_THAT(provider().calls("CertNameToStrW"), IsEmpty());
}

TEST_F(DevelopeSelectionTest, FindsNobody) {
  provider().addCertificate({.subject = "CN=Other"});
  expectRejected(SSF_RESULT_UNKNOWN);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kNotFound, kError));
}

TEST_F(DevelopeSelectionTest, TellsASubjectThatDoesNotParseAndGoesOn) {
  provider().addCertificate({.subject = "broken"});
  expectRejected(SSF_RESULT_NOT_OK);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: Invalid certificate DN\n", kNotFound, kError));
  provider().addCertificate({});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.recipient->result, SSF_RESULT_OK);
}

TEST_F(DevelopeSelectionTest, TellsNothingOfAKeyThatCannotBeAcquired) {
  provider().addCertificate({.hasKey = false});
  expectRejected(SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kNotFound, kError));
}

TEST_F(DevelopeSelectionTest, BlamesTheProfileForAPinThatIsNotTaken) {
  provider().addCertificate({});
  setRecipient("CN=Ivan Petrov", "", "1234");
  provider().failFirst("CryptSetProvParam", 0x80090009);
  expectRejected(SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, errorLine(0x80090009), errorText(0x80090009), kNotFound, kError));
}

TEST_F(DevelopeSelectionTest, BlamesThePinThatDoesNotOpenTheKey) {
  provider().addCertificate({.pin = "5678"});
  setRecipient("CN=Ivan Petrov", "", "1234");
  expectRejected(SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kNotFound, kError));
}

TEST_F(DevelopeSelectionTest, TriesTheNextCertificateAfterAWrongPin) {
  provider().addCertificate({.serial = {9}, .pin = "5678"});
  provider().addCertificate({.pin = "1234"});
  EXPECT_EQ(developeAs("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_EQ(call.recipient->result, SSF_RESULT_OK);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kSuccess));
  EXPECT_THAT(provider().calls("CryptMsgControl"),
              ElementsAre(HasSubstr("cbSize 24 key#2 spec 1 recipient 1)")));
}

TEST_F(DevelopeSelectionTest, KeepsTheResultOfTheLastRejection) {
  provider().addCertificate({.pin = "5678"});
  provider().addCertificate({.hasKey = false});
  setRecipient("CN=Ivan Petrov", "", "1234");
  expectRejected(SSF_RESULT_INVALID_PROFILE);
}

TEST_F(DevelopeSelectionTest, NeedsNoHashForTheKey) {
  provider().addCertificate({.publicKeyOid = "1.2.3"});
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertAlgIdToOID"), IsEmpty());
}

TEST_F(DevelopeSelectionTest, SetsThePinOfTheKindOfKey) {
  provider().addCertificate({.keySpec = 2, .pin = "1234"});
  EXPECT_EQ(developeAs("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptSetProvParam"),
              ElementsAre("CryptSetProvParam(key#1, 0x21, a PIN of 4, 0)"));
  EXPECT_THAT(provider().calls("CryptMsgControl"), ElementsAre(HasSubstr(" spec 2 ")));
}

struct Password {
  const char* password;
  int askWhenEmpty;
  bool isExplicit;
  std::vector<std::string> pins;
};

class DevelopePasswordTest : public DevelopeSelectionTest,
                             public ::testing::WithParamInterface<Password> {};

TEST_P(DevelopePasswordTest, DecidesWhetherThePinIsExplicit) {
  gConfig.askPinWhenEmpty = static_cast<unsigned char>(GetParam().askWhenEmpty);
  provider().addCertificate({});
  EXPECT_EQ(developeAs("CN=Ivan Petrov", "", GetParam().password), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptAcquireCertificatePrivateKey"),
              ElementsAre(GetParam().isExplicit ? HasSubstr(", 0x45, ") : HasSubstr(", 0x5, ")));
  EXPECT_EQ(provider().pinsSet(), GetParam().pins);
}

INSTANTIATE_TEST_SUITE_P(Passwords,
                         DevelopePasswordTest,
                         ::testing::Values(Password{"", 0, true, {}},
                                           Password{"", 1, false, {}},
                                           Password{"!", 0, false, {}},
                                           Password{"!ab", 1, false, {}},
                                           Password{"!abc", 0, true, {"!abc"}},
                                           Password{"a", 1, true, {"a"}}));

TEST_F(DevelopeSelectionTest, NeverTracesAPassword) {
  provider().addCertificate({.pin = "secret number"});
  EXPECT_EQ(developeAs("CN=Ivan Petrov", "My", "secret number"), SSF_API_OK);
  EXPECT_EQ(developeAs("CN=Nobody", "My", "secret number"), SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(provider().journal(), Not(Contains(HasSubstr("secret"))));
}

TEST_F(DevelopeSelectionTest, WipesItsCopyOfThePin) {
  provider().addCertificate({.pin = kLongPin});
  const PinWatch watch;
  EXPECT_EQ(developeAs("CN=Ivan Petrov", "", kLongPin), SSF_API_OK);
  EXPECT_EQ(watch.leftover(), std::string(std::string_view(kLongPin).size(), ' '));
}

TEST_F(DevelopeSelectionTest, LosesARecipientWhoseThumbprintThereIsNoMemoryFor) {
  provider().addCertificate({});
  setRecipient(thumbprint("11"));
  expectOneLostThumbprint(call, *call.recipient, SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(linesOf("SsfDevelope"), Contains(StartsWith("#error#: Invalid user's ID (1111")));
}

}  // namespace
}  // namespace qx::test::develope_selection_test
