// How SsfEnvelope finds the certificates of its recipients.
#include <utility>

#include "tests/qxsapssf/envelope_call.h"

namespace qx::test::envelope_recipients_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kNotFound = "Certificate not found\n";

class EnvelopeRecipientsTest : public EnvelopeTest {};

TEST_F(EnvelopeRecipientsTest, OpensTheStoreThatTheProfileNames) {
  call.recipients.add("CN=a");
  provider().failAlways("CertFindCertificateInStore", 0x80092004);
  for (const auto& [profile, expected] : std::vector<std::pair<std::string, std::string>>{
           {"", "0x14000, Addressbook)"},
           {"My", "0x14000, My)"},
           {"uOther", "0x14000, Other)"},
           {"mOther", "0x24000, Other)"},
           {"<TIME>Other", "0x14000, Other)"},
           {"20240131120000Other", "0x14000, Other)"},
           {"20240131120000", "0x14000, 20240131120000)"}}) {
    call.profile = profile;
    call.run();
    EXPECT_THAT(provider().calls("CertOpenStore").back(), HasSubstr(expected)) << profile;
  }
}

TEST_F(EnvelopeRecipientsTest, RefusesAnAddressBookThatDoesNotOpen) {
  call.recipients.add("CN=a");
  call.profile = "uNone";
  expectFailure(SSF_API_INVALID_PAB);
  EXPECT_THAT(lines(), ElementsAre("#error#: Invalid PAB store\n"));
  EXPECT_THAT(linesOf("PrintString"), IsEmpty());
  EXPECT_THAT(call.recipients.results(), ElementsAre(99));
}

TEST_F(EnvelopeRecipientsTest, IgnoresTheProfilesOfTheRecords) {
  addCertificate(1);
  call.recipients.add("CN=Recipient 1", "mNone", "1234");
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CertOpenStore"), SizeIs(1));
  EXPECT_THAT(provider().calls("CryptAcquireCertificatePrivateKey"), IsEmpty());
  EXPECT_THAT(provider().pinsSet(), IsEmpty());
}

TEST_F(EnvelopeRecipientsTest, FindsAllButMakesNoMessageWithoutTheOne) {
  addRecipient(1);
  call.recipients.add("CN=Nobody");
  addRecipient(3);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(call.recipients.results(),
              ElementsAre(SSF_RESULT_OK, SSF_RESULT_NOCERTIFICATE, SSF_RESULT_OK));
  EXPECT_THAT(lines(), ElementsAre(kNotFound, kSomeNotFound));
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"), IsEmpty());
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(1));
}

TEST_F(EnvelopeRecipientsTest, ReleasesTheFoundCertificatesBeforeItSaysThatSomeAreMissing) {
  addRecipient(1);
  call.recipients.add("=x");
  expectFailure(SSF_API_RECIPIENT_ERROR);
  const auto& journal = provider().journal();
  const auto line = std::ranges::find(journal, std::string("trace SsfEnvelope: ") + kSomeNotFound);
  ASSERT_NE(line, journal.end());
  EXPECT_EQ(*(line - 1), "CertFreeCertificateContext(certificate#1)");
  EXPECT_EQ(*(line - 2), "CertCloseStore(store#1, 0x0)");
}

TEST_F(EnvelopeRecipientsTest, RejectsUnusableIdentitiesAndGoesOn) {
  addCertificate(4);
  SigRcpSsfInformation& unnamed = call.recipients.add("CN=a");
  unnamed.idLength = 0;
  call.recipients.add("   ");
  call.recipients.add("no name");
  call.recipients.add("CN=Recipient 4");
  expectFailure(SSF_API_RECIPIENT_ERROR);
  unnamed.idLength = 4;
  EXPECT_THAT(
      call.recipients.results(),
      ElementsAre(SSF_RESULT_UNKNOWN, SSF_RESULT_UNKNOWN, SSF_RESULT_UNKNOWN, SSF_RESULT_OK));
  EXPECT_THAT(lines(),
              ElementsAre("#error#: strSigRcpIdL <= 0\n",
                          "#error#: empty strSigRcpId\n",
                          "#error#: Invalid user's ID (no name)\n",
                          kSomeNotFound));
}

