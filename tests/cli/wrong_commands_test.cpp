#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

// What people do wrong in their first days, and what they are told: what is wrong, and how to go on.

namespace qx::test::wrong_commands_test {
namespace {

using ::testing::HasSubstr;

/// A command that cannot do what it is asked. Where the system's own words are all there is to say, they
/// stand for the next step.
struct WrongCommand {
  const char* what;
  Arguments words;
  int exitCode;
  const char* named;
  const char* next;
};

constexpr const char* kOwnNumber = "0000000000000000000000000000000000000000";

const WrongCommand kSsf[] = {
    {"NoCommand", {}, 1, "subcommand", "qxssf --help tells more"},
    {"UnknownCommand", {"sing", "doc"}, 1, "no command sing", "qxssf --help"},
    {"UnknownOption", {"sign", "doc", "--frmat", "CADES", "-s", "x"}, 1, "--frmat", "sign --help"},
    {"NoSigner", {"sign", "doc"}, 1, "--signer is required", "qxssf sign --help"},
    {"NoRecipient", {"envelope", "doc"}, 1, "--recipient is required", "qxssf envelope --help"},
    {"EmptyIdentity", {"sign", "doc", "-s", ""}, 1, "identity is empty", "sign --help"},
    {"UnknownFormat", {"sign", "doc", "--format", "PKCS8"}, 1, "PKCS8", "{PKCS7,CADES,"},
    {"NoJobs", {"sign", "doc", "--jobs", "0", "-s", "x"}, 1, "--jobs", "1 to 256"},
    {"PinBeforeItsSigner", {"sign", "doc", "--pin-file", "pin", "-s", "x"}, 1, "PIN", "behind"},
    {"OneOutputForTwo", {"sign", "doc", "doc2", "-o", "m", "-s", "x"}, 1, "--output", "--out-dir"},
    {"ReportOfMany", {"verify", "doc", "doc2", "--report", "r"}, 1, "--report", "name one"},
    {"TwoOnOneOutput", {"verify", "doc", "-o", "-", "--report", "-"}, 1, "output", "verify --help"},
    {"NoInput", {"sign", "none", "-o", "m", "-s", "x"}, 2, "none", "No such file"},
    {"InputIsAFolder", {"sign", "folder", "-o", "m", "-s", "x"}, 2, "folder", "name a file"},
    {"InputIsEmpty", {"digest", "empty", "-o", "m"}, 2, "empty", "at least one byte"},
    {"OutputFolderIsNotThere",
     {"sign", "doc", "-o", "no/m", "-s", "CN=Anna Orlova"},
     2,
     "no/m",
     "No such file"},
    {"OutputIsAFolder",
     {"sign", "doc", "-o", "folder", "-s", "CN=Anna Orlova"},
     2,
     "folder",
     "Is a directory"},
    {"OutputExists",
     {"sign", "doc", "doc2", "--out-dir", "folder", "-s", "CN=Anna Orlova"},
     2,
     "doc.p7m",
     "--force"},
    {"NobodyOfThatName",
     {"sign", "doc", "-o", "m", "-s", "CN=Nobody"},
     5,
     "CN=Nobody",
     "qxprovider cert list"},
    {"NoPin", {"sign", "doc", "-o", "m", "-s", "CN=Ivan Petrov"}, 5, "the PIN", "--pin-file"},
    {"WrongPin",
     {"sign", "doc", "-o", "m", "-s", "CN=Ivan Petrov", "--pin-file", "pin"},
     5,
     "CN=Ivan Petrov",
     "--pin-file, --pin-fd"},
    {"NoPinFile",
     {"sign", "doc", "-o", "m", "-s", "x", "--pin-file", "nopin"},
     5,
     "nopin",
     "No such file"},
    {"NoPinVariable",
     {"sign", "doc", "-o", "m", "-s", "x", "--pin-env", "NOPIN"},
     5,
     "NOPIN",
     "export it"},
    {"NoTerminal",
     {"sign", "doc", "-o", "m", "-s", "x", "--pin-prompt"},
     5,
     "no terminal",
     "name a file"},
    {"NoStore",
     {"sign", "doc", "-o", "m", "-s", "CN=Anna Orlova", "-p", "Mine"},
     5,
     "CN=Anna Orlova",
     "qxssf doctor"},
    {"ProfileOfTheMachine",
     {"sign", "doc", "-o", "m", "-s", "CN=Anna Orlova", "-p", "mMy"},
     5,
     "store of the profile",
     "qxssf doctor"},
    {"NoTimeStampServer",
     {"sign", "doc", "-o", "m", "--format", "CADES", "-s", "CN=Anna Orlova"},
     6,
     "time-stamp server",
     "tsp.default_url in provider.conf"},
    {"NobodyToEncryptFor",
     {"envelope", "doc", "-o", "m", "-r", "CN=Nobody"},
     5,
     "CN=Nobody",
     "qxprovider cert add --store Addressbook"},
    {"NoMessage", {"verify", "doc"}, 2, "doc", "base64 -d"},
    {"NothingToOpen",
     {"develope", "doc", "-o", "m", "-r", "CN=Anna Orlova"},
     2,
     "doc",
     "base64 -d"},
    {"NothingToAddTo", {"addsign", "doc", "-o", "m", "-s", "x"}, 2, "doc", "base64 -d"},
    {"NoLibrary", {"version", "--library", "no.so"}, 7, "no.so", "--library names another"},
    {"NoSsfLibrary", {"version", "--library", "libm.so.6"}, 7, "libm.so.6", "--library names"},
    {"UnknownProperty", {"properties", "COLOUR"}, 1, "COLOUR", "properties lists all"},
    {"UnknownCode", {"explain", "9999"}, 1, "9999", "give a number"},
    {"NoCode", {"explain"}, 1, "CODE is required", "explain --help"},
};

const WrongCommand kProvider[] = {
    {"NoVerb", {"store"}, 1, "subcommand", "qxprovider store --help"},
    {"UnknownVerb", {"store", "lits"}, 1, "no command lits", "qxprovider store --help"},
    {"NoSuchStore", {"store", "show", "Nothing"}, 2, "Nothing", "store list shows all"},
    {"NoNameOfAStore", {"store", "show", "../x"}, 1, "'../x'", "no slashes"},
    {"NoFile", {"cert", "add"}, 1, "FILE is required", "cert add --help"},
    {"NoCertificate", {"cert", "add", "doc"}, 2, "doc", "PEM and DER"},
    {"NoList", {"crl", "add", "doc"}, 2, "doc", "PEM and DER"},
    {"NoThumbprint", {"cert", "remove", "12"}, 1, "'12'", "40 hexadecimal digits"},
    {"NobodyOfThatThumbprint", {"cert", "remove", kOwnNumber}, 2, kOwnNumber, "cert list"},
    {"NoPeriod", {"cert", "list", "--expires-within", "soon"}, 1, "'soon'", "write 30d"},
    {"NoSubject", {"cert", "request", "--subject", "Anna"}, 1, "subject", "CN=Ivan Petrov"},
    {"NoKeyFile", {"key", "import", "doc"}, 2, "doc", "openssl pkcs8"},
    {"NoSuchKey", {"key", "passwd", "1234"}, 2, "1234", "key list shows all"},
    {"UnknownKind", {"key", "generate", "--type", "rsa1024"}, 1, "rsa1024", "{gost2012-256,"},
    {"NoPinForAKey", {"key", "generate"}, 5, "no terminal", "name a file"},
    {"LabFolderIsInUse", {"lab", "create", "."}, 2, "not empty", "a new folder"},
    {"NoLab", {"lab", "serve", "none"}, 2, "none", "lab create makes one"},
    {"NoPort", {"lab", "serve", ".", "--port", "99999"}, 1, "99999", "lab serve --help"},
};

class WrongCommandTest : public LabTest, public ::testing::WithParamInterface<WrongCommand> {
 protected:
  WrongCommandTest() {
    write("doc", "what it is about\n");
    write("doc2", "something else\n");
    write("empty", "");
    write("folder/doc.p7m", "");
    write("folder/doc2.p7m", "");
    pinFile("pin", "4712");
  }

