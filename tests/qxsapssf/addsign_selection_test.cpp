// How SsfAddSign finds the certificate and the key of the new signer.
#include "tests/qxsapssf/addsign_call.h"

namespace qx::test::addsign_selection_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kSearched = "#info#: Searched userID (CN=Ivan Petrov)\n";
constexpr const char* kSearch = "#trace# Search Signer's certificate.\n";
constexpr const char* kFound =
    "#trace# One of Signer's certificate found. Trying to acquire private key.\n";
constexpr const char* kExplicit = "#trace# Explicit pin code? IsPinExplicit = 1.\n";
constexpr const char* kPinSet = "#trace# Set explisit pin code - Ok.\n";
constexpr const char* kUsable = "#trace# Private Key successfully acquired.\n";
constexpr const char* kHash = "#trace# Using hash alg = 1.2.643.7.1.1.2.2.\n";
constexpr const char* kNotAcquired =
    "#info# Can not AcquireCertificatePrivateKey. Trying to search another certificate.\n";
constexpr const char* kPinRefused =
    "#info# Failed to set explisit pin code. Trying to search another certificate.\n";
constexpr const char* kNotUsable =
    "#info# Can not Acquire Private Key with supplied pin code. Trying to search another "
    "certificate.\n";
constexpr const char* kNotFound =
    "#error#: Signer's certificate with supplied pin code not found\n";

class AddSignSelectionTest : public AddSignTest {
 protected:
  SAPRETURN signWith(const std::string& id,
                     const std::string& profile = "",
                     const std::string& password = "") {
    setSigner(id, profile, password);
    return call.run();
  }

  /// What was traced about the signer.
  static std::vector<std::string> selection() {
    std::vector<std::string> lines = linesAfterOpening();
    const auto end = std::ranges::find_if(
        lines, [](const std::string& line) { return line == kReopening || line == kError; });
    return {lines.begin(), end};
  }
};

TEST_F(AddSignSelectionTest, OpensTheStoreThatTheProfileNames) {
  provider().failAlways("CertFindCertificateInStore", 0x80092004);
  for (const auto& [profile, expected] : std::vector<std::pair<std::string, std::string>>{
           {"", "0x14000, My)"},
           {"uMy", "0x14000, My)"},
           {"mMy", "0x24000, My)"},
           {"my", "0x24000, y)"},
           {"<TIME>My", "0x14000, My)"},
           {"20240131120000My", "0x14000, My)"},
           {"20240131120000", "0x14000, 20240131120000)"}}) {
    EXPECT_EQ(signWith("CN=a", profile), SSF_API_SIGNER_ERROR);
    EXPECT_THAT(provider().calls("CertOpenStore").back(), HasSubstr(expected)) << profile;
  }
}

TEST_F(AddSignSelectionTest, TellsTheProfileAndThatItsStoreDoesNotOpen) {
  EXPECT_EQ(signWith("CN=a", "uNone"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(selection(),
              ElementsAre("#trace# Signer's Store = uNone.\n",
                          "#error#: Invalid Store in user's profile\n"));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(AddSignSelectionTest, TellsNoProfileWhenThereIsNone) {
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_THAT(selection(), ElementsAre("#error#: Invalid Store in user's profile\n"));
}

TEST_F(AddSignSelectionTest, RejectsAnIdentityThatIsNoName) {
  provider().addCertificate({});
  EXPECT_EQ(signWith("Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (Ivan Petrov)\n",
                          "#error#: Invalid user's ID (Ivan Petrov)\n"));
}

TEST_F(AddSignSelectionTest, FindsAThumbprint) {
  provider().addCertificate({});
  EXPECT_EQ(signWith(thumbprint("11")), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre(HasSubstr("0x10000, " + thumbprint("11") + ", NULL)")));
  EXPECT_THAT(provider().calls("CertNameToStrW"), IsEmpty());
}

TEST_F(AddSignSelectionTest, FindsNobody) {
  provider().addCertificate({.subject = "CN=Other"});
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(), ElementsAre(kSearched, kSearch, kNotFound));
}

TEST_F(AddSignSelectionTest, TellsASubjectThatDoesNotParse) {
  provider().addCertificate({.subject = "broken"});
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(selection(),
              ElementsAre(kSearched, kSearch, "#error#: Invalid certificate DN\n", kNotFound));
}

TEST_F(AddSignSelectionTest, TellsAKeyThatCannotBeAcquired) {
  provider().addCertificate({.hasKey = false});
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(selection(),
              ElementsAre(kSearched, kSearch, kFound, kExplicit, kNotAcquired, kNotFound));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(AddSignSelectionTest, TellsAPinThatIsNotTaken) {
  provider().addCertificate({});
  provider().failFirst("CryptSetProvParam", 0x80090009);
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(
      selection(),
      ElementsAre(
          kSearched, kSearch, kFound, kExplicit, errorLine(0x80090009), kPinRefused, kNotFound));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80090009)));
}

