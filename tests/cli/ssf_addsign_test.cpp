#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_addsign_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SsfAddSignTool : public LabTest {
 protected:
  // The document signed by Anna.
  std::string signedByAnna(Arguments more = {}) const {
    Arguments arguments = {"sign", document_, "-o", file("message"), "-s", "CN=Anna Orlova"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const CommandResult result = ssf(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message");
  }

  CommandResult addSign(const std::string& message, Arguments more, Command command = {}) const {
    Arguments arguments = {"addsign", message, "-o", file("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments, std::move(command));
  }

  // A refusal leaves one line and no file.
  void expectRefused(const CommandResult& result, int code, const std::string& why) const {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: "), HasSubstr(why)));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_FALSE(exists("out"));
  }

  std::string document_ = write("document", "what is signed\n");
};

TEST_F(SsfAddSignTool, AddsASignerToAMessage) {
  const std::string message = signedByAnna();
  const CommandResult result = addSign(
      message, {"--signer", "CN=Ivan Petrov", "--pin-file", lab(person("ivan")["pinFile"])});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(
      result.out,
      message + ": signature added, " + std::to_string(readFile(file("out")).size()) + " bytes\n");
  const nlohmann::json verified = ssfJson({"verify", file("out"), "-o", file("content")});
  EXPECT_EQ(verified["verified"], true) << verified.dump(2);
  ASSERT_EQ(verified["signers"].size(), 2U);
  EXPECT_EQ(verified["signers"][0]["id"], "CN=Anna Orlova, O=Lab, C=RU");
  EXPECT_EQ(verified["signers"][1]["id"], "CN=Ivan Petrov, O=Lab, C=RU");
  EXPECT_EQ(readFile(file("content")), readFile(document_));
}

TEST_F(SsfAddSignTool, AddsASignerToADetachedMessage) {
  const std::string message = signedByAnna({"--detached"});
  ASSERT_EQ(addSign(message, {"-s", "CN=Boris Sokolov", "--content", document_}).exitCode, 0);
  EXPECT_THAT(readFile(file("out")), Not(HasSubstr("what is signed")));
  const nlohmann::json verified = ssfJson({"verify", file("out"), "--content", document_});
  EXPECT_EQ(verified["verified"], true) << verified.dump(2);
  EXPECT_EQ(verified["signers"].size(), 2U);
}

TEST_F(SsfAddSignTool, AddsAThirdSignerToItsOwnInput) {
  const std::string message = signedByAnna();
  for (const char* signer : {"CN=Boris Sokolov", "CN=Rita Berg"}) {
    const CommandResult added = ssf({"addsign", message, "-o", message, "-s", signer});
    ASSERT_EQ(added.exitCode, 0) << added.err;
  }
  const nlohmann::json verified = ssfJson({"verify", message});
  EXPECT_EQ(verified["verified"], true) << verified.dump(2);
  EXPECT_EQ(verified["signers"].size(), 3U);
}

TEST_F(SsfAddSignTool, LeavesTheFirstSignatureGoodForTheOpensslCommand) {
  ASSERT_EQ(addSign(signedByAnna(), {"-s", "CN=Boris Sokolov"}).exitCode, 0);
  const std::string chain =
      write("chain.pem", readFile(lab("pem/gost-root.crt")) + readFile(lab("pem/gost-ca.crt")));
  const CommandResult verified = openssl({"cms",
                                          "-verify",
                                          "-binary",
                                          "-inform",
                                          "DER",
                                          "-in",
                                          file("out"),
                                          "-purpose",
                                          "any",
                                          "-CAfile",
                                          chain,
                                          "-out",
                                          file("verified")});
  EXPECT_EQ(verified.exitCode, 0) << verified.err;
  EXPECT_EQ(readFile(file("verified")), readFile(document_));
}

TEST_F(SsfAddSignTool, LeavesTheCertificateOutWhenAsked) {
  const std::string message = signedByAnna();
  ASSERT_EQ(addSign(message, {"-s", "CN=Boris Sokolov"}).exitCode, 0);
  const std::size_t with = readFile(file("out")).size();
  ASSERT_EQ(addSign(message, {"-s", "CN=Boris Sokolov", "--no-certificate"}).exitCode, 0);
  EXPECT_LT(readFile(file("out")).size() + 300, with);
}

TEST_F(SsfAddSignTool, TellsWhatItDidInJson) {
  const nlohmann::json json =
      ssfJson({"addsign", signedByAnna(), "-o", file("out"), "-s", "CN=Boris Sokolov"});
  EXPECT_EQ(json["code"], 0);
  EXPECT_EQ(json["output"], file("out"));
  EXPECT_EQ(json["bytes"], readFile(file("out")).size());
  EXPECT_EQ(json["signers"][0]["words"], "good");
}

TEST_F(SsfAddSignTool, RefusesAWrongPinAndDoesNotRepeatIt) {
  const std::string message = signedByAnna();
  const CommandResult result =
      addSign(message, {"--signer", "CN=Ivan Petrov", "--pin-file", pinFile("pin", "wrong-4712")});
  expectRefused(result,
                5,
                message + ": no signature added: signer 1 (CN=Ivan Petrov): the PIN does not open");
  EXPECT_THAT(result.err + result.out, Not(HasSubstr("4712")));
}

TEST_F(SsfAddSignTool, RefusesAMissingPin) {
  expectRefused(
      addSign(signedByAnna(), {"--signer", "CN=Ivan Petrov"}), 5, "the PIN does not open");
}

TEST_F(SsfAddSignTool, RefusesASignerWithoutCertificate) {
  expectRefused(addSign(signedByAnna(), {"--signer", "CN=Nobody"}),
                5,
                "signer 1 (CN=Nobody): no certificate of this identity in the store");
}

TEST_F(SsfAddSignTool, RefusesAStoreThatIsMissing) {
  expectRefused(addSign(signedByAnna(), {"--signer", "CN=Anna Orlova", "--profile", "uNowhere"}),
                5,
                "the store of the profile");
}

TEST_F(SsfAddSignTool, TellsTheSignersResultInJson) {
  const nlohmann::json json =
      ssfJson({"addsign", signedByAnna(), "-o", file("out"), "-s", "CN=Nobody"});
  EXPECT_EQ(json["code"], 5);
  EXPECT_EQ(json["message"], file("message"));
  EXPECT_EQ(json["signers"][0]["id"], "CN=Nobody");
  EXPECT_EQ(json["signers"][0]["result"], 22);
  EXPECT_EQ(json["error"]["exitCode"], 5);
}

TEST_F(SsfAddSignTool, RefusesWhatIsNoMessage) {
  expectRefused(addSign(document_, {"--signer", "CN=Boris Sokolov"}),
                2,
                document_ + ": no signature added: is no message that can be read");
}

TEST_F(SsfAddSignTool, RefusesADetachedMessageWithoutItsContent) {
  const std::string message = signedByAnna({"--detached"});
  expectRefused(addSign(message, {"--signer", "CN=Boris Sokolov"}),
                2,
                message + ": holds no content; name the signed file with --content");
}

TEST_F(SsfAddSignTool, RefusesAnotherContentThanTheMessages) {
  const std::string other = write("other", "what was not signed\n");
  expectRefused(addSign(signedByAnna(), {"--signer", "CN=Boris Sokolov", "--content", other}),
                3,
                other + ": is not the content that ");
}

TEST_F(SsfAddSignTool, RefusesEmptyFiles) {
  const std::string empty = write("empty", "");
  expectRefused(addSign(empty, {"--signer", "CN=Boris Sokolov"}), 2, empty + ": is empty");
  expectRefused(addSign(signedByAnna(), {"--signer", "CN=Boris Sokolov", "--content", empty}),
                2,
                empty + ": is empty");
}

TEST_F(SsfAddSignTool, KeepsAnOlderOutputWhenItFails) {
  write("out", "older");
  EXPECT_EQ(addSign(signedByAnna(), {"--signer", "CN=Nobody"}).exitCode, 5);
  EXPECT_EQ(readFile(file("out")), "older");
}

class SsfAddSignUsage : public SsfAddSignTool,
                        public ::testing::WithParamInterface<std::pair<Arguments, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes,
    SsfAddSignUsage,
    ::testing::Values(std::pair{Arguments{}, "--signer is required"},
                      std::pair{Arguments{"--signer", ""}, "an identity is empty"},
                      std::pair{Arguments{"--signer", "CN=A", "--signer", "CN=B"}, "--signer"},
                      std::pair{Arguments{"--signer", "CN=A", "--pin-env", "X", "--pin-prompt"},
                                "one source"},
                      std::pair{Arguments{"--signer", "CN=A", "--pin", "1234"}, "--pin-file"},
                      std::pair{Arguments{"--signer", "CN=A", "--format", "pkcs7"}, "PKCS7_CADES"},
                      std::pair{Arguments{"--signer", "CN=A", "--detached"}, "--detached"}));

TEST_P(SsfAddSignUsage, IsToldInOneLine) {
  expectRefused(addSign(signedByAnna(), GetParam().first), 1, GetParam().second);
}

TEST_F(SsfAddSignTool, CannotReadMessageAndContentFromOneStream) {
  expectRefused(addSign("-", {"--signer", "CN=A", "--content", "-"}), 1, "standard input");
}

}  // namespace
}  // namespace qx::test::ssf_addsign_test
