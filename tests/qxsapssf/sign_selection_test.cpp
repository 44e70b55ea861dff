// How SsfSign finds the certificate and the key of a signer.
#include "platform/cert_chain.h"
#include "platform/cert_store.h"

#include "tests/qxsapssf/sign_call.h"

namespace qx::test {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kFound =
    "#trace# One of Signer's certificate found. Trying to acquire private key.\n";
constexpr const char* kExplicit = "#trace# Explicit pin code? IsPinExplicit = 1.\n";
constexpr const char* kNotExplicit = "#trace# Explicit pin code? IsPinExplicit = 0.\n";
constexpr const char* kPinSet = "#trace# Set explisit pin code - Ok.\n";
constexpr const char* kUsable = "#trace# Private Key successfully acquired.\n";
constexpr const char* kHash = "#trace# Using hash alg = 1.2.643.7.1.1.2.2.\n";
constexpr const char* kNotAcquired =
    "#trace# Can not AcquireCertificatePrivateKey. Trying to search another certificate.\n";
constexpr const char* kPinRefused =
    "#trace# Failed to set explisit pin code. Trying to search another certificate.\n";
constexpr const char* kNotUsable =
    "#trace# Can not Acquire Private Key with supplied pin code. Trying to search another "
    "certificate.\n";
constexpr const char* kNotFound =
    "#error# Signer's (0) Certificate with supplied pin code NOT FOUND.\n";
constexpr const char* kSearch = "#trace# Search Signer's certificate.\n";

class SignerSelectionTest : public OperationTest {
 protected:
  /// Signs with the one signer of the list.
  SAPRETURN sign() {
    const SAPRETURN code = call.run();
    record = call.signers.list->info;
    return code;
  }

  SAPRETURN signWith(const std::string& id,
                     const std::string& profile = "",
                     const std::string& password = "") {
    call.signers.add(id, profile, password);
    return sign();
  }

  /// What was traced about the one signer.
  static std::vector<std::string> selection() {
    std::vector<std::string> lines = linesOf("SsfSign");
    const auto first = std::ranges::find(lines, "#trace# Check Signer # = 0.\n");
    const auto last = std::ranges::find_if(lines, [](const std::string& line) {
      return line.find("trying to sign") != std::string::npos ||
             line.find("certificates not found") != std::string::npos;
    });
    return {first + 1, last};
  }

  /// The stores that were opened, as the flags and the name of each call.
  static std::vector<std::string> storesOpened() {
    std::vector<std::string> opened;
    for (const std::string& line : provider().calls("CertOpenStore(10, 0x0, 0, ")) {
      opened.push_back(line.substr(26));
    }
    return opened;
  }

  SignCall call;
  const SigRcpSsfInformation* record = nullptr;
};

TEST_F(SignerSelectionTest, RejectsARecordWithoutIdentity) {
  for (const SsfOctetlen length : {0, -1}) {
    provider().reset();
    Records signers;
    SigRcpSsfInformation& signer = signers.add("CN=a");
    signer.idLength = length;
    Output output;
    EXPECT_EQ(SsfSign(bytesOf(call.format),
                      5,
                      nullptr,
                      0,
                      0,
                      0,
                      bytesOf(call.input),
                      1,
                      signers.list,
                      output.data(),
                      output.length()),
              SSF_API_SIGNER_ERROR);
    signer.idLength = 4;
    EXPECT_EQ(signer.result, SSF_RESULT_UNKNOWN);
    EXPECT_THAT(selection(), ElementsAre("#error#: strSigRcpIdL <= 0\n"));
    EXPECT_THAT(storesOpened(), IsEmpty());
  }
}

TEST_F(SignerSelectionTest, TakesAMissingStringOfARecordForAnEmptyOne) {
  SigRcpSsfInformation hollow{};
  hollow.idLength = 4;
  SigRcpSsfInformationListStruct node{nullptr, &hollow};
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    &node,
                    call.output.data(),
                    call.output.length()),
            SSF_API_SIGNER_ERROR);
  EXPECT_EQ(hollow.result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(), ElementsAre("#error#: strSigRcpIdL <= 0\n"));
}

