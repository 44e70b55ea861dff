#include "qxsapssf/identity/signer.h"

#include <string>
#include <vector>

#include "qxsapssf/identity/private_key.h"
#include "tests/qxsapssf/operation.h"

// The search that three operations share. What SsfSign makes of it is tested with SsfSign.

namespace qx::signer_test {
namespace {

using scripted::provider;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class SignerTest : public test::OperationTest {
 protected:
  /// Looks for the certificate of one record.
  Certificate select(const SelectionTrace& trace, CertificateList* certificates = nullptr) {
    slot_ = {};
    return selectSignerCertificate(record(), /*number=*/3, trace, slot_, certificates);
  }

  SigRcpSsfInformation& record() {
    return records_.list == nullptr ? records_.add(id_, profile_, password_) : *records_.list->info;
  }

  std::string id_ = "CN=Ivan Petrov";
  std::string profile_;
  std::string password_;
  test::Records records_;
  CMSG_SIGNER_ENCODE_INFO slot_{};
};

TEST_F(SignerTest, FillsTheSlotOfTheEncoder) {
  provider().addCertificate({.keySpec = AT_SIGNATURE});
  const Certificate found = select(kSignSelection);
  ASSERT_TRUE(found);
  EXPECT_EQ(record().result, SSF_RESULT_OK);
  EXPECT_EQ(slot_.cbSize, sizeof(CMSG_SIGNER_ENCODE_INFO));
  EXPECT_EQ(slot_.pCertInfo, found.get()->pCertInfo);
  EXPECT_NE(slot_.hCryptProv, 0U);
  EXPECT_EQ(slot_.dwKeySpec, DWORD{AT_SIGNATURE});
  EXPECT_STREQ(slot_.HashAlgorithm.pszObjId, "1.2.643.7.1.1.2.2");
  EXPECT_EQ(slot_.HashAlgorithm.Parameters.cbData, 0U);
  EXPECT_EQ(slot_.pvHashAuxInfo, nullptr);
  EXPECT_EQ(slot_.cAuthAttr, 0U);
  EXPECT_EQ(slot_.cUnauthAttr, 0U);
}

TEST_F(SignerTest, GivesADuplicateForTheMessageWhenAskedTo) {
  provider().addCertificate({});
  CertificateList certificates;
  const Certificate found = select(kSignSelection, &certificates);
  ASSERT_TRUE(found);
  ASSERT_THAT(certificates, SizeIs(1));
  EXPECT_TRUE(certificates.front());
  EXPECT_THAT(provider().calls("CertDuplicateCertificateContext"), SizeIs(1));
}

TEST_F(SignerTest, AddsNothingToTheMessageWhenNobodyIsFound) {
  provider().stores.push_back({});
  CertificateList certificates;
  EXPECT_FALSE(select(kSignSelection, &certificates));
  EXPECT_THAT(certificates, IsEmpty());
}

TEST_F(SignerTest, ClosesTheStoreBeforeItTellsThatNobodyWasFound) {
  provider().stores.push_back({});
  EXPECT_FALSE(select(kAddSignSelection));
  EXPECT_THAT(provider().journal().back(),
              HasSubstr("Signer's certificate with supplied pin code not found"));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(1));
}

TEST_F(SignerTest, TellsItsProgressUnderTheNameOfSsfAddSign) {
  profile_ = "My";
  password_ = "1234";
  provider().addCertificate({.pin = "1234"});
  EXPECT_TRUE(select(kAddSignSelection));
  EXPECT_THAT(
      test::linesOf("SsfAddSign"),
      ElementsAre("#trace# Signer's Store = My.\n",
                  "#info#: Searched userID (CN=Ivan Petrov)\n",
                  "#trace# Search Signer's certificate.\n",
                  "#trace# One of Signer's certificate found. Trying to acquire private key.\n",
                  "#trace# Explicit pin code? IsPinExplicit = 1.\n",
                  "#trace# Set explisit pin code - Ok.\n",
                  "#trace# Private Key successfully acquired.\n",
                  "#trace# Using hash alg = 1.2.643.7.1.1.2.2.\n"));
  EXPECT_THAT(test::linesOf("SsfSign"), IsEmpty());
}

TEST_F(SignerTest, TellsNoProgressUnderTheNameOfSsfDevelope) {
  profile_ = "My";
  password_ = "1234";
  provider().addCertificate({.pin = "1234"});
  EXPECT_TRUE(select(kDevelopeSelection));
  for (const std::string& line : test::linesOf("SsfDevelope")) {
    EXPECT_THAT(line, Not(HasSubstr("explisit")));
    EXPECT_THAT(line, Not(HasSubstr("One of Signer's")));
    EXPECT_THAT(line, Not(HasSubstr("successfully acquired")));
    EXPECT_THAT(line, Not(HasSubstr("Store = ")));
  }
}

struct Refusal {
  const char* call;
  SAPRETURN sign;
  SAPRETURN develope;
};

class SignerRefusal : public SignerTest, public ::testing::WithParamInterface<Refusal> {
 protected:
  void SetUp() override {
    SignerTest::SetUp();
    password_ = "1234";
    provider().addCertificate({.pin = "1234"});
  }