TEST_F(EnvelopeRecipientsTest, TakesAMissingIdentityForAnEmptyOne) {
  addCertificate(1);
  SigRcpSsfInformation hollow{};
  hollow.idLength = 4;
  SigRcpSsfInformationListStruct node{nullptr, &hollow};
  SigRcpSsfInformationListStruct* own = std::exchange(call.recipients.list, &node);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  call.recipients.list = own;
  EXPECT_EQ(hollow.result, SSF_RESULT_UNKNOWN);
  EXPECT_THAT(lines(), ElementsAre("#error#: strSigRcpIdL <= 0\n", kSomeNotFound));
}

TEST_F(EnvelopeRecipientsTest, StopsAtANodeWithoutRecord) {
  addRecipient(1);
  addRecipient(2);
  addRecipient(3);
  SigRcpSsfInformationListStruct* second = call.recipients.list->next;
  SigRcpSsfInformation* record = std::exchange(second->info, nullptr);
  expectFailure(SSF_API_NO_PROVIDER);
  second->info = record;
  EXPECT_THAT(lines(), ElementsAre("#error#: Unintialized recipient structure\n"));
  EXPECT_THAT(call.recipients.results(), ElementsAre(SSF_RESULT_OK, 99, 99));
  EXPECT_THAT(provider().calls("CertCloseStore"), SizeIs(1));
}

TEST_F(EnvelopeRecipientsTest, TakesTheFirstCertificateOfAName) {
  addCertificate(2);
  provider().addCertificate({.subject = "O=Bank, CN=Ivan", .serial = {5}}, L"Addressbook");
  provider().addCertificate({.subject = "CN=Ivan, O=Bank", .serial = {6}}, L"Addressbook");
  call.recipients.add("CN=Ivan, O=Bank");
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_EQ(call.output.text(), "enveloped(\"content\";recipient CN=Test CA, C=RU/05)");
  EXPECT_THAT(provider().calls("CertFindCertificateInStore"), SizeIs(2));
}

TEST_F(EnvelopeRecipientsTest, GoesOnPastASubjectThatDoesNotParse) {
  provider().addCertificate({.subject = "broken"}, L"Addressbook");
  addRecipient(1);
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(lines(), ElementsAre("#error#: Invalid certificate DN\n"));
  EXPECT_THAT(call.recipients.results(), ElementsAre(SSF_RESULT_OK));
}

TEST_F(EnvelopeRecipientsTest, SaysNotFoundAlsoWhenASubjectDidNotParse) {
  provider().addCertificate({.subject = "broken"}, L"Addressbook");
  call.recipients.add("CN=Nobody");
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(lines(), ElementsAre("#error#: Invalid certificate DN\n", kNotFound, kSomeNotFound));
  EXPECT_THAT(call.recipients.results(), ElementsAre(SSF_RESULT_NOCERTIFICATE));
}

TEST_F(EnvelopeRecipientsTest, DoesNotCarryAThumbprintOverToTheNextRecipient) {
  addCertificate(0x11);
  call.recipients.add(thumbprint("11"));
  call.recipients.add("3FA");
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(call.recipients.results(), ElementsAre(SSF_RESULT_OK, SSF_RESULT_NOCERTIFICATE));
}

TEST_F(EnvelopeRecipientsTest, EnvelopesTwiceForARecipientWhoIsNamedTwice) {
  addRecipient(1);
  call.recipients.add(thumbprint("01"));
  EXPECT_EQ(call.run(), SSF_API_OK);
  EXPECT_THAT(provider().calls("CryptMsgOpenToEncode"),
              ElementsAre(HasSubstr(" recipients (CN=Recipient 1) (CN=Recipient 1)")));
}

TEST_F(EnvelopeRecipientsTest, CutsALongIdentityInItsLine) {
  addCertificate(1);
  const std::string id(1000, 'x');
  call.recipients.add(id);
  expectFailure(SSF_API_RECIPIENT_ERROR);
  EXPECT_THAT(lines(), Contains("#error#: Invalid user's ID (" + id.substr(0, 256) + ")\n"));
}

TEST_F(EnvelopeRecipientsTest, LosesARecipientWhoseThumbprintThereIsNoMemoryFor) {
  addCertificate(0x11);
  call.recipients.add(thumbprint("11"));
  expectOneLostThumbprint(call, *call.recipients.list->info, SSF_API_RECIPIENT_ERROR);
}

}  // namespace
}  // namespace qx::test::envelope_recipients_test
