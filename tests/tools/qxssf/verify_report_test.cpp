#include "tools/qxssf/verify_report.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::ssf::verify_report_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;
using tools::ExitCode;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The library keeps loaded what it is asked from, as in the tool.
const Library& library() {
  static const Library kLibrary(QX_LIBRARY);
  return kLibrary;
}

/// What is read from one record with a profile, as the verification leaves it.
SignerVerdict verdictOf(std::string_view profile, SAPRETURN result = SSF_RESULT_OK) {
  Records records(library());
  records.add("CN=A", profile, {});
  records.get()->info->result = result;
  const std::vector<SignerVerdict> verdicts = verdictsOf(library(), records);
  EXPECT_THAT(verdicts, SizeIs(1));
  return verdicts.at(0);
}

std::string printed(const std::vector<SignerVerdict>& verdicts) {
  tools::Report report("qxssf");
  reportVerdicts(verdicts, report);
  CaptureStdout();
  report.print();
  static_cast<void>(std::fflush(stdout));
  return GetCapturedStdout();
}

SignerVerdict verdict(const std::string& id, SAPRETURN result) {
  return {.id = id, .result = result};
}

TEST(Verdicts, HoldIdentityAndResult) {
  const SignerVerdict read = verdictOf("", SSF_RESULT_NOT_OK);
  EXPECT_EQ(read.id, "CN=A");
  EXPECT_EQ(read.result, SSF_RESULT_NOT_OK);
  EXPECT_FALSE(read.signingTime);
  EXPECT_FALSE(read.stampTime);
  EXPECT_FALSE(read.certificate);
}

TEST(Verdicts, HoldTheSigningTime) {
  const SignerVerdict read = verdictOf("15.11.2026 20:03:41 (UTCTime: 261115170341Z)");
  EXPECT_EQ(read.signingTime, "2026-11-15T17:03:41Z");
  EXPECT_FALSE(read.stampTime);
}

TEST(Verdicts, HoldTheTimeOfTheStampBesideIt) {
  const std::string signing = "15.11.2026 20:03:41 (UTCTime: 261115170341Z)";
  const std::string stamp = "15.11.2026 20:03:59 (UTCTime: 261115170359Z) extracted from timestamp";
  const SignerVerdict both = verdictOf(signing + '\0' + stamp);
  EXPECT_EQ(both.signingTime, "2026-11-15T17:03:41Z");
  EXPECT_EQ(both.stampTime, "2026-11-15T17:03:59Z");
  const SignerVerdict alone = verdictOf(stamp);
  EXPECT_FALSE(alone.signingTime);
  EXPECT_EQ(alone.stampTime, "2026-11-15T17:03:59Z");
}

TEST(Verdicts, MakeNothingOfATextThatIsNoTime) {
  for (const char* profile : {"My",
                              "(UTCTime: ",
                              "(UTCTime: 26111517034",
                              "UTCTime: 261115170341Z",
                              "extracted from timestamp"}) {
    const SignerVerdict read = verdictOf(profile);
    EXPECT_FALSE(read.signingTime) << profile;
    EXPECT_FALSE(read.stampTime) << profile;
  }
}

TEST(Verdicts, MakeNothingOfWhatIsNoCertificate) {
  Records records(library());
  records.add("CN=A", "", bytesOf("no certificate"));
  EXPECT_FALSE(verdictsOf(library(), records).at(0).certificate);
}

TEST(Verdicts, KeepTheOrderOfTheRecords) {
  Records records(library());
  EXPECT_THAT(verdictsOf(library(), records), IsEmpty());
  for (const char* id : {"CN=A", "CN=B", "CN=C"}) {
    records.add(id, "", {});
  }
  const std::vector<SignerVerdict> verdicts = verdictsOf(library(), records);
  ASSERT_THAT(verdicts, SizeIs(3));
  EXPECT_EQ(verdicts[0].id, "CN=A");
  EXPECT_EQ(verdicts[2].id, "CN=C");
}

