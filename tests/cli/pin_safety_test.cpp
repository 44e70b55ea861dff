#include <sys/stat.h>

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::pin_safety_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Each is unlike anything else that a tool prints.
constexpr const char* kRight = "ivan-4711";
constexpr const char* kWrong = "wrong-83645";
constexpr const char* kNew = "fresh-29170";

std::string hexOf(const std::string& text) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string hex;
  for (const char c : text) {
    hex += kDigits[static_cast<unsigned char>(c) >> 4U];
    hex += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return hex;
}

/// A command that is given PINs through the variables RIGHT, WRONG and NEW.
struct SecretCase {
  const char* name;
  const char* tool;
  Arguments arguments;
  int exitCode;
};

class PinSafety : public LabTest, public ::testing::WithParamInterface<SecretCase> {
 protected:
  PinSafety() {
    setEnvironment("RIGHT", kRight);
    setEnvironment("WRONG", kWrong);
    setEnvironment("NEW", kNew);
    setEnvironment("QXPROVIDER_TRACE_FILE", file("trace"));
    setEnvironment("QXPROVIDER_TRACE_LEVEL", "15");
  }

  // Makes what the commands work on: a document, a message, an envelope and a locked key file.
  void prepare() const {
    write("document", "what it is about\n");
    ssf({"sign", file("document"), "-o", file("message"), "-s", "CN=Anna Orlova"});
    ssf({"envelope", file("document"), "-o", file("envelope"), "-r", "CN=Ivan Petrov"});
    openssl({"pkcs8",
             "-topk8",
             "-in",
             lab("pem/tsa-gost.key"),
             "-out",
             privateFile("locked.pem", ""),
             "-passout",
             std::string("pass:") + kRight});
  }

  // The arguments, with names of files in the test's own folder for "@name" and Ivan's key for "#".
  Arguments filled() const {
    Arguments arguments = GetParam().arguments;
    for (std::string& text : arguments) {
      if (text == "#") {
        text =
            providerJson({"cert", "export", person("ivan")["thumbprint"], "-o", file("c")})["key"];
      } else if (text.starts_with("@")) {
        text = file(text.substr(1));
      }
    }
    return arguments;
  }

  static void expectSilence(const std::string& text) {
    for (const char* pin : {kRight, kWrong, kNew}) {
      EXPECT_THAT(text, Not(HasSubstr(pin)));
      EXPECT_THAT(text, Not(HasSubstr(hexOf(pin))));
    }
  }
};

