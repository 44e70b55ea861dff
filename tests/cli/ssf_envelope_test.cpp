#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::ssf_envelope_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SsfEnvelopeTool : public LabTest {
 protected:
  CommandResult envelope(Arguments more) const {
    Arguments arguments = {"envelope", document_, "-o", file("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments);
  }

  CommandResult develope(const std::string& message, Arguments more) const {
    Arguments arguments = {"develope", message, "-o", file("out")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ssf(arguments);
  }

  // A message for a person, made by the openssl command.
  std::string opensslEncrypt(const std::string& name) const {
    const CommandResult result = openssl({"cms",
                                          "-encrypt",
                                          "-binary",
                                          "-in",
                                          document_,
                                          "-outform",
                                          "DER",
                                          "-out",
                                          file("message"),
                                          "-gost89",
                                          lab("pem/" + name + ".crt")});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return file("message");
  }

  // A refusal leaves one line and no file.
  void expectRefused(const CommandResult& result, int code, const std::string& why) const {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: "), HasSubstr(why)));
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_FALSE(exists("out"));
  }

  std::string document_ = write("document", "what is secret\n");
};

TEST_F(SsfEnvelopeTool, NamesEveryRecipientThatIsNotFound) {
  const CommandResult result =
      envelope({"-r", "CN=Nobody", "-r", "CN=Anna Orlova", "-r", "no name"});
  expectRefused(
      result,
      5,
      document_ +
          ": not enveloped: recipient 1 (CN=Nobody): no certificate of this identity in "
          "the address book (qxprovider cert add --store Addressbook); recipient 3 (no name): is neither a name nor a thumbprint");
}

TEST_F(SsfEnvelopeTool, TellsTheResultOfEachRecipientInJson) {
  const nlohmann::json json = ssfJson(
      {"envelope", document_, "-o", file("out"), "-r", "CN=Anna Orlova", "-r", "CN=Nobody"});
  EXPECT_EQ(json["code"], 9);
  EXPECT_EQ(json["input"], document_);
  EXPECT_EQ(json["recipients"][0]["result"], 0);
  EXPECT_EQ(json["recipients"][0]["words"], "good");
  EXPECT_EQ(json["recipients"][1]["result"], 26);
  EXPECT_EQ(json["error"]["exitCode"], 5);
}

TEST_F(SsfEnvelopeTool, RefusesAnAddressBookThatIsMissing) {
  expectRefused(envelope({"-r", "CN=Anna Orlova", "--profile", "uNowhere"}),
                2,
                document_ + ": not enveloped: the address book cannot be opened");
}

TEST_F(SsfEnvelopeTool, RefusesAnEmptyFile) {
  const std::string empty = write("empty", "");
  expectRefused(
      ssf({"envelope", empty, "-o", file("out"), "-r", "CN=Anna Orlova"}), 2, empty + ": is empty");
}

TEST_F(SsfEnvelopeTool, KeepsAnOlderOutputWhenItFails) {
  write("out", "older");
  EXPECT_EQ(envelope({"-r", "CN=Nobody"}).exitCode, 5);
  EXPECT_EQ(readFile(file("out")), "older");
}

class SsfEnvelopeUsage : public SsfEnvelopeTool,
                         public ::testing::WithParamInterface<std::pair<Arguments, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes,
    SsfEnvelopeUsage,
    ::testing::Values(std::pair{Arguments{}, "--recipient is required"},
                      std::pair{Arguments{"-r", ""}, "an identity is empty"},
                      std::pair{Arguments{"-r", "CN=A", "--cipher", "AES"}, "GOST-28147-89"},
                      std::pair{Arguments{"-r", "CN=A", "--pin-env", "X"}, "--pin-env"},
                      std::pair{Arguments{"-r", "CN=A", "--format", "CMS"}, "PKCS7_CADES"}));

TEST_P(SsfEnvelopeUsage, IsToldInOneLine) {
  expectRefused(envelope(GetParam().first), 1, GetParam().second);
}

class SsfDevelopeTool : public SsfEnvelopeTool {};

TEST_F(SsfDevelopeTool, RefusesAWrongPinAndDoesNotRepeatIt) {
  const std::string message = opensslEncrypt("ivan");
  const CommandResult result = develope(
      message, {"--recipient", "CN=Ivan Petrov", "--pin-file", pinFile("pin", "wrong-4712")});
  expectRefused(
      result, 5, message + ": not opened: recipient 1 (CN=Ivan Petrov): the PIN does not open");
  EXPECT_THAT(result.err + result.out, Not(HasSubstr("4712")));
}

TEST_F(SsfDevelopeTool, TellsTheResultOfAWrongPinInJson) {
  const nlohmann::json json = ssfJson(
      {"develope", opensslEncrypt("ivan"), "-o", file("out"), "--recipient", "CN=Ivan Petrov"});
  EXPECT_EQ(json["code"], 9);
  EXPECT_EQ(json["recipients"][0]["result"], 25);
  EXPECT_EQ(json["error"]["exitCode"], 5);
}

TEST_F(SsfDevelopeTool, RefusesARecipientWithoutCertificate) {
  expectRefused(develope(document_, {"--recipient", "CN=Nobody"}),
                5,
                "recipient 1 (CN=Nobody): no certificate of this identity in the store");
}

TEST_F(SsfDevelopeTool, RefusesARecipientWithoutKey) {
  provider({"cert", "add", lab("pem/gost-ca.crt")});
  expectRefused(develope(document_, {"--recipient", "CN=Lab GOST CA"}),
                5,
                "the private key cannot be opened");
}

TEST_F(SsfDevelopeTool, RefusesAStoreThatIsMissing) {
  expectRefused(develope(document_, {"--recipient", "CN=Anna Orlova", "--profile", "uNowhere"}),
                5,
                "the store of the profile");
}

TEST_F(SsfDevelopeTool, RefusesWhatIsNoMessage) {
  expectRefused(develope(document_, {"--recipient", "CN=Anna Orlova"}),
                2,
                document_ + ": not opened: is no message that can be read");
}

TEST_F(SsfDevelopeTool, RefusesAnEmptyFile) {
  const std::string empty = write("empty", "");
  expectRefused(develope(empty, {"--recipient", "CN=Anna Orlova"}), 2, empty + ": is empty");
}

class SsfDevelopeUsage : public SsfDevelopeTool,
                         public ::testing::WithParamInterface<std::pair<Arguments, const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes,
    SsfDevelopeUsage,
    ::testing::Values(std::pair{Arguments{}, "--recipient is required"},
                      std::pair{Arguments{"-r", ""}, "an identity is empty"},
                      std::pair{Arguments{"-r", "CN=A", "-r", "CN=B"}, "--recipient"},
                      std::pair{Arguments{"-r", "CN=A", "--pin", "1234"}, "--pin-file"},
                      std::pair{Arguments{"-r", "CN=A", "--cipher", "GOST28147"}, "--cipher"}));

TEST_P(SsfDevelopeUsage, IsToldInOneLine) {
  expectRefused(develope(document_, GetParam().first), 1, GetParam().second);
}

}  // namespace
}  // namespace qx::test::ssf_envelope_test