TEST(VerdictReport, HasALineForEachSigner) {
  SignerVerdict timed = verdict("CN=A", SSF_RESULT_OK);
  timed.signingTime = "2026-11-15T17:03:41Z";
  timed.stampTime = "2026-11-15T17:03:59Z";
  EXPECT_EQ(printed({timed, verdict("CN=B", SSF_RESULT_NOT_OK)}),
            "signer 1: CN=A: good, signed 2026-11-15T17:03:41Z, time stamp 2026-11-15T17:03:59Z\n"
            "signer 2: CN=B: the signature or the content was changed, no signing time\n");
}

TEST(VerdictReport, HasTheSameInItsFacts) {
  SignerVerdict whole = verdict("CN=A", SSF_RESULT_OK);
  whole.signingTime = "2026-11-15T17:03:41Z";
  whole.certificate = CertificateView{.thumbprint = "11", .notBefore = "a", .notAfter = "b"};
  tools::Report report("qxssf");
  reportVerdicts({whole, verdict("CN=B", SSF_RESULT_UNKNOWN)}, report);
  const auto& signers = report.facts()["signers"];
  ASSERT_THAT(signers, SizeIs(2));
  EXPECT_EQ(signers[0]["number"], 1);
  EXPECT_EQ(signers[0]["id"], "CN=A");
  EXPECT_EQ(signers[0]["words"], "good");
  EXPECT_EQ(signers[0]["signingTime"], "2026-11-15T17:03:41Z");
  EXPECT_EQ(signers[0]["certificate"]["thumbprint"], "11");
  EXPECT_FALSE(signers[0].contains("stampTime"));
  EXPECT_EQ(signers[1]["result"], 22);
  EXPECT_FALSE(signers[1].contains("signingTime"));
  EXPECT_FALSE(signers[1].contains("certificate"));
}

TEST(VerdictReport, KeepsANameOfManyLinesInOne) {
  EXPECT_THAT(printed({verdict("CN=A\nsigner 2: CN=B: good\x1b[2J", SSF_RESULT_OK)}),
              ::testing::Not(HasSubstr("\nsigner 2")));
}

TEST(VerdictFault, PutsAChangeBeforeMissingTrust) {
  const auto fault = faultOf({verdict("CN=A", SSF_RESULT_UNKNOWN),
                              verdict("CN=B", SSF_RESULT_NOT_OK),
                              verdict("CN=C", SSF_RESULT_NOCERTIFICATE)},
                             "file");
  EXPECT_EQ(fault.code(), ExitCode::Changed);
  EXPECT_STREQ(fault.what(),
               "file: not verified: signer 2 (CN=B): the signature or the content was changed");
}

TEST(VerdictFault, NamesTheFirstThatIsNotTrusted) {
  const auto fault = faultOf({verdict("CN=A", SSF_RESULT_OK),
                              verdict("CN=B", SSF_RESULT_UNKNOWN),
                              verdict("CN=C", SSF_RESULT_NOCERTIFICATE)},
                             "file");
  EXPECT_EQ(fault.code(), ExitCode::NotTrusted);
  EXPECT_THAT(fault.what(), HasSubstr("signer 2 (CN=B)"));
}

TEST(VerdictFault, IsNeverSuccess) {
  for (const SAPRETURN result : {21, 22, 23, 24, 25, 26, 27, 28, -1, 99}) {
    const auto fault = faultOf({verdict("CN=A", result)}, "file");
    EXPECT_EQ(fault.code(), result == SSF_RESULT_NOT_OK ? ExitCode::Changed : ExitCode::NotTrusted)
        << result;
  }
}

TEST(VerdictFault, OfNoSignerIsTheInputs) {
  const auto fault = faultOf({}, "file");
  EXPECT_EQ(fault.code(), ExitCode::Input);
  EXPECT_STREQ(fault.what(), "file: holds no signature");
}

// The library can refuse a message all of whose records are good.
TEST(VerdictFault, OfGoodSignersIsTrust) {
  const auto fault =
      faultOf({verdict("CN=A", SSF_RESULT_OK), verdict("CN=B", SSF_RESULT_OK)}, "file");
  EXPECT_EQ(fault.code(), ExitCode::NotTrusted);
  EXPECT_THAT(fault.what(), HasSubstr("time stamps alone"));
}

}  // namespace
}  // namespace qx::ssf::verify_report_test
