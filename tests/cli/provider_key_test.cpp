#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_key_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class ProviderKey : public CliTest {
 protected:
  std::string keyFile(const std::string& id) const { return userFolder() + "/keys/" + id; }

  // Whether the openssl command opens a key file of the store with a PIN.
  bool opens(const std::string& id, const std::string& pin) const {
    return openssl({"pkey", "-in", keyFile(id), "-noout", "-passin", "pass:" + pin}).exitCode == 0;
  }

  std::string generate(Arguments more = {"--no-pin"}) const {
    Arguments arguments = {"key", "generate"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return providerJson(arguments)["key"];
  }

  std::size_t keys() const { return providerJson({"key", "list"})["keys"].size(); }
};

class ProviderKeyKind : public ProviderKey, public ::testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    ProviderKeyKind,
    ::testing::Values("gost2012-256", "gost2012-512", "gost2001", "rsa2048", "p256", "p384"));

TEST_P(ProviderKeyKind, GenerateMakesAKeyThatTheOpensslCommandOpens) {
  const std::string id =
      generate({"--type", GetParam(), "--pin-file", pinFile("pin", "plum-4711")});
  EXPECT_TRUE(opens(id, "plum-4711"));
  EXPECT_FALSE(opens(id, "plum-4712"));
  const nlohmann::json entry = providerJson({"key", "list"})["keys"][0];
  EXPECT_EQ(entry["key"], id);
  EXPECT_EQ(entry["pin"], true);
}