TEST_F(AddSignSelectionTest, TriesTheNextCertificateAfterAWrongPin) {
  provider().addCertificate({.pin = "5678"});
  provider().addCertificate({.serial = {2}, .pin = "1234"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_EQ(call.signer->result, SSF_RESULT_OK);
  EXPECT_THAT(selection(),
              ElementsAre(kSearched,
                          kSearch,
                          kFound,
                          kExplicit,
                          kPinSet,
                          kNotUsable,
                          kFound,
                          kExplicit,
                          kPinSet,
                          kUsable,
                          kHash));
  EXPECT_THAT(call.output.text(), HasSubstr(";signer CN=Test CA, C=RU/02)"));
}

TEST_F(AddSignSelectionTest, KeepsTheResultOfAWrongPin) {
  provider().addCertificate({.pin = "5678"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_EQ(selection().back(), kNotFound);
}

TEST_F(AddSignSelectionTest, TellsAKeyWithoutHash) {
  provider().addCertificate({.publicKeyOid = "1.2.3"});
  expectFailure(SSF_API_SIGNER_ERROR);
  EXPECT_EQ(call.signer->result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(
      selection(),
      ElementsAre(
          kSearched, kSearch, kFound, kExplicit, kUsable, StartsWith("#error#: "), kNotFound));
}

TEST_F(AddSignSelectionTest, LeavesThePinToTheProviderWhenItIsNotExplicit) {
  provider().addCertificate({.pin = "1234"});
  provider().promptAnswer = "1234";
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "!"), SSF_API_OK);
  EXPECT_THAT(selection(), Contains("#trace# Explicit pin code? IsPinExplicit = 0.\n"));
  EXPECT_THAT(provider().calls("CryptAcquireCertificatePrivateKey"),
              ElementsAre("CryptAcquireCertificatePrivateKey(certificate#1, 0x5, NULL)"));
  EXPECT_THAT(provider().pinsSet(), IsEmpty());
}

TEST_F(AddSignSelectionTest, AsksForAnEmptyPinWhenConfiguredSo) {
  gConfig.askPinWhenEmpty = 1;
  provider().addCertificate({.pin = "1234"});
  provider().promptAnswer = "1234";
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptAcquireCertificatePrivateKey"),
              ElementsAre("CryptAcquireCertificatePrivateKey(certificate#1, 0x5, NULL)"));
}

TEST_F(AddSignSelectionTest, NeverTracesAPassword) {
  provider().addCertificate({.pin = "secret number"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "My", "secret number"), SSF_API_OK);
  EXPECT_THAT(provider().journal(), Not(Contains(HasSubstr("secret"))));
}

TEST_F(AddSignSelectionTest, WipesItsCopyOfThePin) {
  provider().addCertificate({.pin = kLongPin});
  const PinWatch watch;
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", kLongPin), SSF_API_OK);
  EXPECT_EQ(watch.leftover(), std::string(std::string_view(kLongPin).size(), ' '));
}

TEST_F(AddSignSelectionTest, LosesASignerWhoseThumbprintThereIsNoMemoryFor) {
  provider().addCertificate({});
  setSigner(thumbprint("11"));
  expectOneLostThumbprint(call, *call.signer, SSF_API_SIGNER_ERROR);
}

}  // namespace
}  // namespace qx::test::addsign_selection_test
