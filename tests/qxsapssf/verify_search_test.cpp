// Where SsfVerify finds the certificate of a signer.
#include "platform/cert_store.h"

#include "tests/qxsapssf/verify_call.h"

namespace qx::test::verify_search_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kSearch = "CryptGetSignerCertificateCallback";

class SignerSearchTest : public VerifyTest {
 protected:
  void expectFound() {
    EXPECT_EQ(verify(), SSF_API_OK);
    EXPECT_THAT(call.ids(), ElementsAre(kIvan));
  }

  void expectNotFound() {
    EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
    EXPECT_THAT(call.ids(), ElementsAre(kUnknownSigner));
    EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_NOCERTIFICATE));
  }

  /// Puts the signer's certificate into a store instead of the message.
  void moveToStore(std::wstring_view name, DWORD location = CERT_SYSTEM_STORE_CURRENT_USER) {
    toy.certificates.clear();
    provider().stores.push_back(
        {.name = std::wstring(name), .location = location, .certificates = {certificate}});
  }

  ToyCertificate other() {
    ToyCertificate toyOther;
    toyOther.subject = "CN=Other";
    toyOther.serial = {9};
    return toyOther;
  }
};

TEST_F(SignerSearchTest, TakesTheFirstMatchInTheMessageAndLooksNoFurther) {
  toy.certificates.insert(toy.certificates.begin(), {other(), other()});
  toy.certificates.push_back(other());
  expectFound();
  EXPECT_THAT(provider().calls("CertCreateCertificateContext"), SizeIs(3));
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(3));
  EXPECT_THAT(provider().calls("CertOpenStore"), IsEmpty());
  EXPECT_THAT(provider().calls("CadesMsgGetCertificateValues"), IsEmpty());
}

TEST_F(SignerSearchTest, ComparesIssuerAndSerialNumber) {
  toy.certificates[0].serial = {2};
  expectNotFound();
  toy.certificates[0].serial = {1};
  toy.certificates[0].issuer = "CN=Other CA";
  VerifyCall again;
  again.signedData = provider().addMessage(toy);
  EXPECT_EQ(again.run(), SSF_API_SIGNER_ERROR);
}

TEST_F(SignerSearchTest, LooksIntoTheAddressBookOfTheUser) {
  moveToStore(L"Addressbook");
  expectFound();
  EXPECT_THAT(provider().calls("CertOpenStore"),
              ElementsAre("CertOpenStore(10, 0x0, 0, 0x14000, Addressbook)"));
  EXPECT_THAT(
      provider().calls("CertGetSubjectCertificateFromStore"),
      ElementsAre("CertGetSubjectCertificateFromStore(store#1, 0x10001, CN=Test CA, C=RU)"));
  EXPECT_THAT(provider().calls("CertCloseStore"), ElementsAre("CertCloseStore(store#1, 0x0)"));
}

struct Profile {
  std::string profile;
  std::wstring name;
  DWORD location;
};

class SearchProfile : public SignerSearchTest, public ::testing::WithParamInterface<Profile> {};

TEST_P(SearchProfile, NamesTheStore) {
  moveToStore(GetParam().name, GetParam().location);
  call.profile = GetParam().profile;
  expectFound();
}

INSTANTIATE_TEST_SUITE_P(
    EveryForm,
    SearchProfile,
    ::testing::Values(Profile{"mMy", L"My", CERT_SYSTEM_STORE_LOCAL_MACHINE},
                      Profile{"uMy", L"My", CERT_SYSTEM_STORE_CURRENT_USER},
                      Profile{"My", L"My", CERT_SYSTEM_STORE_CURRENT_USER},
                      Profile{"<TIME>My", L"My", CERT_SYSTEM_STORE_CURRENT_USER},
                      Profile{"20240131120000My", L"My", CERT_SYSTEM_STORE_CURRENT_USER},
                      Profile{
                          "20240131120000", L"20240131120000", CERT_SYSTEM_STORE_CURRENT_USER}));

