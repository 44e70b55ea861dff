// How SsfSign acquires the key of a signer, with the PIN and the hash that go with it.
#include "tests/qxsapssf/sign_selection.h"

namespace qx::test::sign_key_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kNotExplicit = "#trace# Explicit pin code? IsPinExplicit = 0.\n";
constexpr const char* kPinSet = "#trace# Set explisit pin code - Ok.\n";
constexpr const char* kNotAcquired =
    "#trace# Can not AcquireCertificatePrivateKey. Trying to search another certificate.\n";
constexpr const char* kPinRefused =
    "#trace# Failed to set explisit pin code. Trying to search another certificate.\n";
constexpr const char* kNotUsable =
    "#trace# Can not Acquire Private Key with supplied pin code. Trying to search another "
    "certificate.\n";

class SignerKeyTest : public SignerSelectionTest {};

struct Password {
  const char* password;
  bool askWhenEmpty;
  bool isExplicit;
  std::vector<std::string> pins;
};

class SignerPasswordTest : public SignerKeyTest, public ::testing::WithParamInterface<Password> {};

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

TEST_F(SignerKeyTest, LetsTheProviderAskForThePin) {
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

TEST_F(SignerKeyTest, SetsThePinOfTheKindOfKey) {
  provider().addCertificate({.keySpec = 2, .pin = "1234"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptSetProvParam"),
              ElementsAre("CryptSetProvParam(key#1, 0x21, a PIN of 4, 0)"));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), ElementsAre(HasSubstr(" spec 2 ")));
}

TEST_F(SignerKeyTest, EndsThePinAtItsLength) {
  provider().addCertificate({.pin = "12"});
  SigRcpSsfInformation& signer = call.signers.add("CN=Ivan Petrov", "", "1234");
  signer.passwordLength = 2;
  EXPECT_EQ(sign(), SSF_API_OK);
  signer.passwordLength = 4;
  EXPECT_THAT(provider().pinsSet(), ElementsAre("12"));
}

TEST_F(SignerKeyTest, GoesOnPastAKeyThatCannotBeAcquired) {
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

TEST_F(SignerKeyTest, KeepsTheResultOfAKeyThatCannotBeAcquired) {
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

TEST_F(SignerKeyTest, ReportsAPinThatCannotBeSet) {
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

TEST_F(SignerKeyTest, TriesTheNextCertificateAfterAWrongPin) {
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

TEST_F(SignerKeyTest, KeepsTheResultOfAWrongPin) {
  provider().addCertificate({.pin = "5678"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PASSWORD);
}

TEST_F(SignerKeyTest, DoesNotSetAnEmptyPin) {
  provider().addCertificate({.pin = "5678"});
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PASSWORD);
  EXPECT_THAT(provider().calls("CryptSetProvParam"), IsEmpty());
}

TEST_F(SignerKeyTest, GoesOnPastAKeyWithoutHash) {
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

TEST_F(SignerKeyTest, ChoosesTheHashOfTheProviderForOtherKeys) {
  ToyCertificate rsa;
  rsa.publicKeyOid = szOID_RSA_RSA;
  provider().addCertificate(rsa);
  EXPECT_EQ(signWith("CN=Ivan Petrov"), SSF_API_OK);
  EXPECT_THAT(selection(), Contains("#trace# Using hash alg = 2.16.840.1.101.3.4.2.1.\n"));
}

TEST_F(SignerKeyTest, KeepsTheResultOfTheLastRejection) {
  ToyCertificate certificate;
  certificate.pin = "5678";
  provider().addCertificate(certificate);
  certificate.hasKey = false;
  provider().addCertificate(certificate);
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", "1234"), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(record->result, SSF_RESULT_INVALID_PROFILE);
}

TEST_F(SignerKeyTest, WipesItsCopyOfThePin) {
  provider().addCertificate({.pin = kLongPin});
  const PinWatch watch;
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", kLongPin), SSF_API_OK);
  EXPECT_EQ(watch.leftover(), std::string(std::string_view(kLongPin).size(), ' '));
}

TEST_F(SignerKeyTest, WipesAPinThatIsNotTakenToo) {
  provider().addCertificate({.pin = "another PIN of more than sixteen bytes"});
  const PinWatch watch;
  EXPECT_EQ(signWith("CN=Ivan Petrov", "", kLongPin), SSF_API_SIGNER_ERROR);
  EXPECT_EQ(watch.leftover(), std::string(std::string_view(kLongPin).size(), ' '));
}

TEST_F(SignerKeyTest, NeverTracesAPassword) {
  provider().addCertificate({.pin = "secret number"});
  EXPECT_EQ(signWith("CN=Ivan Petrov", "My", "secret number"), SSF_API_OK);
  EXPECT_EQ(signWith("CN=Nobody", "My", "secret number"), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(provider().journal(), Not(Contains(HasSubstr("secret"))));
}

}  // namespace
}  // namespace qx::test::sign_key_test