TEST_F(SignerSelectionTest, TakesAMissingProfileAndPasswordForEmptyOnes) {
  provider().addCertificate({});
  std::string id = "CN=Ivan Petrov";
  SigRcpSsfInformation hollow{};
  hollow.id = bytesOf(id);
  hollow.idLength = lengthOf(id);
  hollow.profileLength = 3;
  hollow.passwordLength = 3;
  SigRcpSsfInformationListStruct node{nullptr, &hollow};
  EXPECT_EQ(SsfSign(bytesOf(call.format),
                    5,
                    nullptr,
                    0,
                    0,
                    0,
                    bytesOf(call.input),
                    1,
                    &node,
                    call.output.data(),
                    call.output.length()),
            SSF_API_OK);
  EXPECT_THAT(storesOpened(), ElementsAre("0x14000, My)"));
  EXPECT_THAT(provider().pinsSet(), IsEmpty());
}

TEST_F(SignerSelectionTest, RejectsAnIdentityOfSpaces) {
  EXPECT_EQ(signWith("   "), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(), ElementsAre("#error#: Empty strSigRcpId\n"));
  EXPECT_THAT(storesOpened(), IsEmpty());
}

TEST_F(SignerSelectionTest, TakesOtherWhiteSpaceForAnEmptyThumbprint) {
  provider().addCertificate({});
  EXPECT_EQ(signWith(" \t"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(), ElementsAre("#info#: Searched userID ( \t)\n", kSearch, kNotFound));
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre(HasSubstr("0x10000, , NULL)")));
}

TEST_F(SignerSelectionTest, OpensTheStoreThatTheProfileNames) {
  const std::vector<std::pair<std::string, std::string>> profiles{
      {"", "0x14000, My)"},
      {"My", "0x14000, My)"},
      {"my", "0x24000, y)"},
      {"mMy", "0x24000, My)"},
      {"m", "0x24000, )"},
      {"uMy", "0x14000, My)"},
      {"umMy", "0x14000, mMy)"},
      {"UMy", "0x14000, UMy)"},
      {"<TIME>My", "0x14000, My)"},
      {"<TIME>", "0x14000, )"},
      {"<time>My", "0x14000, <time>My)"},
      {"m<TIME>My", "0x24000, <TIME>My)"},
      {"20240131120000My", "0x14000, My)"},
      {"20240131120000", "0x14000, 20240131120000)"},
      {"2024013112000My", "0x14000, 2024013112000My)"},
      {"u20240131120000My", "0x14000, 20240131120000My)"},
      {"<TIME>20240131120000My", "0x14000, 20240131120000My)"},
      {"<TIME>mMy", "0x14000, mMy)"},
      {std::string("My\0x", 4), "0x14000, My)"},
  };
  provider().failAlways("CertFindCertificateInStore", 0x80092004);
  for (const auto& [profile, expected] : profiles) {
    Records signers;
    signers.add("CN=a", profile);
    SsfSign(bytesOf(call.format),
            5,
            nullptr,
            0,
            0,
            0,
            bytesOf(call.input),
            1,
            signers.list,
            call.output.data(),
            call.output.length());
    EXPECT_THAT(storesOpened().back(), StartsWith(expected)) << profile;
  }
  EXPECT_THAT(storesOpened(), SizeIs(profiles.size()));
}

