#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_sign_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SsfSignTool : public LabTest {
 protected:
  // What the openssl command thinks of a message, with the lab's authority as its trust.
  CommandResult opensslVerify(const std::string& message,
                              const std::string& authority,
                              Arguments more = {}) const {
    const std::string chain = write("chain.pem",
                                    readFile(lab("pem/" + authority + "-root.crt")) +
                                        readFile(lab("pem/" + authority + "-ca.crt")));
    Arguments arguments = {"cms",
                           "-verify",
                           "-binary",
                           "-inform",
                           "DER",
                           "-in",
                           message,
                           "-purpose",
                           "any",
                           "-CAfile",
                           chain,
                           "-out",
                           file("verified")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return openssl(arguments);
  }

  CommandResult sign(Arguments more, Command command = {}) const {
    Arguments arguments = {"sign", document_, "-o", file("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments, std::move(command));
  }

  // A refusal leaves one line that names the document, and no file.
  void expectRefused(const CommandResult& result, int code, const std::string& why) const {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: "), HasSubstr(why)));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
    EXPECT_FALSE(exists("out"));
  }

  std::string document_ = write("document", "what is signed\n");
};

struct SignerCase {
  const char* name;
  const char* authority;
};

class SsfSignKind : public SsfSignTool, public ::testing::WithParamInterface<SignerCase> {
 protected:
  Arguments signer() const {
    const nlohmann::json who = person(GetParam().name);
    Arguments arguments = {"--signer", who["subject"]};
    if (who.contains("pinFile")) {
      arguments.insert(arguments.end(), {"--pin-file", lab(who["pinFile"])});
    }
    return arguments;
  }
};

INSTANTIATE_TEST_SUITE_P(Signers,
                         SsfSignKind,
                         ::testing::Values(SignerCase{"ivan", "gost"},
                                           SignerCase{"anna", "gost"},
                                           SignerCase{"boris", "gost"},
                                           SignerCase{"galina", "gost"},
                                           SignerCase{"robert", "rsa"},
                                           SignerCase{"rita", "rsa"},
                                           SignerCase{"erik", "ec"},
                                           SignerCase{"eva", "ec"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(SsfSignKind, MakesAMessageThatTheOpensslCommandVerifies) {
  const CommandResult made = sign(signer());
  ASSERT_EQ(made.exitCode, 0) << made.err;
  EXPECT_EQ(made.err, "");
  const CommandResult verified = opensslVerify(file("out"), GetParam().authority);
  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_EQ(readFile(file("verified")), readFile(document_));
}

TEST_P(SsfSignKind, LeavesTheContentOutWhenDetached) {
  Arguments arguments = signer();
  arguments.insert(arguments.end(), {"--detached", "--no-certificates"});
  ASSERT_EQ(sign(arguments).exitCode, 0);
  EXPECT_THAT(readFile(file("out")), Not(HasSubstr("what is signed")));
  const CommandResult verified = opensslVerify(
      file("out"),
      GetParam().authority,
      {"-content", document_, "-certfile", lab("pem/" + std::string(GetParam().name) + ".crt")});
  EXPECT_EQ(verified.exitCode, 0) << verified.err;
}

TEST_F(SsfSignTool, TellsWhatItDid) {
  const CommandResult result = sign({"--signer", "CN=Anna Orlova"});
  const std::string size = std::to_string(readFile(file("out")).size());
  EXPECT_EQ(result.out, document_ + ": signed by 1 signer, " + size + " bytes\n");
}

TEST_F(SsfSignTool, TellsTheSameInJson) {
  const nlohmann::json json = ssfJson(
      {"sign", document_, "-o", file("out"), "-s", "CN=Anna Orlova", "-s", "CN=Boris Sokolov"});
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["input"], document_);
  EXPECT_EQ(json["output"], file("out"));
  EXPECT_EQ(json["bytes"], readFile(file("out")).size());
  ASSERT_EQ(json["signers"].size(), 2U);
  EXPECT_EQ(json["signers"][1]["id"], "CN=Boris Sokolov");
  EXPECT_EQ(json["signers"][1]["result"], 0);
  EXPECT_EQ(json["signers"][1]["words"], "good");
}

TEST_F(SsfSignTool, TakesSeveralSignersEachWithHisOwnPin) {
  const CommandResult result =
      sign({"--signer",
            "CN=Ivan Petrov",
            "--pin-env",
            "IVAN",
            "--signer",
            "CN=Anna Orlova",
            "--signer",
            "CN=Galina Lebedeva",
            "--pin-fd",
            "5"},
           {.environment = {{"IVAN", "ivan-4711"}}, .descriptors = {{5, "galina-0815\n"}}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(opensslVerify(file("out"), "gost").exitCode, 0);
}

TEST_F(SsfSignTool, AsksForThePinAtTheTerminalUnseen) {
  const CommandResult result = sign({"--signer", "CN=Ivan Petrov", "--pin-prompt"},
                                    {.dialog = {{"PIN of CN=Ivan Petrov: ", "ivan-4711\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.terminal, Not(HasSubstr("4711")));
}

TEST_F(SsfSignTool, FindsASignerByThumbprint) {
  EXPECT_EQ(sign({"--signer", person("anna")["thumbprint"]}).exitCode, 0);
  EXPECT_EQ(opensslVerify(file("out"), "gost").exitCode, 0);
}

TEST_F(SsfSignTool, FindsASignerInTheStoreThatTheProfileNames) {
  provider({"cert", "add", "--store", "Other", lab("pem/anna.crt")});
  EXPECT_EQ(sign({"--signer", "CN=Anna Orlova", "--profile", "Other"}).exitCode, 0);
  EXPECT_EQ(sign({"--signer", "CN=Anna Orlova", "--profile", "uOther"}).exitCode, 0);
}

TEST_F(SsfSignTool, FindsTheMachinesSigner) {
  provider({"cert", "add", "--machine", lab("pem/anna.crt")});
  provider({"key", "import", "--machine", "--no-pin", lab("pem/anna.key")});
  EXPECT_EQ(sign({"--signer", "CN=Anna Orlova", "--profile", "mMy"}).exitCode, 0);
}

TEST_F(SsfSignTool, ReadsStandardInputAndWritesStandardOutput) {
  const CommandResult result = ssf({"sign", "--signer", "CN=Anna Orlova"}, {.input = "piped"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.err, StartsWith("standard input: signed by 1 signer"));
  write("out", result.out);
  EXPECT_EQ(opensslVerify(file("out"), "gost").exitCode, 0);
  EXPECT_EQ(readFile(file("verified")), "piped");
}

TEST_F(SsfSignTool, MayReplaceItsOwnInput) {
  EXPECT_EQ(ssf({"sign", document_, "-o", document_, "-s", "CN=Anna Orlova"}).exitCode, 0);
  EXPECT_EQ(opensslVerify(document_, "gost").exitCode, 0);
  EXPECT_EQ(readFile(file("verified")), "what is signed\n");
}

TEST_F(SsfSignTool, KeepsTheCertificatesOutWhenAsked) {
  ASSERT_EQ(sign({"--signer", "CN=Anna Orlova"}).exitCode, 0);
  const std::size_t with = readFile(file("out")).size();
  ASSERT_EQ(sign({"--signer", "CN=Anna Orlova", "--no-certificates"}).exitCode, 0);
  EXPECT_LT(readFile(file("out")).size() + 300, with);
  ASSERT_EQ(sign({"--signer", "CN=Anna Orlova", "--certificates"}).exitCode, 0);
  EXPECT_EQ(readFile(file("out")).size(), with);
}

TEST_F(SsfSignTool, RefusesAMissingPin) {
  expectRefused(sign({"--signer", "CN=Ivan Petrov"}),
                5,
                document_ + ": not signed: signer 1 (CN=Ivan Petrov): the PIN does not open");
}

TEST_F(SsfSignTool, RefusesAWrongPinAndDoesNotRepeatIt) {
  const CommandResult result = sign({"--signer",
                                     "CN=Anna Orlova",
                                     "--signer",
                                     "CN=Ivan Petrov",
                                     "--pin-file",
                                     pinFile("pin", "wrong-4712")});
  expectRefused(result, 5, "signer 2 (CN=Ivan Petrov): the PIN does not open");
  EXPECT_THAT(result.err + result.out, Not(HasSubstr("4712")));
}

TEST_F(SsfSignTool, TellsTheResultOfEachSignerInJson) {
  const nlohmann::json json =
      ssfJson({"sign", document_, "-o", file("out"), "-s", "CN=Anna Orlova", "-s", "CN=Nobody"});
  EXPECT_EQ(json["code"], 5);
  EXPECT_EQ(json["signers"][0]["result"], 0);
  EXPECT_EQ(json["signers"][1]["result"], 22);
  EXPECT_EQ(json["error"]["exitCode"], 5);
  EXPECT_THAT(json["error"]["message"].get<std::string>(), HasSubstr("signer 2 (CN=Nobody)"));
}

TEST_F(SsfSignTool, NamesEverySignerThatCannotSign) {
  const CommandResult result = sign({"--signer",
                                     "CN=Nobody",
                                     "--signer",
                                     "CN=Anna Orlova",
                                     "--profile",
                                     "Nowhere",
                                     "--signer",
                                     "no name"});
  expectRefused(result, 5, "signer 1 (CN=Nobody): no certificate of this identity");
  EXPECT_THAT(result.err, HasSubstr("; signer 2 (CN=Anna Orlova): the store of the profile"));
  EXPECT_THAT(result.err, HasSubstr("; signer 3 (no name): no certificate"));
}

TEST_F(SsfSignTool, RefusesACertificateWithoutItsKey) {
  provider({"cert", "add", lab("pem/gost-ca.crt")});
  expectRefused(sign({"--signer", "CN=Lab GOST CA"}), 5, "the private key cannot be opened");
}

TEST_F(SsfSignTool, RefusesAnEmptyFile) {
  const std::string empty = write("empty", "");
  expectRefused(
      ssf({"sign", empty, "-o", file("out"), "-s", "CN=Anna Orlova"}), 2, empty + ": is empty");
}

TEST_F(SsfSignTool, RefusesAFileThatIsMissing) {
  expectRefused(ssf({"sign", "/nonexistent/file", "-o", file("out"), "-s", "CN=Anna Orlova"}),
                2,
                "/nonexistent/file: No such file or directory");
}

TEST_F(SsfSignTool, RefusesAFolder) {
  expectRefused(
      ssf({"sign", userFolder(), "-o", file("out"), "-s", "CN=Anna Orlova"}), 2, "is a folder");
}

TEST_F(SsfSignTool, TellsTheLimitOfAContent) {
  const std::string big = write("big", "");
  ASSERT_EQ(truncate(big.c_str(), 3'000'000'000), 0);
  expectRefused(
      ssf({"sign", big, "-o", file("out"), "-s", "CN=Anna Orlova"}), 2, "2147483647 bytes");
}

TEST_F(SsfSignTool, RefusesAnOutputThatCannotBeWritten) {
  const CommandResult result =
      ssf({"sign", document_, "-o", "/nonexistent/out", "-s", "CN=Anna Orlova"});
  expectRefused(result, 2, "/nonexistent/out: No such file");
}

TEST_F(SsfSignTool, KeepsAnOlderOutputWhenItFails) {
  write("out", "older");
  EXPECT_EQ(sign({"--signer", "CN=Nobody"}).exitCode, 5);
  EXPECT_EQ(readFile(file("out")), "older");
}

TEST_F(SsfSignTool, WarnsOfAPinFileThatOthersCanRead) {
  const std::string pin = write("pin", "ivan-4711\n");
  const CommandResult result = sign({"--signer", "CN=Ivan Petrov", "--pin-file", pin});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(
      result.err,
      "qxssf: warning: " + pin + ": others can read this PIN file; chmod 600 keeps it private\n");
}

TEST_F(SsfSignTool, RefusesAPinFileThatIsMissing) {
  expectRefused(sign({"--signer", "CN=Ivan Petrov", "--pin-file", "/nonexistent/pin"}),
                5,
                "/nonexistent/pin: No such file");
}

class SsfSignUsage : public SsfSignTool,
                     public ::testing::WithParamInterface<std::pair<Arguments, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes,
    SsfSignUsage,
    ::testing::Values(
        std::pair{Arguments{}, "--signer is required"},
        std::pair{Arguments{"--signer"}, "--signer"},
        std::pair{Arguments{"--signer", ""}, "an identity is empty"},
        std::pair{Arguments{"--profile", "My", "--signer", "CN=A"}, "behind their --signer"},
        std::pair{Arguments{"--pin-env", "X", "--signer", "CN=A"}, "behind their --signer"},
        std::pair{Arguments{"--signer", "CN=A", "--pin-env", "X", "--pin-prompt"}, "one source"},
        std::pair{Arguments{"--signer", "CN=A", "--format", "pkcs7"}, "PKCS7_CADES"},
        std::pair{Arguments{"--signer", "CN=A", "--nonsense"}, "--nonsense"},
        std::pair{Arguments{"--signer", "CN=A", "second-file"}, "--out-dir of many"}));

TEST_P(SsfSignUsage, IsToldInOneLine) {
  expectRefused(sign(GetParam().first), 1, GetParam().second);
}

TEST_F(SsfSignTool, RefusesAPinOnTheCommandLineWithoutRepeatingIt) {
  const CommandResult result = sign({"--signer", "CN=Ivan Petrov", "--pin", "ivan-4711"});
  expectRefused(result, 1, "--pin-file");
  EXPECT_THAT(result.err, Not(HasSubstr("4711")));
}

TEST_F(SsfSignTool, RefusesJsonAndAMessageOnOneStream) {
  const CommandResult result = ssf({"sign", document_, "-s", "CN=Anna Orlova", "--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("--output"));
}

}  // namespace
}  // namespace qx::test::ssf_sign_test