TEST_F(SignerSearchTest, SaysNothingOfAStoreThatDoesNotOpenOrLacksTheCertificate) {
  toy.certificates.clear();
  expectNotFound();
  provider().stores.push_back({.name = L"Addressbook"});
  VerifyCall again;
  again.signedData = call.signedData;
  EXPECT_EQ(again.run(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(linesOf(kSearch), IsEmpty());
}

TEST_F(SignerSearchTest, LooksAmongTheCertificateValuesOfEverySigner) {
  toy.certificates.clear();
  ToySigner second = ToySigner::of(certificate);
  second.serial = {2};
  second.certificateValues = {other(), certificate};
  toy.signers.push_back(second);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.ids(), ElementsAre(kIvan, kUnknownSigner));
  EXPECT_THAT(call.signers.results(), ElementsAre(SSF_RESULT_OK, SSF_RESULT_NOCERTIFICATE));
  EXPECT_THAT(provider().calls("CadesMsgGetCertificateValues"),
              ElementsAre("CadesMsgGetCertificateValues(message#1, 0)",
                          "CadesMsgGetCertificateValues(message#1, 1)",
                          "CadesMsgGetCertificateValues(message#1, 0)",
                          "CadesMsgGetCertificateValues(message#1, 1)"));
  EXPECT_THAT(provider().calls("CadesFreeBlobArray"), SizeIs(4));
}

TEST_F(SignerSearchTest, DuplicatesACertificateValue) {
  toy.certificates.clear();
  toy.signers[0].certificateValues = {certificate};
  expectFound();
  EXPECT_THAT(provider().calls("CertDuplicateCertificateContext"), SizeIs(1));
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(2));
}

TEST_F(SignerSearchTest, PrefersTheMessageAndTheStore) {
  toy.signers[0].certificateValues = {certificate};
  moveToStore(L"Addressbook");
  expectFound();
  EXPECT_THAT(provider().calls("CadesMsgGetCertificateValues"), IsEmpty());
}

class MessageSearchFailure : public SignerSearchTest,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(MessageSearchFailure, EndsTheWholeSearch) {
  moveToStore(L"Addressbook");
  toy.certificates = {other()};
  toy.signers[0].certificateValues = {certificate};
  provider().failFirst(GetParam(), 0x80093102);
  expectNotFound();
  EXPECT_THAT(linesOf(kSearch), ElementsAre(errorLine(0x80093102)));
  EXPECT_THAT(provider().calls("CertOpenStore"), IsEmpty());
  EXPECT_THAT(provider().calls("CadesMsgGetCertificateValues"), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(EveryCall,
                         MessageSearchFailure,
                         ::testing::Values("CryptMsgGetParam(CMSG_CERT_COUNT_PARAM",
                                           "CryptMsgGetParam(CMSG_CERT_PARAM, 0, size",
                                           "CryptMsgGetParam(CMSG_CERT_PARAM, 0, read",
                                           "CertCreateCertificateContext"));

TEST_F(SignerSearchTest, ForgetsNoCertificateWhenTheSearchEnds) {
  toy.certificates = {other(), certificate};
  provider().failNth("CertCreateCertificateContext", 2, 8);
  expectNotFound();
  EXPECT_THAT(provider().calls("CertFreeCertificateContext"), SizeIs(1));
}

TEST_F(SignerSearchTest, ReportsCertificateValuesThatCannotBeRead) {
  toy.certificates.clear();
  provider().failFirst("CadesMsgGetCertificateValues", 120);
  expectNotFound();
  EXPECT_THAT(linesOf(kSearch), ElementsAre(errorLine(120)));
}

TEST_F(SignerSearchTest, GoesOnWithTheValuesOfTheNextSigner) {
  toy.certificates.clear();
  addSigner(2);
  toy.certificates.clear();
  toy.signers[1].certificateValues = {certificate};
  provider().failFirst("CadesMsgGetCertificateValues", 120);
  EXPECT_EQ(verify(), SSF_API_SIGNER_ERROR);
  EXPECT_THAT(call.ids(), ElementsAre(kIvan, kUnknownSigner));
}

TEST_F(SignerSearchTest, ReportsASignerCountThatCannotBeReadAgain) {
  toy.certificates.clear();
  toy.signers[0].certificateValues = {certificate};
  provider().failNth("CryptMsgGetParam(CMSG_SIGNER_COUNT_PARAM", 2, 8);
  expectNotFound();
  EXPECT_THAT(linesOf(kSearch), ElementsAre(errorLine(8)));
}

TEST_F(SignerSearchTest, ReportsACertificateValueThatIsNone) {
  toy.certificates.clear();
  toy.signers[0].certificateValues = {other(), certificate};
  provider().failFirst("CertCreateCertificateContext", 0x8009310B);
  expectFound();
  EXPECT_THAT(linesOf(kSearch), ElementsAre(errorLine(0x8009310B)));
}

TEST_F(SignerSearchTest, FindsNothingInMissingCertificateValues) {
  toy.certificates.clear();
  toy.signers[0].certificateValues = {certificate};
  provider().giveNothing("CadesMsgGetCertificateValues");
  expectNotFound();
  EXPECT_THAT(linesOf(kSearch), IsEmpty());
}

TEST_F(SignerSearchTest, SaysWithoutLevelThatNothingWasFound) {
  toy.certificates.clear();
  expectNotFound();
  EXPECT_THAT(linesAfterOpening()[1], StartsWith("Certificate not found\n"));
}

}  // namespace
}  // namespace qx::test::verify_search_test