TEST_F(SignerSelectionTest, TellsTheProfileWhenThereIsOne) {
  EXPECT_EQ(signWith("CN=a", "<TIME>My"), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(selection(),
              ElementsAre("#trace# Signer 0 Store = <TIME>My.\n",
                          "#error#: Invalid store in user's profile\n"));
}

TEST_F(SignerSelectionTest, RejectsARecordWhoseStoreDoesNotOpen) {
  EXPECT_EQ(signWith("CN=a"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(selection(), ElementsAre("#error#: Invalid store in user's profile\n"));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(SignerSelectionTest, RejectsAnIdentityThatIsNoName) {
  provider().addCertificate({});
  EXPECT_EQ(signWith("Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (Ivan Petrov)\n",
                          "#error#: Invalid user's ID (Ivan Petrov)\n"));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(1));
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"), IsEmpty());
}

TEST_F(SignerSelectionTest, RejectsANameWithAnEmptyValueToo) {
  provider().addCertificate({});
  EXPECT_EQ(signWith("CN=Ivan Petrov,O="), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(), Contains("#error#: Invalid user's ID (CN=Ivan Petrov,O=)\n"));
}

TEST_F(SignerSelectionTest, FindsAThumbprintWithoutLookingAtNames) {
  ToyCertificate other;
  other.thumbprint = scripted::Bytes(20, 0x22);
  provider().addCertificate(other);
  provider().addCertificate({});
  EXPECT_EQ(signWith(thumbprint("11 ")), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre("CertFindCertificateInStore(store#1, 0x10001, 0, 0x10000, " +
                          thumbprint("11") + ", NULL)"));
  EXPECT_THAT(provider().calls("CertNameToStrW"), IsEmpty());
}

TEST_F(SignerSelectionTest, FindsNothingByAThumbprintOfOddDigits) {
  provider().addCertificate({});
  EXPECT_EQ(signWith(thumbprint("11") + "1"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection().back(), kNotFound);
}

TEST_F(SignerSelectionTest, DoesNotCarryAThumbprintOverToTheNextSigner) {
  provider().addCertificate({});
  call.signers.add(thumbprint("11"));
  call.signers.add("3FA");
  EXPECT_EQ(call.run(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK, SSF_RESULT_UNKNOWN));
}

TEST_F(SignerSelectionTest, IgnoresTheSettingForIdentitiesOfResults) {
  gConfig.useCertHash = 1;
  provider().addCertificate({});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
}

TEST_F(SignerSelectionTest, VisitsEveryCertificateOfTheStoreForAName) {
  for (int i = 0; i < 3; ++i) {
    ToyCertificate other;
    other.subject = "CN=Other " + std::to_string(i);
    provider().addCertificate(other);
  }
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n", kSearch, kNotFound));
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"),
              ElementsAre(HasSubstr("0x0, NULL, NULL)"),
                          HasSubstr("0x0, NULL, certificate#1)"),
                          HasSubstr("0x0, NULL, certificate#2)"),
                          AllOf(HasSubstr("certificate#3)"), HasSubstr("FAILED"))));
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), IsEmpty());
}

TEST_F(SignerSelectionTest, FindsNobodyInAnEmptyStore) {
  provider().stores.push_back({});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(SignerSelectionTest, TakesTheFirstCertificateThatHoldsEveryAttribute) {
  ToyCertificate first;
  first.subject = "C=RU, CN=Ivan Petrov, O=Other";
  provider().addCertificate(first);
  provider().addCertificate({});
  ToyCertificate third;
  third.subject = "CN=Ivan Petrov, O=Bank";
  provider().addCertificate(third);
  EXPECT_EQ(signWith("O=Bank,CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"),
              ElementsAre(HasSubstr("CN=Ivan Petrov, O=Bank, C=RU key#1")));
}

TEST_F(SignerSelectionTest, GoesOnPastASubjectThatDoesNotParse) {
  ToyCertificate broken;
  broken.subject = "broken";
  provider().addCertificate(broken);
  provider().addCertificate({});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_EQ(record->result, SSF_RESULT_OK);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
                          kSearch,
                          "#error#: Invalid certificate DN\n",
                          kFound,
                          kExplicit,
                          kUsable,
                          kHash));
}

TEST_F(SignerSelectionTest, KeepsTheResultOfASubjectThatDoesNotParse) {
  ToyCertificate broken;
  broken.subject = "broken";
  provider().addCertificate(broken);
  ToyCertificate other;
  other.subject = "CN=Other";
  provider().addCertificate(other);
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_NOT_OK);
}

TEST_F(SignerSelectionTest, TakesASubjectThatCannotBeRenderedForAnother) {
  provider().addCertificate({});
  provider().failAlways("CertNameToStrW", 8);
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_UNKNOWN);
}

struct Password {
  const char* password;
  bool askWhenEmpty;
  bool isExplicit;
  std::vector<std::string> pins;
};

