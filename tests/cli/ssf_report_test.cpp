#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tests/support/system_world.h"
#include "tools/lab/services.h"

// The page about a verification, made by the tool and read by somebody else.

namespace qx::test::ssf_report_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// What a strict reader finds in a page.
nlohmann::json readPage(const std::string& path) {
  const CommandResult read =
      run({"python3", std::string(QX_SOURCE_DIR) + "/tests/cli/read_page.py", path});
  EXPECT_EQ(read.exitCode, 0) << read.err;
  nlohmann::json page = nlohmann::json::parse(read.out);
  EXPECT_TRUE(page["policy"]) << page["digest"];
  EXPECT_TRUE(page["foreign"].empty()) << page["foreign"];
  return page;
}

class SsfReport : public LabTest {
 protected:
  std::string sign(Arguments more = {"-s", "CN=Anna Orlova"}) const {
    more.insert(more.begin(), {"sign", document_, "-o", file("message.p7m")});
    const CommandResult result = ssf(more);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message.p7m");
  }

  CommandResult verify(const std::string& message, Arguments more = {}) const {
    more.insert(more.begin(), {"verify", message, "--report", file("page.html")});
    return ssf(more);
  }

  std::string document_ = write("document", "what is signed\n");
};

TEST_F(SsfReport, IsInTheLanguageThatIsAskedForElseInTheUsers) {
  const std::string message = sign();
  const auto title = [&](const Arguments& more) {
    EXPECT_EQ(verify(message, more).exitCode, 0);
    return readPage(file("page.html"))["title"].get<std::string>();
  };
  EXPECT_EQ(title({"--report-language", "ru"}), "Проверка " + message);
  EXPECT_EQ(title({}), "Verification of " + message);
  setEnvironment("LC_ALL", "ru_RU.UTF-8");
  EXPECT_EQ(title({}), "Проверка " + message);
  EXPECT_EQ(title({"--report-language", "en"}), "Verification of " + message);
  EXPECT_EQ(verify(message, {"--report-language", "de"}).exitCode, 1);
}

TEST_F(SsfReport, TellsWhoSignedAndTheChain) {
  const std::string message =
      sign({"-s", "CN=Anna Orlova", "-s", "CN=Ivan Petrov", "--pin-file", lab("pins/ivan.pin")});
  const CommandResult result = verify(message);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const nlohmann::json page = readPage(file("page.html"));
  EXPECT_EQ(page["title"], "Verification of " + message);
  EXPECT_EQ(page["links"], 6) << "two signers, each below an authority and a root";
  EXPECT_EQ(page["stamps"], 0);
  EXPECT_THAT(page["text"].get<std::string>(),
              AllOf(HasSubstr("\u2714 Verified"),
                    HasSubstr("Signer 1: CN=Anna Orlova, O=Lab, C=RU"),
                    HasSubstr("Signer 2: CN=Ivan Petrov, O=Lab, C=RU"),
                    HasSubstr("CN=Lab GOST Root, O=Lab, C=RU"),
                    HasSubstr(person("anna")["thumbprint"].get<std::string>()),
                    Not(HasSubstr("\u2718"))));
}

TEST_F(SsfReport, TellsOfAChangedSignature) {
  std::string bytes = readFile(sign());
  bytes.replace(bytes.find("what is"), 4, "WHAT");
  const CommandResult result = verify(write("changed.p7m", bytes));
  EXPECT_EQ(result.exitCode, 3);
  EXPECT_THAT(readPage(file("page.html"))["text"].get<std::string>(),
              AllOf(HasSubstr("\u2718 Not verified"),
                    HasSubstr("the signature or the content was changed"),
                    Not(HasSubstr("\u2714 Verified"))));
}

TEST_F(SsfReport, TellsOfARootThatIsNotTrusted) {
  const std::string message = sign();
  fs::remove_all(userFolder() + "/stores/Root");
  EXPECT_EQ(verify(message).exitCode, 4);
  EXPECT_THAT(readPage(file("page.html"))["text"].get<std::string>(),
              AllOf(HasSubstr("\u2718 Not verified"),
                    HasSubstr("CN=Lab GOST CA"),
                    HasSubstr("\u2718 its issuer is not known here")));
}