INSTANTIATE_TEST_SUITE_P(
    Commands,
    PinSafety,
    ::testing::Values(
        SecretCase{
            "SignWithTheRightPin",
            "qxssf",
            {"sign", "@document", "-o", "@out", "-s", "CN=Ivan Petrov", "--pin-env", "RIGHT"},
            0},
        SecretCase{
            "SignWithAWrongPin",
            "qxssf",
            {"sign", "@document", "-o", "@out", "-s", "CN=Ivan Petrov", "--pin-env", "WRONG"},
            5},
        SecretCase{"SignInJson",
                   "qxssf",
                   {"sign",
                    "@document",
                    "-o",
                    "@out",
                    "-s",
                    "CN=Ivan Petrov",
                    "--pin-env",
                    "WRONG",
                    "--json"},
                   5},
        SecretCase{
            "AddSign",
            "qxssf",
            {"addsign", "@message", "-o", "@out", "-s", "CN=Ivan Petrov", "--pin-env", "RIGHT"},
            0},
        SecretCase{
            "Develope",
            "qxssf",
            {"develope", "@envelope", "-o", "@out", "-r", "CN=Ivan Petrov", "--pin-env", "RIGHT"},
            0},
        SecretCase{
            "DevelopeWithAWrongPin",
            "qxssf",
            {"develope", "@envelope", "-o", "@out", "-r", "CN=Ivan Petrov", "--pin-env", "WRONG"},
            5},
        SecretCase{"Generate", "qxprovider", {"key", "generate", "--pin-env", "NEW", "--json"}, 0},
        SecretCase{"Import",
                   "qxprovider",
                   {"key", "import", "@locked.pem", "--password-env", "RIGHT", "--pin-env", "NEW"},
                   0},
        SecretCase{"ImportWithAWrongPassword",
                   "qxprovider",
                   {"key", "import", "@locked.pem", "--password-env", "WRONG", "--pin-env", "NEW"},
                   5},
        SecretCase{"Passwd",
                   "qxprovider",
                   {"key", "passwd", "#", "--pin-env", "RIGHT", "--new-pin-env", "NEW"},
                   0},
        SecretCase{"PasswdWithAWrongPin",
                   "qxprovider",
                   {"key", "passwd", "#", "--pin-env", "WRONG", "--new-pin-env", "NEW", "--json"},
                   5}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(PinSafety, NoPinIsPrintedOrTracedAndTheTraceIsPrivate) {
  prepare();
  const Arguments arguments = filled();
  const CommandResult result =
      std::string(GetParam().tool) == "qxssf" ? ssf(arguments) : provider(arguments);
  EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.err;
  expectSilence(result.out + result.err);
  const std::string trace = readFile(file("trace"));
  EXPECT_THAT(trace, HasSubstr("SsfSign"));
  expectSilence(trace);
  struct stat status{};
  ASSERT_EQ(stat(file("trace").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

class PinSources : public LabTest {
 protected:
  // Signs for Ivan with a PIN from this source.
  CommandResult sign(Arguments source, Command command = {}) const {
    Arguments arguments = {
        "sign", document_, "-o", file("out"), "--signer", "CN=Ivan Petrov", "--json"};
    arguments.insert(arguments.end(), source.begin(), source.end());
    return ssf(arguments, std::move(command));
  }

  void expectRefused(const CommandResult& result, int code, const std::string& text) const {
    EXPECT_EQ(result.exitCode, code);
    EXPECT_THAT(result.err, AllOf(StartsWith("qxssf: "), HasSubstr(text)));
    EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["exitCode"], code);
    EXPECT_FALSE(exists("out"));
  }

  std::string document_ = write("document", "what is signed\n");
};

TEST_F(PinSources, TakeALineHoweverItEnds) {
  for (const char* end : {"", "\n", "\r\n", "\n\n", "\nsecond line\n"}) {
    const std::string path = privateFile("pin", std::string(kRight) + end);
    EXPECT_EQ(sign({"--pin-file", path}).exitCode, 0);
    EXPECT_EQ(sign({"--pin-fd", "9"}, {.descriptors = {{9, std::string(kRight) + end}}}).exitCode,
              0);
  }
}

TEST_F(PinSources, TakeNothingOffThePinItself) {
  for (const std::string& pin : {std::string(kRight) + " ",
                                 " " + std::string(kRight),
                                 std::string(kRight) + "\r",
                                 std::string(kRight) + "\t",
                                 "\n" + std::string(kRight)}) {
    const CommandResult result = sign({"--pin-env", "PIN"}, {.environment = {{"PIN", pin}}});
    expectRefused(result, 5, "the PIN does not open the private key");
  }
}

TEST_F(PinSources, AreNamedWhenTheyGiveNothing) {
  expectRefused(sign({"--pin-env", "NOT_THERE"}), 5, "the environment has no variable NOT_THERE");
  expectRefused(sign({"--pin-fd", "77"}), 5, "descriptor 77: Bad file descriptor");
  expectRefused(sign({"--pin-fd", "seven"}), 1, "'seven' is not the number of a descriptor");
  expectRefused(sign({"--pin-file", userFolder()}), 5, userFolder() + ": Is a directory");
  expectRefused(sign({"--pin-prompt"}), 5, "PIN of CN=Ivan Petrov: there is no terminal to ask at");
}

TEST_F(PinSources, GiveAtMost1024Bytes) {
  const std::string longest(1024, '7');
  expectRefused(sign({"--pin-file", pinFile("pin", longest)}), 5, "the PIN does not open");
  expectRefused(
      sign({"--pin-file", pinFile("pin", longest + "7")}), 5, "a PIN has at most 1024 bytes");
  expectRefused(sign({"--pin-env", "PIN"}, {.environment = {{"PIN", longest + "7"}}}),
                1,
                "a PIN has at most 1024 bytes");
}

TEST_F(PinSources, MayBeAPipeThatIsReadOnce) {
  const std::string pipe = file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const CommandResult result = start({"sh",
                                      "-c",
                                      "printf '%s\\n' \"$PIN\" > \"$0\" & exec \"$@\"",
                                      pipe,
                                      tool("qxssf"),
                                      "sign",
                                      document_,
                                      "-o",
                                      file("out"),
                                      "-s",
                                      "CN=Ivan Petrov",
                                      "--pin-file",
                                      pipe},
                                     {.environment = {{"PIN", kRight}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "") << "a pipe keeps nothing that others could read";
}

TEST_F(PinSources, AreReadBeforeAnythingIsSigned) {
  const nlohmann::json json = nlohmann::json::parse(sign({"--pin-env", "NOT_THERE"}).out);
  EXPECT_FALSE(json.contains("code")) << "the library was called";
}

TEST_F(PinSources, ThatOthersCanReadAreWarnedOfInJsonToo) {
  const std::string path = write("open", std::string(kRight) + "\n");
  const CommandResult result = sign({"--pin-file", path});
  EXPECT_EQ(result.exitCode, 0);
  const nlohmann::json warnings = nlohmann::json::parse(result.out)["warnings"];
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_EQ(warnings[0], path + ": others can read this PIN file; chmod 600 keeps it private");
}

TEST_F(PinSources, CancelledAtTheTerminalSignNothing) {
  const CommandResult result =
      sign({"--pin-prompt"}, {.dialog = {{"PIN of CN=Ivan Petrov: ", "\x03"}}});
  expectRefused(result, 5, "terminal: no PIN was given");
}

}  // namespace
}  // namespace qx::test::pin_safety_test