class SignerPasswordTest : public SignerSelectionTest,
                           public ::testing::WithParamInterface<Password> {};

TEST_P(SignerPasswordTest, DecidesWhetherThePinIsExplicit) {
  gConfig.askPinWhenEmpty = GetParam().askWhenEmpty ? 1 : 0;
  provider().addCertificate({});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", GetParam().password), SSF_API_OK);
  EXPECT_THAT(selection(), Contains(GetParam().isExplicit ? kExplicit : kNotExplicit));
  EXPECT_THAT(provider().calls("CryptAcquireCertificatePrivateKey"),
              ElementsAre(GetParam().isExplicit
                              ? "CryptAcquireCertificatePrivateKey(certificate#1, 0x45, NULL)"
                              : "CryptAcquireCertificatePrivateKey(certificate#1, 0x5, NULL)"));
  EXPECT_EQ(provider().pinsSet(), GetParam().pins);
  EXPECT_THAT(selection(), Contains(kPinSet).Times(GetParam().pins.size()));
}

INSTANTIATE_TEST_SUITE_P(Passwords,
                         SignerPasswordTest,
                         ::testing::Values(Password{"", false, true, {}},
                                           Password{"", true, false, {}},
                                           Password{"!", false, false, {}},
                                           Password{"!", true, false, {}},
                                           Password{"!a", false, false, {}},
                                           Password{"!ab", false, false, {}},
                                           Password{"!abc", false, true, {"!abc"}},
                                           Password{"a!b", false, true, {"a!b"}},
                                           Password{"1", true, true, {"1"}},
                                           Password{"a PIN of more than sixteen bytes",
                                                    false,
                                                    true,
                                                    {"a PIN of more than sixteen bytes"}}));

TEST_F(SignerSelectionTest, LetsTheProviderAskForThePin) {
  provider().addCertificate({.pin = "1234"});
  provider().promptAnswer = "1234";
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "!"), SSF_API_OK);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
                          kSearch,
                          kFound,
                          kNotExplicit,
                          kUsable,
                          kHash));
}

TEST_F(SignerSelectionTest, SetsThePinOfTheKindOfKey) {
  provider().addCertificate({.keySpec = 2, .pin = "1234"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptSetProvParam"),
              ElementsAre("CryptSetProvParam(key#1, 0x21, a PIN of 4, 0)"));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), ElementsAre(HasSubstr(" spec 2 ")));
}

TEST_F(SignerSelectionTest, EndsThePinAtItsLength) {
  provider().addCertificate({.pin = "12"});
  SigRcpSsfInformation& signer = call.signers.add("CN=Ivan Petrov", "", "1234");
  signer.passwordLength = 2;
  EXPECT_EQ(sign(), SSF_API_OK);
  signer.passwordLength = 4;
  EXPECT_THAT(provider().pinsSet(), ElementsAre("12"));
}

TEST_F(SignerSelectionTest, GoesOnPastAKeyThatCannotBeAcquired) {
  provider().addCertificate({.hasKey = false});
  provider().addCertificate({});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_EQ(record->result, SSF_RESULT_OK);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
                          kSearch,
                          kFound,
                          kExplicit,
                          kNotAcquired,
                          kFound,
                          kExplicit,
                          kUsable,
                          kHash));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
}

TEST_F(SignerSelectionTest, KeepsTheResultOfAKeyThatCannotBeAcquired) {
  provider().addCertificate({.hasKey = false});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PROFILE);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
                          kSearch,
                          kFound,
                          kExplicit,
                          kNotAcquired,
                          kNotFound));
}

TEST_F(SignerSelectionTest, ReportsAPinThatCannotBeSet) {
  provider().addCertificate({});
  provider().failFirst("CryptSetProvParam", 0x80090009);
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
                          kSearch,
                          kFound,
                          kExplicit,
                          errorLine(0x80090009),
                          kPinRefused,
                          kNotFound));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80090009)));
}