TEST_F(SsfReport, TellsOfWhatIsNoMessage) {
  EXPECT_EQ(verify(document_).exitCode, 2);
  EXPECT_THAT(readPage(file("page.html"))["text"].get<std::string>(),
              HasSubstr("is no message that can be read"));
}

TEST_F(SsfReport, NamesTheContentOfADetachedSignature) {
  EXPECT_EQ(verify(sign({"-s", "CN=Anna Orlova", "--detached"}), {"--content", document_}).exitCode,
            0);
  EXPECT_THAT(readPage(file("page.html"))["text"].get<std::string>(), HasSubstr(document_));
}

TEST_F(SsfReport, SaysWhenNobodyLookedAtRevocation) {
  setEnvironment("QX_SSF_VERIFYCERTFLAGS", "0");
  EXPECT_EQ(verify(sign()).exitCode, 0);
  const std::string text = readPage(file("page.html"))["text"];
  EXPECT_GT(text.find("was revoked"), text.find("What was not checked"));
}

TEST_F(SsfReport, IsNamedInJson) {
  const nlohmann::json json = ssfJson({"verify", sign(), "--report", file("page.html")});
  EXPECT_EQ(json["verified"], true);
  EXPECT_EQ(json["report"], file("page.html"));
}

TEST_F(SsfReport, GoesToStandardOutputAlone) {
  const CommandResult result = ssf({"verify", sign(), "--report", "-"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.out, AllOf(StartsWith("<!DOCTYPE html>"), Not(HasSubstr(": verified\n"))));
  EXPECT_EQ(ssf({"verify", sign(), "--report", "-", "-o", "-"}).exitCode, 1);
}

TEST_F(SsfReport, IsOfOneFile) {
  const CommandResult result = verify(sign(), {document_});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("--report tells of one file"));
}

TEST_F(SsfReport, ThatCannotBeWrittenIsNoSuccess) {
  EXPECT_EQ(ssf({"verify", sign(), "--report", file("nowhere/page.html")}).exitCode, 2);
}

/// A report about signers of a world of their own.
class SsfReportOfAWorld : public CliTest {
 protected:
  SsfReportOfAWorld() { setEnvironment("QXPROVIDER_USER_DIR", world_.folder().path()); }

  nlohmann::json pageOfSigner(const std::string& thumbprint, const std::string& format) const {
    const CommandResult made = ssf({"sign",
                                    write("document", "what is signed\n"),
                                    "-o",
                                    file("message"),
                                    "-s",
                                    thumbprint,
                                    "--format",
                                    format});
    EXPECT_EQ(made.exitCode, 0) << made.err;
    const CommandResult verified =
        ssf({"verify", file("message"), "--format", format, "--report", file("page.html")});
    EXPECT_EQ(verified.exitCode, 0) << verified.err;
    return readPage(file("page.html"));
  }

  SystemWorld world_;
};

TEST_F(SsfReportOfAWorld, EscapesTheNamesOfOthers) {
  const std::string name = "<script>alert('1')</script>&\"\x1b";
  const Person hostile = world_.enrol(name);
  const nlohmann::json page = pageOfSigner(hostile.thumbprint, "PKCS7");
  EXPECT_THAT(page["text"].get<std::string>(), HasSubstr("<script>alert('1')</script>&"));
  EXPECT_THAT(readFile(file("page.html")), Not(HasSubstr("<script")));
}

TEST_F(SsfReportOfAWorld, PutsTimeStampsOnTheTimeLine) {
  const auto authority = std::make_shared<lab::TimeStampAuthority>(
      lab::TimeStampAuthority::issuedBy(world_.authority(), lab::KeyKind::Gost2012_256));
  lab::Services services;
  services.offerTimeStamps("/", authority);
  setEnvironment("QXPROVIDER_TSP_DEFAULT_URL", services.url("/"));
  const nlohmann::json page = pageOfSigner(world_.enrol("Ivan").thumbprint, "CADES");
  EXPECT_EQ(page["stamps"], 2);
  EXPECT_THAT(page["text"].get<std::string>(),
              AllOf(HasSubstr("time stamp over the signature, by CN="),
                    HasSubstr("time stamp over the signature with what proves it, by CN="),
                    HasSubstr("The time stamps, under the format CADES."),
                    Not(HasSubstr("cannot be read"))));
}

}  // namespace
}  // namespace qx::test::ssf_report_test
