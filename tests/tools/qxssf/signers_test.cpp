#include "tools/qxssf/signers.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tests/tools/common/throws.h"

namespace qx::ssf::signers_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using tools::ExitCode;
using tools::expectRefusal;
using tools::PinSource;

const Library& library() {
  static const Library kLibrary(QX_LIBRARY);
  return kLibrary;
}

std::vector<Signer> parse(std::vector<std::string> arguments) {
  CLI::App app;
  std::vector<Signer> signers;
  addSigners(app, signers);
  std::ranges::reverse(arguments);
  app.parse(std::move(arguments));
  return signers;
}

TEST(SignerOptions, EachBelongToTheSignerInFrontOfThem) {
  const std::vector<Signer> signers = parse({"--signer",
                                             "CN=A",
                                             "--pin-env",
                                             "A_PIN",
                                             "-s",
                                             "CN=B",
                                             "--profile",
                                             "mMy",
                                             "-s",
                                             "CN=C",
                                             "-p",
                                             "Other",
                                             "--pin-file",
                                             "c.pin"});
  ASSERT_THAT(signers, SizeIs(3));
  EXPECT_EQ(signers[0].id, "CN=A");
  EXPECT_EQ(signers[0].profile, "");
  EXPECT_EQ(signers[0].pin.kind, PinSource::Kind::Environment);
  EXPECT_EQ(signers[0].pin.value, "A_PIN");
  EXPECT_EQ(signers[1].id, "CN=B");
  EXPECT_EQ(signers[1].profile, "mMy");
  EXPECT_EQ(signers[1].pin.kind, PinSource::Kind::None);
  EXPECT_EQ(signers[2].profile, "Other");
  EXPECT_EQ(signers[2].pin.kind, PinSource::Kind::File);
}

TEST(SignerOptions, InFrontOfAnySignerAreRefused) {
  for (const char* option : {"--profile", "--pin-env", "--pin-file", "--pin-fd"}) {
    expectRefusal([&] { parse({option, "x", "--signer", "CN=A"}); },
                  ExitCode::Usage,
                  HasSubstr("behind their --signer"));
  }
}

TEST(SignerRecords, HoldIdentityProfileAndPin) {
  const test::TempDir folder;
  tools::Report report("qxssf");
  Records records(library());
  fillRecords({{.id = "CN=A",
                .profile = "mMy",
                .pin = {.kind = PinSource::Kind::File, .value = folder.write("pin", "12 34\n")}},
               {.id = "CN=B"}},
              records,
              report);
  const auto* first = records.get();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(textOf(first->info->id, first->info->idLength), "CN=A");
  EXPECT_EQ(textOf(first->info->profile, first->info->profileLength), "mMy");
  EXPECT_EQ(textOf(first->info->password, first->info->passwordLength), "12 34");
  EXPECT_EQ(first->info->result, SSF_RESULT_UNDEFINED);
  const auto* second = first->next;
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(textOf(second->info->id, second->info->idLength), "CN=B");
  EXPECT_EQ(second->info->profileLength, 0);
  EXPECT_EQ(second->info->passwordLength, 0);
  EXPECT_EQ(second->next, nullptr);
}

TEST(SignerRecords, NeedAnIdentity) {
  tools::Report report("qxssf");
  Records records(library());
  expectRefusal([&] { fillRecords({{.id = ""}}, records, report); },
                ExitCode::Usage,
                HasSubstr("an identity is empty"));
  EXPECT_EQ(records.get(), nullptr);
}

TEST(SignerRecords, AreNotMadeWithoutTheirPin) {
  tools::Report report("qxssf");
  Records records(library());
  expectRefusal(
      [&] {
        fillRecords(
            {{.id = "CN=A", .pin = {.kind = PinSource::Kind::File, .value = "/nonexistent/pin"}}},
            records,
            report);
      },
      ExitCode::Key,
      HasSubstr("/nonexistent/pin"));
}

TEST(SignerFault, NamesEveryOneWhoCouldNotSign) {
  Records records(library());
  for (const char* id : {"CN=A", "CN=B", "CN=C"}) {
    records.add(id, "", {});
  }
  records.get()->info->result = SSF_RESULT_UNKNOWN;
  records.get()->next->info->result = SSF_RESULT_OK;
  records.get()->next->next->info->result = SSF_RESULT_INVALID_PASSWORD;
  EXPECT_EQ(
      reasonOf(SSF_API_SIGNER_ERROR, records, kSigner),
      "signer 1 (CN=A): no certificate of this identity in the store (qxprovider cert list shows "
      "whom it holds); signer 3 (CN=C): the PIN does not open the private key (--pin-file, "
      "--pin-fd, --pin-env or --pin-prompt gives it)");
}

TEST(SignerFault, IsTheCodesOwnMeaningWhenAllCouldSign) {
  Records records(library());
  EXPECT_EQ(reasonOf(SSF_API_SIGNER_ERROR, records, kSigner), "a signer cannot be used");
  records.add("CN=A", "", {});
  records.get()->info->result = SSF_RESULT_OK;
  EXPECT_EQ(reasonOf(SSF_API_SIGNER_ERROR, records, kSigner), "a signer cannot be used");
}