TEST_F(SignerSelectionTest, TriesTheNextCertificateAfterAWrongPin) {
  ToyCertificate locked;
  locked.pin = "5678";
  provider().addCertificate(locked);
  locked.pin = "1234";
  provider().addCertificate(locked);
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_THAT(selection(),
              ElementsAre("#info#: Searched userID (CN=Ivan Petrov)\n",
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
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
  EXPECT_THAT(provider().calls("CryptReleaseContext"), IsEmpty());
}

TEST_F(SignerSelectionTest, KeepsTheResultOfAWrongPin) {
  provider().addCertificate({.pin = "5678"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PASSWORD);
}

TEST_F(SignerSelectionTest, DoesNotSetAnEmptyPin) {
  provider().addCertificate({.pin = "5678"});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(provider().calls("CryptSetProvParam"), IsEmpty());
}

TEST_F(SignerSelectionTest, GoesOnPastAKeyWithoutHash) {
  ToyCertificate strange;
  strange.publicKeyOid = "1.2.3";
  provider().addCertificate(strange);
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_NOT_OK);
  const auto lines = selection();
  ASSERT_THAT(lines, SizeIs(7));
  EXPECT_EQ(lines[4], kUsable);
  EXPECT_THAT(lines[5], StartsWith("#error#: "));
  EXPECT_EQ(lines[6], kNotFound);
  ASSERT_THAT(linesOf("PrintString"), SizeIs(1));
}

TEST_F(SignerSelectionTest, ChoosesTheHashOfTheProviderForOtherKeys) {
  ToyCertificate rsa;
  rsa.publicKeyOid = szOID_RSA_RSA;
  provider().addCertificate(rsa);
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_THAT(selection(), Contains("#trace# Using hash alg = 2.16.840.1.101.3.4.2.1.\n"));
}

TEST_F(SignerSelectionTest, KeepsTheResultOfTheLastRejection) {
  ToyCertificate certificate;
  certificate.pin = "5678";
  provider().addCertificate(certificate);
  certificate.hasKey = false;
  provider().addCertificate(certificate);
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PROFILE);
}

TEST_F(SignerSelectionTest, NumbersItsLinesByThePlaceInTheList) {
  provider().stores.push_back({});
  call.signers.add("CN=a", "My");
  call.signers.add("CN=b", "My");
  EXPECT_EQ(call.run(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesOf("SsfSign"), Contains("#trace# Signer 1 Store = My.\n"));
  EXPECT_THAT(linesOf("SsfSign"),
              Contains("#error# Signer's (1) Certificate with supplied pin code NOT FOUND.\n"));
}

TEST_F(SignerSelectionTest, ReleasesEverySignersCertificateOnce) {
  provider().addCertificate({});
  for (int i = 0; i < 3; ++i) {
    call.signers.add("CN=Ivan Petrov");
  }
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"),
              ElementsAre("CertFreeCertificateContext(certificate#1)",
                          "CertFreeCertificateContext(certificate#2)",
                          "CertFreeCertificateContext(certificate#3)"));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(3));
}

TEST_F(SignerSelectionTest, NeverTracesAPassword) {
  provider().addCertificate({.pin = "secret number"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "My", "secret number"), SSF_API_OK);
  EXPECT_EQ(signWith("CN=Nobody", "My", "secret number"), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(provider().journal(), Not(Contains(HasSubstr("secret"))));
}

TEST_F(SignerSelectionTest, RejectsAThumbprintThatThereIsNoMemoryFor) {
  provider().addCertificate({});
  call.signers.add(thumbprint("11"));
  unsigned lost = 0;
  for (unsigned n = 1; n < 60; ++n) {
    SAPRETURN code = SSF_API_OK;
    {
      const scripted::AllocationFailure failure(n);
      code = call.run();
    }
    SsfDELSsfOctetstring(call.output.data(), call.output.length());
    if (code == SSF_API_SIGNER_ERROR) {
      ++lost;
      EXPECT_THAT(linesOf("SsfSign"),
                  Contains("#error#: Invalid user's ID (" + thumbprint("11") + ")\n"));
      EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_UNKNOWN));
    }
  }
  EXPECT_EQ(lost, 1U);
}

}  // namespace
}  // namespace qx::test