TEST_P(ProviderKeyKind, GenerateWithoutPinMakesAPrivateFile) {
  const std::string id = generate({"--type", GetParam(), "--no-pin"});
  EXPECT_THAT(readFile(keyFile(id)), HasSubstr("BEGIN PRIVATE KEY"));
  EXPECT_EQ(fs::status(keyFile(id)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  const nlohmann::json entry = providerJson({"key", "list"})["keys"][0];
  EXPECT_EQ(entry["pin"], false);
  EXPECT_EQ(entry["type"], GetParam());
}

TEST_P(ProviderKeyKind, GenerateWritesThePublicKey) {
  const std::string id =
      generate({"--type", GetParam(), "--no-pin", "--public-key", file("public.pem")});
  const CommandResult shown = openssl({"pkey", "-in", keyFile(id), "-pubout"});
  EXPECT_EQ(shown.out, readFile(file("public.pem"))) << shown.err;
}

TEST_P(ProviderKeyKind, ImportTakesAKeyOfTheOpensslCommand) {
  const EvpPkeyPtr key = lab::generateKey([] {
    for (const lab::KeyKind kind : {lab::KeyKind::Gost2001,
                                    lab::KeyKind::Gost2012_256,
                                    lab::KeyKind::Gost2012_512,
                                    lab::KeyKind::Rsa2048,
                                    lab::KeyKind::EcP256,
                                    lab::KeyKind::EcP384}) {
      if (std::string(lab::kindName(kind)) == GetParam()) {
        return kind;
      }
    }
    return lab::KeyKind::Gost2001;
  }());
  const std::string clear = privateFile("clear.pem", lab::toPem(key.get()));
  const std::string locked = file("locked.pem");
  ASSERT_EQ(openssl({"pkcs8",
                     "-topk8",
                     "-in",
                     clear,
                     "-out",
                     locked,
                     "-v2",
                     "aes256",
                     "-passout",
                     "pass:theirs"})
                .exitCode,
            0);
  const CommandResult result =
      provider({"key", "import", locked, "--password-env", "THEIRS", "--pin-env", "OURS"},
               {.environment = {{"THEIRS", "theirs"}, {"OURS", "ours"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const std::string id = providerJson({"key", "list"})["keys"][0]["key"];
  EXPECT_TRUE(opens(id, "ours"));
  EXPECT_FALSE(opens(id, "theirs"));
}

TEST_F(ProviderKey, GenerateWantsADecisionAboutThePin) {
  const CommandResult result = provider({"key", "generate"});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("no terminal"));
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKey, GenerateRefusesAnEmptyPin) {
  const CommandResult result = provider({"key", "generate", "--pin-file", pinFile("pin", "")});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("--no-pin"));
  EXPECT_EQ(keys(), 0U);
}

TEST_F(ProviderKey, GenerateRefusesAPinAndNone) {
  const CommandResult result =
      provider({"key", "generate", "--no-pin", "--pin-file", pinFile("pin", "1")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(keys(), 0U);
}

TEST_F(ProviderKey, GenerateRefusesAnUnknownKind) {
  const CommandResult result = provider({"key", "generate", "--type", "dsa", "--no-pin"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("gost2012-256"));
}

TEST_F(ProviderKey, APinOnTheCommandLineIsRefusedAndNotRepeated) {
  const CommandResult result = provider({"key", "generate", "--pin", "plum-4711"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, AllOf(HasSubstr("--pin-file"), Not(HasSubstr("plum-4711"))));
}

TEST_F(ProviderKey, PinComesFromADescriptor) {
  const CommandResult result =
      provider({"key", "generate", "--pin-fd", "7"}, {.descriptors = {{7, "plum-4711\n"}}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_TRUE(opens(providerJson({"key", "list"})["keys"][0]["key"], "plum-4711"));
}

TEST_F(ProviderKey, PinComesFromTheTerminalTypedTwiceAndUnseen) {
  const CommandResult result = provider(
      {"key", "generate", "--pin-prompt"},
      {.dialog = {{"PIN of the key: ", "plum-4711\n"}, {"PIN of the key: ", "plum-4711\n"}}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.terminal, Not(HasSubstr("plum-4711")));
  EXPECT_TRUE(opens(providerJson({"key", "list"})["keys"][0]["key"], "plum-4711"));
}

TEST_F(ProviderKey, TheTerminalIsAskedWhenNoSourceIsNamed) {
  const CommandResult result = provider(
      {"key", "generate"},
      {.dialog = {{"PIN of the key: ", "plum-4711\n"}, {"PIN of the key: ", "plum-4711\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(ProviderKey, PinTypedTwiceDifferentlyIsRefused) {
  const CommandResult result = provider(
      {"key", "generate", "--pin-prompt"},
      {.dialog = {{"PIN of the key: ", "plum-4711\n"}, {"PIN of the key: ", "plum-4712\n"}}});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("the two PINs differ"));
  EXPECT_EQ(keys(), 0U);
}

TEST_F(ProviderKey, GeneratedForTheMachineIsReadByItsGroup) {
  ASSERT_EQ(provider({"key", "generate", "--no-pin", "--machine"}).exitCode, 0);
  const std::string id = providerJson({"key", "list", "--machine"})["keys"][0]["key"];
  struct stat status{};
  ASSERT_EQ(stat(file("machine/keys/" + id).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_EQ(keys(), 0U);
}

TEST_F(ProviderKey, ListWarnsOfAKeyThatOthersCanRead) {
  const std::string id = generate();
  EXPECT_EQ(provider({"key", "list"}).err, "");
  fs::permissions(keyFile(id), fs::perms::group_read, fs::perm_options::add);
  const CommandResult result = provider({"key", "list"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err,
            "qxprovider: warning: " + keyFile(id) +
                ": others can read this key; chmod 600 keeps it private\n");
  EXPECT_EQ(providerJson({"key", "list"})["warnings"].size(), 1U);
}

class ProviderKeyImport : public ProviderKey {
 protected:
  std::string pkcs12(const std::string& password, const std::vector<X509*>& others = {}) const {
    const lab::Bytes packed = lab::toPkcs12(key_.get(), certificate_.get(), others, password);
    return privateFile("key.p12", std::string(packed.begin(), packed.end()));
  }

  CommandResult import(const std::string& path, const std::string& password) const {
    return provider({"key", "import", path, "--password-env", "PASSWORD", "--no-pin"},
                    {.environment = {{"PASSWORD", password}}});
  }

  lab::Authority root_ = lab::Authority::selfSigned(lab::KeyKind::Gost2012_256,
                                                    {.subject = {{.type = "CN", .value = "Root"}}});
  lab::Authority ca_ =
      root_.subordinate(lab::KeyKind::Gost2012_256, {.subject = {{.type = "CN", .value = "CA"}}});
  EvpPkeyPtr key_ = lab::generateKey(lab::KeyKind::Gost2012_256);
  X509Ptr certificate_ = ca_.issue(key_.get(), {.subject = {{.type = "CN", .value = "Owner"}}});
};

TEST_F(ProviderKeyImport, TakesPkcs12WithItsCertificate) {
  const CommandResult result = import(pkcs12("theirs"), "theirs");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, AllOf(HasSubstr("key "), HasSubstr("My: CN=Owner")));
  const nlohmann::json keys = providerJson({"key", "list"})["keys"];
  ASSERT_EQ(keys.size(), 1U);
  EXPECT_EQ(keys[0]["subjects"][0], "CN=Owner");
}

TEST_F(ProviderKeyImport, PutsIntermediatesInCaAndTrustsNoRoot) {
  EXPECT_EQ(import(pkcs12("theirs", {ca_.certificate(), root_.certificate()}), "theirs").exitCode,
            0);
  const nlohmann::json ca = providerJson({"cert", "list", "--store", "CA"})["certificates"];
  ASSERT_EQ(ca.size(), 1U);
  EXPECT_EQ(ca[0]["subject"], "CN=CA");
  EXPECT_EQ(provider({"store", "show", "Root"}).exitCode, 2);
}

TEST_F(ProviderKeyImport, TakesPkcs12OfTheOpensslCommand) {
  const std::string keyPem = privateFile("k.pem", lab::toPem(key_.get()));
  const std::string certPem = write("c.pem", lab::toPem(certificate_.get()));
  const std::string packed = file("openssl.p12");
  const CommandResult made = openssl({"pkcs12",
                                      "-export",
                                      "-inkey",
                                      keyPem,
                                      "-in",
                                      certPem,
                                      "-out",
                                      packed,
                                      "-passout",
                                      "pass:theirs"});
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const CommandResult result = import(packed, "theirs");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(keys(), 1U);
}

TEST_F(ProviderKeyImport, RefusesAWrongPassword) {
  const CommandResult result = import(pkcs12("theirs"), "other");
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("the password does not open it"));
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKeyImport, TakesClearKeysInPemAndDer) {
  EXPECT_EQ(import(privateFile("k.pem", lab::toPem(key_.get())), "").exitCode, 0);
  const EvpPkeyPtr other = lab::generateKey(lab::KeyKind::EcP256);
  const lab::Bytes der = lab::toDer(other.get());
  const std::string path = privateFile("k.der", "");
  writeFile(path, std::string(der.begin(), der.end()));
  const CommandResult result = import(path, "");
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(keys(), 2U);
}

TEST_F(ProviderKeyImport, TakesLockedKeysInDer) {
  const std::string pem = privateFile("k.pem", lab::toPem(key_.get()));
  ASSERT_EQ(openssl({"pkcs8",
                     "-topk8",
                     "-in",
                     pem,
                     "-outform",
                     "DER",
                     "-out",
                     file("k.der"),
                     "-v2",
                     "aes256",
                     "-passout",
                     "pass:theirs"})
                .exitCode,
            0);
  EXPECT_EQ(import(file("k.der"), "wrong").exitCode, 5);
  EXPECT_EQ(import(file("k.der"), "theirs").exitCode, 0);
}

TEST_F(ProviderKeyImport, TakesKeysLockedWithScrypt) {
  const std::string pem = privateFile("k.pem", lab::toPem(key_.get()));
  ASSERT_EQ(openssl({"pkcs8",
                     "-topk8",
                     "-in",
                     pem,
                     "-out",
                     file("k.scrypt"),
                     "-scrypt",
                     "-scrypt_N",
                     "1024",
                     "-passout",
                     "pass:theirs"})
                .exitCode,
            0);
  EXPECT_EQ(import(file("k.scrypt"), "theirs").exitCode, 0);
}

TEST_F(ProviderKeyImport, WarnsOfAFileThatOthersCanRead) {
  const CommandResult result = import(write("k.pem", lab::toPem(key_.get())), "");
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, HasSubstr("others can read this key"));
}

TEST_F(ProviderKeyImport, RefusesTheSameKeyTwice) {
  const std::string path = privateFile("k.pem", lab::toPem(key_.get()));
  ASSERT_EQ(import(path, "").exitCode, 0);
  EXPECT_EQ(import(path, "").exitCode, 2);
  EXPECT_EQ(keys(), 1U);
}

TEST_F(ProviderKeyImport, RefusesWhatIsNoKey) {
  std::string cut = lab::toPem(key_.get());
  cut.resize(cut.size() / 2);
  for (const std::string& content : {std::string("nonsense"),
                                     std::string(),
                                     lab::toPem(certificate_.get()),
                                     cut,
                                     std::string("\x30\x82\x00\x01\x00", 5)}) {
    const std::string path = privateFile("bad", content);
    const CommandResult result = import(path, "");
    EXPECT_THAT(result.exitCode, ::testing::AnyOf(2, 5)) << content;
    EXPECT_THAT(result.err, StartsWith("qxprovider: " + path + ": ")) << content;
  }
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKeyImport, NamesTheCommandThatMakesAnOldKeyUsable) {
  const EvpPkeyPtr rsa = lab::generateKey(lab::KeyKind::Rsa2048);
  const std::string pem = privateFile("k.pem", lab::toPem(rsa.get()));
  openssl({"pkey", "-in", pem, "-traditional", "-out", file("old.pem")});
  const CommandResult result = import(file("old.pem"), "");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("openssl pkcs8 -topk8"));
}

TEST_F(ProviderKeyImport, NamesAMissingFile) {
  const CommandResult result = import("/nonexistent/key", "");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: /nonexistent/key: No such file or directory\n");
}

TEST_F(ProviderKeyImport, AsksForThePasswordOnlyWhenOneIsNeeded) {
  const std::string path = privateFile("k.pem", lab::toPem(key_.get()));
  EXPECT_EQ(provider({"key", "import", path, "--no-pin"}).exitCode, 0);
  const CommandResult result = provider({"key", "import", pkcs12("theirs"), "--no-pin"});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("Password of "));
}

TEST_F(ProviderKeyImport, AsksForThePasswordAtTheTerminal) {
  const CommandResult result = provider({"key", "import", pkcs12("theirs"), "--no-pin"},
                                        {.dialog = {{"key.p12: ", "theirs\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.terminal, Not(HasSubstr("theirs")));
}

class ProviderKeyPasswd : public ProviderKey {
 protected:
  CommandResult passwd(const std::string& id, Arguments more) const {
    Arguments arguments = {"key", "passwd", id};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments,
                    {.environment = {{"OLD", "plum-4711"}, {"NEW", "plum-0815"}, {"BAD", "1"}}});
  }
};

TEST_F(ProviderKeyPasswd, ChangesThePin) {
  const std::string id = generate({"--pin-file", pinFile("pin", "plum-4711")});
  const CommandResult result = passwd(id, {"--pin-env", "OLD", "--new-pin-env", "NEW"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_FALSE(opens(id, "plum-4711"));
  EXPECT_TRUE(opens(id, "plum-0815"));
}

TEST_F(ProviderKeyPasswd, RefusesAWrongPinAndChangesNothing) {
  const std::string id = generate({"--pin-file", pinFile("pin", "plum-4711")});
  const std::string before = readFile(keyFile(id));
  const CommandResult result = passwd(id, {"--pin-env", "BAD", "--new-pin-env", "NEW"});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, StartsWith("qxprovider: " + id + ": "));
  EXPECT_EQ(readFile(keyFile(id)), before);
}

TEST_F(ProviderKeyPasswd, SetsAPinWhereThereWasNone) {
  const std::string id = generate();
  EXPECT_EQ(passwd(id, {"--new-pin-env", "NEW"}).exitCode, 0);
  EXPECT_TRUE(opens(id, "plum-0815"));
  EXPECT_FALSE(opens(id, "x"));
}

TEST_F(ProviderKeyPasswd, RemovesThePinOnlyWhenAsked) {
  const std::string id = generate({"--pin-file", pinFile("pin", "plum-4711")});
  EXPECT_EQ(passwd(id, {"--pin-env", "OLD"}).exitCode, 5);
  EXPECT_EQ(passwd(id, {"--pin-env", "OLD", "--no-pin"}).exitCode, 0);
  EXPECT_THAT(readFile(keyFile(id)), HasSubstr("BEGIN PRIVATE KEY"));
}

TEST_F(ProviderKeyPasswd, AsksForBothAtTheTerminal) {
  const std::string id = generate({"--pin-file", pinFile("pin", "plum-4711")});
  const CommandResult result = provider({"key", "passwd", id},
                                        {.dialog = {{"Present PIN: ", "plum-4711\n"},
                                                    {"PIN of the key: ", "plum-0815\n"},
                                                    {"PIN of the key: ", "plum-0815\n"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_TRUE(opens(id, "plum-0815"));
}

TEST_F(ProviderKeyPasswd, NamesAKeyThatIsMissing) {
  const CommandResult result = passwd("abc", {"--no-pin"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: the user has no key abc; key list shows all\n");
}

TEST_F(ProviderKeyPasswd, TakesNoPathForAKey) {
  EXPECT_NE(passwd("../keys/x", {"--no-pin"}).exitCode, 0);
}

}  // namespace
}  // namespace qx::test::provider_key_test
