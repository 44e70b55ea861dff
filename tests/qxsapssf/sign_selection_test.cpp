// How SsfSign finds the certificate of a signer.
#include "tests/qxsapssf/sign_selection.h"

namespace qx::test::sign_selection_test {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

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
}  // namespace qx::test::sign_selection_test