  // Looks for a signer whom the failing call keeps from being found.
  SAPRETURN resultOf(const SelectionTrace& trace) {
    provider().failAlways(GetParam().call, NTE_FAIL);
    EXPECT_FALSE(select(trace));
    EXPECT_EQ(provider().calls("CertCloseStore").size(),
              provider().calls("CertOpenStore").size() - (isOpen() ? 1 : 0));
    return record().result;
  }

  static bool isOpen() { return std::string_view(GetParam().call) == "CertOpenStore"; }
};

TEST_P(SignerRefusal, OfSsfSign) {
  EXPECT_EQ(resultOf(kSignSelection), GetParam().sign);
}

TEST_P(SignerRefusal, OfSsfAddSignIsTheSame) {
  EXPECT_EQ(resultOf(kAddSignSelection), GetParam().sign);
}

TEST_P(SignerRefusal, OfSsfDevelope) {
  EXPECT_EQ(resultOf(kDevelopeSelection), GetParam().develope);
}

INSTANTIATE_TEST_SUITE_P(
    Calls,
    SignerRefusal,
    ::testing::Values(
        Refusal{"CertOpenStore", SSF_RESULT_INVALID_PROFILE, SSF_RESULT_INVALID_PROFILE},
        Refusal{"CryptAcquireCertificatePrivateKey",
                SSF_RESULT_INVALID_PROFILE,
                SSF_RESULT_INVALID_PROFILE},
        Refusal{"CryptSetProvParam", SSF_RESULT_INVALID_PASSWORD, SSF_RESULT_INVALID_PROFILE},
        Refusal{"CryptGetProvParam", SSF_RESULT_INVALID_PASSWORD, SSF_RESULT_INVALID_PASSWORD}));

TEST_F(SignerTest, PassesOverWhatFailsOnce) {
  provider().addCertificate({.pin = "1234"});
  provider().addCertificate({.pin = "1234"});
  password_ = "1234";
  for (const char* call :
       {"CryptAcquireCertificatePrivateKey", "CryptSetProvParam", "CryptGetProvParam"}) {
    provider().failFirst(call, NTE_FAIL);
    EXPECT_TRUE(select(kDevelopeSelection)) << call;
    EXPECT_EQ(record().result, SSF_RESULT_OK) << call;
  }
}

TEST_F(SignerTest, IsNamedWhenThereIsAnIdentity) {
  SigRcpSsfInformation signer{};
  std::string id = " a ";
  signer.id = test::bytesOf(id);
  signer.idLength = 3;
  signer.result = 99;
  EXPECT_TRUE(hasIdentity(signer, "SsfSomething"));
  EXPECT_EQ(signer.result, 99);
  EXPECT_THAT(test::linesOf("SsfSomething"), IsEmpty());
}

TEST_F(SignerTest, IsNotNamedByNothingOrBySpaces) {
  SigRcpSsfInformation signer{};
  std::string id = "   ";
  signer.id = test::bytesOf(id);
  for (const SsfOctetlen length : {0, -1, INT32_MIN}) {
    signer.idLength = length;
    signer.result = 99;
    EXPECT_FALSE(hasIdentity(signer, "SsfSomething"));
    EXPECT_EQ(signer.result, SSF_RESULT_UNKNOWN);
    EXPECT_EQ(test::linesOf("SsfSomething").back(), "#error#: strSigRcpIdL <= 0\n");
  }
  for (const SsfOctetlen length : {1, 3}) {
    signer.idLength = length;
    EXPECT_FALSE(hasIdentity(signer, "SsfSomething"));
    EXPECT_EQ(test::linesOf("SsfSomething").back(), "#error#: Empty strSigRcpId\n");
  }
}

TEST_F(SignerTest, IsUnknownUntilTheStoreTellsOtherwise) {
  provider().stores.push_back({});
  record().result = 99;
  EXPECT_FALSE(select(kSignSelection));
  EXPECT_EQ(record().result, SSF_RESULT_UNKNOWN);
}

TEST_F(SignerTest, OfADecryptionNeedsNoHash) {
  provider().addCertificate({.publicKeyOid = "1.2.3"});
  EXPECT_TRUE(select(kDevelopeSelection));
  EXPECT_EQ(slot_.HashAlgorithm.pszObjId, nullptr);
  EXPECT_THAT(test::linesOf("SsfDevelope"), IsEmpty());
}

TEST_F(SignerTest, ReadsItsIdentityAsFarAsItsLength) {
  provider().addCertificate({});
  id_ = "CN=Ivan Petrov, O=Nowhere";
  record().idLength = 14;
  EXPECT_TRUE(select(kSignSelection));
  record().idLength = 25;
  EXPECT_FALSE(select(kSignSelection));
}

TEST_F(SignerTest, IsFoundWithAnyNumberOfPasswordsThatArePrompts) {
  provider().addCertificate({.pin = "1234"});
  provider().promptAnswer = "1234";
  for (const char* password : {"!", "!a", "!ab"}) {
    test::Records records;
    SigRcpSsfInformation& signer = records.add(id_, "", password);
    EXPECT_FALSE(isPinExplicit(signer)) << password;
    CMSG_SIGNER_ENCODE_INFO slot{};
    EXPECT_TRUE(selectSignerCertificate(signer, 0, kSignSelection, slot, nullptr)) << password;
  }
  EXPECT_THAT(provider().pinsSet(), IsEmpty());
}

TEST_F(SignerTest, GivesAnExplicitPinUpToItsLength) {
  SigRcpSsfInformation signer{};
  std::string password = "!abc";
  signer.password = test::bytesOf(password);
  signer.passwordLength = 4;
  EXPECT_TRUE(isPinExplicit(signer));
  signer.passwordLength = 3;
  EXPECT_FALSE(isPinExplicit(signer));
  signer.passwordLength = -4;
  EXPECT_TRUE(isPinExplicit(signer));
  gConfig.askPinWhenEmpty = 1;
  EXPECT_FALSE(isPinExplicit(signer));
}

TEST_F(SignerTest, NeedsAHashForTheKey) {
  provider().addCertificate({.publicKeyOid = "1.2.3"});
  EXPECT_FALSE(select(kAddSignSelection));
  EXPECT_EQ(record().result, SSF_RESULT_NOT_OK);
  EXPECT_THAT(test::linesOf("SsfAddSign"), Contains(StartsWith("#error#: ")));
  EXPECT_THAT(test::linesOf("PrintString"), ElementsAre(EndsWith("\n")));
}

// Each failed call of the platform leaves a record with a result, and everything given back.
TEST_F(SignerTest, SurvivesAnyFailedCall) {
  provider().addCertificate({.pin = "1234"});
  password_ = "1234";
  static_cast<void>(record());
  const unsigned before = provider().failableCalls();
  EXPECT_TRUE(select(kSignSelection));
  const unsigned calls = provider().failableCalls() - before;
  ASSERT_GT(calls, 5U);
  unsigned refused = 0;
  for (unsigned n = 1; n <= calls; ++n) {
    provider().reset();
    provider().addCertificate({.pin = "1234"});
    provider().failAny(n, NTE_FAIL);
    if (!select(kSignSelection)) {
      ++refused;
      EXPECT_NE(record().result, SSF_RESULT_OK) << n;
    }
    EXPECT_THAT(provider().leftovers(), IsEmpty()) << n;
  }
  EXPECT_GT(refused, 4U);
}

}  // namespace
}  // namespace qx::signer_test
