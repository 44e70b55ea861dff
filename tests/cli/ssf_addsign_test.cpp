#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test {
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
}  // namespace qx::test