TEST(SignerFault, IsNotLookedForWhenTheCodeTellsOfSomethingElse) {
  Records records(library());
  records.add("CN=A", "", {});
  records.get()->info->result = SSF_RESULT_INVALID_PASSWORD;
  EXPECT_EQ(reasonOf(SSF_API_NO_MEMORY, records, kSigner), "there is not enough memory");
}

TEST(Count, IsOneOrMany) {
  EXPECT_EQ(counted(1, kSigner), "1 signer");
  EXPECT_EQ(counted(2, kSigner), "2 signers");
  EXPECT_EQ(counted(1, kReader), "1 recipient");
  EXPECT_EQ(counted(1000, kRecipient), "1000 recipients");
}

TEST(SignerReport, TellsWhatBecameOfEach) {
  Records records(library());
  records.add("CN=A", "", {});
  records.add("CN=B", "", {});
  records.get()->info->result = SSF_RESULT_OK;
  tools::Report report("qxssf");
  reportPeople(records, kSigner, report);
  const auto& signers = report.facts()["signers"];
  ASSERT_THAT(signers, SizeIs(2));
  EXPECT_EQ(signers[0]["words"], "good");
  EXPECT_EQ(signers[1]["number"], 2);
  EXPECT_EQ(signers[1]["id"], "CN=B");
  EXPECT_EQ(signers[1]["result"], SSF_RESULT_UNDEFINED);
  EXPECT_EQ(signers[1]["words"], "could not be tried");
}

TEST(Recipients, AreToldInTheWordsOfTheirOperation) {
  Records records(library());
  records.add("CN=A", "", {});
  records.get()->info->result = SSF_RESULT_NOCERTIFICATE;
  EXPECT_EQ(
      reasonOf(SSF_API_RECIPIENT_ERROR, records, kRecipient),
      "recipient 1 (CN=A): no certificate of this identity in the address book (qxprovider cert "
      "add --store Addressbook)");
  records.get()->info->result = SSF_RESULT_NOT_OK;
  EXPECT_EQ(reasonOf(SSF_API_RECIPIENT_ERROR, records, kReader),
            "recipient 1 (CN=A): the message is not for this recipient, or was changed");
  tools::Report report("qxssf");
  reportPeople(records, kReader, report);
  ASSERT_THAT(report.facts()["recipients"], SizeIs(1));
  EXPECT_EQ(report.facts()["recipients"][0]["result"], SSF_RESULT_NOT_OK);
}

Signer parsePerson(std::vector<std::string> arguments) {
  CLI::App app;
  Signer person;
  addPerson(app, "-r,--recipient", "Who", person);
  std::ranges::reverse(arguments);
  app.parse(std::move(arguments));
  return person;
}

TEST(PersonOptions, StandInAnyOrder) {
  const Signer person = parsePerson({"--pin-env", "A_PIN", "-p", "mMy", "--recipient", "CN=A"});
  EXPECT_EQ(person.id, "CN=A");
  EXPECT_EQ(person.profile, "mMy");
  EXPECT_EQ(person.pin.kind, PinSource::Kind::Environment);
  EXPECT_EQ(person.pin.value, "A_PIN");
}

TEST(PersonOptions, NameExactlyOne) {
  EXPECT_THROW(parsePerson({"--profile", "My"}), CLI::RequiredError);
  EXPECT_THROW(parsePerson({"-r", "CN=A", "-r", "CN=B"}), CLI::ParseError);
}

TEST(PersonOptions, TakeNoPinItself) {
  EXPECT_ANY_THROW(parsePerson({"-r", "CN=A", "--pin", "1234"}));
}

TEST(LoadedLibrary, NamesWhatItLacks) {
  expectRefusal([] { static_cast<void>(library().function<void()>("SsfNothing")); },
                ExitCode::Internal,
                HasSubstr("it has no SsfNothing"));
  EXPECT_NE(library().function<void()>("SsfSign"), nullptr);
}

TEST(LoadedLibrary, IsNamedWhenItIsNotThere) {
  expectRefusal([] { const Library none("/nonexistent/library.so"); },
                ExitCode::Internal,
                HasSubstr("/nonexistent/library.so"));
}

TEST(LoadedOctets, AreEmptyAtFirstAndFreedOnce) {
  const Octets none(library());
  EXPECT_THAT(none.bytes(), IsEmpty());
  EXPECT_EQ(none.text(), "");
  Octets version(library());
  EXPECT_EQ(QX_SSF_FUNCTION(library(), SsfVersion)(version.data(), version.length()), SSF_API_OK);
  EXPECT_THAT(std::string(version.text()), HasSubstr("SSF library for SAP"));
  EXPECT_EQ(version.bytes().size(), version.text().size());
}

TEST(RecordText, TakesNoPointerAndNoLengthForNothing) {
  const SAP_B8 byte = 'x';
  EXPECT_EQ(textOf(nullptr, 5), "");
  EXPECT_EQ(textOf(&byte, 0), "");
  EXPECT_EQ(textOf(&byte, -1), "");
  EXPECT_EQ(textOf(&byte, 1), "x");
}

}  // namespace
}  // namespace qx::ssf::signers_test