  /// In the test's own folder, so that names are short.
  CommandResult run(const std::string& name) const {
    Arguments words = {"/usr/bin/env", "-C", file(""), tool(name)};
    words.insert(words.end(), GetParam().words.begin(), GetParam().words.end());
    return start(words);
  }

  void expectAdvice(const std::string& name) const {
    const CommandResult told = run(name);
    EXPECT_EQ(told.exitCode, GetParam().exitCode) << told.err;
    EXPECT_THAT(told.err, HasSubstr(GetParam().named));
    EXPECT_THAT(told.err, HasSubstr(GetParam().next));
    EXPECT_TRUE(told.err.starts_with(name + ": ")) << told.err;
  }
};

std::string whatOf(const ::testing::TestParamInfo<WrongCommand>& test) {
  return test.param.what;
}

class WrongSsf : public WrongCommandTest {};

class WrongProvider : public WrongCommandTest {};

INSTANTIATE_TEST_SUITE_P(All, WrongSsf, ::testing::ValuesIn(kSsf), whatOf);
INSTANTIATE_TEST_SUITE_P(All, WrongProvider, ::testing::ValuesIn(kProvider), whatOf);

TEST_P(WrongSsf, IsToldWhatIsWrongAndHowToGoOn) {
  expectAdvice("qxssf");
}

TEST_P(WrongProvider, IsToldWhatIsWrongAndHowToGoOn) {
  expectAdvice("qxprovider");
}

}  // namespace
}  // namespace qx::test::wrong_commands_test
