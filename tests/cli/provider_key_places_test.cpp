#include <sys/stat.h>

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_key_places_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Where keys come from and go to, and what is left when something is wrong.
class ProviderKeyPlaces : public CliTest {
 protected:
  std::string keyFile(const std::string& id) const { return userFolder() + "/keys/" + id; }

  nlohmann::json keys() const { return providerJson({"key", "list"})["keys"]; }

  // Imports without a PIN, with PASSWORD as the file's password.
  CommandResult import(const std::string& path, const Arguments& more = {}) const {
    Arguments arguments = {"key", "import", path, "--password-env", "PASSWORD", "--no-pin"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments, {.environment = {{"PASSWORD", "theirs"}}});
  }

  std::string packed(const std::string& password = "theirs") const {
    const lab::Bytes bytes = lab::toPkcs12(key_.get(), certificate_.get(), {}, password);
    return privateFile("key.p12", std::string(bytes.begin(), bytes.end()));
  }

  std::string plain() const { return privateFile("key.pem", lab::toPem(key_.get())); }

  static mode_t modeOf(const std::string& path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  EvpPkeyPtr key_ = lab::generateKey(lab::KeyKind::EcP256);
  X509Ptr certificate_ =
      lab::selfSigned(key_.get(), {.subject = {{.type = "CN", .value = "Owner"}}});
};

TEST_F(ProviderKeyPlaces, APublicKeyGoesToStandardOutputAlone) {
  const CommandResult result = provider({"key", "generate", "--no-pin", "--public-key", "-"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const nlohmann::json made = keys();
  ASSERT_EQ(made.size(), 1U);
  EXPECT_EQ(result.out, openssl({"pkey", "-in", keyFile(made[0]["key"]), "-pubout"}).out);
  EXPECT_THAT(result.err, StartsWith("key " + made[0]["key"].get<std::string>()));
}

TEST_F(ProviderKeyPlaces, APublicKeyAndJsonDoNotShareAStream) {
  const CommandResult result =
      provider({"key", "generate", "--no-pin", "--public-key", "-", "--json"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(nlohmann::json::parse(result.out)["error"]["exitCode"], 1);
  EXPECT_FALSE(exists("user")) << "a key was made all the same";
}

TEST_F(ProviderKeyPlaces, AKeyWhosePublicKeyCannotBeWrittenIsTold) {
  const CommandResult result =
      provider({"key", "generate", "--no-pin", "--public-key", "/nonexistent/public.pem"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: /nonexistent/public.pem: No such file or directory\n");
  ASSERT_EQ(keys().size(), 1U);
  EXPECT_THAT(result.out, StartsWith("key " + keys()[0]["key"].get<std::string>()));
}

TEST_F(ProviderKeyPlaces, NothingIsImportedForAStoreThatCannotBe) {
  for (const char* store : {"a/b", "", ".hidden", ".."}) {
    const CommandResult result = import(packed(), {"--store", store});
    EXPECT_EQ(result.exitCode, 1) << store;
    EXPECT_THAT(result.err, HasSubstr("cannot be the name of a store"));
  }
  EXPECT_FALSE(exists("user"));
  EXPECT_EQ(import(packed()).exitCode, 0);
}

TEST_F(ProviderKeyPlaces, AnImportedCertificateGoesWhereItIsToldTo) {
  const CommandResult result = import(packed(), {"--store", "Other", "--json"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const nlohmann::json json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json["certificates"].size(), 1U);
  EXPECT_EQ(json["certificates"][0]["store"], "Other");
  EXPECT_EQ(json["certificates"][0]["subject"], "CN=Owner");
  EXPECT_EQ(json["certificates"][0]["key"], json["key"]);
  EXPECT_EQ(json["type"], "p256");
  EXPECT_EQ(json["pin"], false);
  EXPECT_FALSE(exists("user/stores/My"));
}

TEST_F(ProviderKeyPlaces, TheMachinesKeyAndCertificateGoToTheMachine) {
  ASSERT_EQ(import(packed(), {"--machine"}).exitCode, 0);
  EXPECT_FALSE(exists("user"));
  const nlohmann::json machine = providerJson({"key", "list", "--machine"})["keys"];
  ASSERT_EQ(machine.size(), 1U);
  EXPECT_EQ(machine[0]["subjects"], nlohmann::json({"CN=Owner"}));
  EXPECT_EQ(modeOf(file("machine/keys/" + machine[0]["file"].get<std::string>())), 0640U);
  EXPECT_EQ(modeOf(file("machine/keys")), 02750U);
}

TEST_F(ProviderKeyPlaces, AKeyOfTheMachineKeepsItsRightsWithANewPin) {
  ASSERT_EQ(import(plain(), {"--machine"}).exitCode, 0);
  const std::string id = providerJson({"key", "list", "--machine"})["keys"][0]["key"];
  const CommandResult result = provider({"key", "passwd", id, "--machine", "--new-pin-env", "NEW"},
                                        {.environment = {{"NEW", "plum-0815"}}});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "") << "the group is the machine's own";
  EXPECT_EQ(modeOf(file("machine/keys/" + id)), 0640U);
  EXPECT_EQ(providerJson({"key", "list", "--machine"})["keys"][0]["pin"], true);
}

TEST_F(ProviderKeyPlaces, AKeyIsReadFromStandardInput) {
  const CommandResult result =
      provider({"key", "import", "-", "--no-pin"}, {.input = lab::toPem(key_.get())});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(keys().size(), 1U);
}

TEST_F(ProviderKeyPlaces, AKeyHasWindowsLineEnds) {
  std::string text;
  for (const char c : lab::toPem(key_.get())) {
    text += c == '\n' ? "\r\n" : std::string(1, c);
  }
  EXPECT_EQ(import(privateFile("key.pem", text)).exitCode, 0);
}

TEST_F(ProviderKeyPlaces, APackedKeyMayHaveAnEmptyPassword) {
  const CommandResult result =
      provider({"key", "import", packed(""), "--password-file", pinFile("none", ""), "--no-pin"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

struct ForeignKey {
  const char* name;
  Arguments maker;
};

class ProviderForeignKey : public ProviderKeyPlaces,
                           public ::testing::WithParamInterface<ForeignKey> {};

INSTANTIATE_TEST_SUITE_P(
    Kinds,
    ProviderForeignKey,
    ::testing::Values(ForeignKey{"Ed25519", {"-algorithm", "ed25519"}},
                      ForeignKey{"X448", {"-algorithm", "x448"}},
                      ForeignKey{"Secp256k1",
                                 {"-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:secp256k1"}},
                      ForeignKey{"ExplicitCurve",
                                 {"-algorithm",
                                  "EC",
                                  "-pkeyopt",
                                  "ec_paramgen_curve:P-256",
                                  "-pkeyopt",
                                  "ec_param_enc:explicit"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(ProviderForeignKey, IsRefusedByName) {
  const std::string path = file("foreign.pem");
  Arguments arguments = {"genpkey"};
  arguments.insert(arguments.end(), GetParam().maker.begin(), GetParam().maker.end());
  arguments.insert(arguments.end(), {"-out", path});
  const CommandResult made = openssl(arguments);
  ASSERT_EQ(made.exitCode, 0) << made.err;
  const CommandResult result = import(path);
  EXPECT_EQ(result.exitCode, 2) << result.out;
  EXPECT_THAT(result.err, HasSubstr(path + ": "));
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKeyPlaces, APackageWithoutAKeyIsRefused) {
  const std::string certificate = write("c.pem", lab::toPem(certificate_.get()));
  const std::string path = privateFile("nokey.p12", "");
  ASSERT_EQ(openssl({"pkcs12",
                     "-export",
                     "-nokeys",
                     "-in",
                     certificate,
                     "-out",
                     path,
                     "-passout",
                     "pass:theirs"})
                .exitCode,
            0);
  const CommandResult result = import(path);
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: " + path + ": holds no private key that can be used\n");
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKeyPlaces, APackageCutAnywhereIsRefused) {
  const std::string whole = readFile(packed());
  for (const std::size_t size :
       {std::size_t{1}, whole.size() / 3, whole.size() / 2, whole.size() - 1}) {
    const std::string path = privateFile("cut.p12", whole.substr(0, size));
    const CommandResult result = import(path);
    EXPECT_EQ(result.exitCode, 2) << size;
    EXPECT_THAT(result.err, StartsWith("qxprovider: " + path + ": "));
  }
  EXPECT_EQ(import(privateFile("more.p12", whole + "x")).exitCode, 2);
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderKeyPlaces, AListShowsEveryKeyThatCanBeReadAndOnlyThose) {
  ASSERT_EQ(import(packed()).exitCode, 0);
  ASSERT_EQ(provider({"key", "generate", "--pin-file", pinFile("pin", "plum-4711")}).exitCode, 0);
  privateFile("user/keys/rubbish.pem", "no key");
  privateFile("user/keys/.hidden", lab::toPem(key_.get()));
  fs::create_directory(file("user/keys/folder"));
  const CommandResult result = provider({"key", "list", "--json"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  const nlohmann::json listed = nlohmann::json::parse(result.out)["keys"];
  ASSERT_EQ(listed.size(), 2U);
  for (const auto& entry : listed) {
    EXPECT_EQ(entry["file"], entry["key"]);
    EXPECT_EQ(entry["type"], entry["pin"].get<bool>() ? "" : "p256");
    EXPECT_EQ(entry["subjects"].size(), entry["pin"].get<bool>() ? 0U : 1U);
  }
  EXPECT_LT(listed[0]["key"], listed[1]["key"]);
}

TEST_F(ProviderKeyPlaces, AFileNamedByItsOwnerIsListedAndChangedUnderItsName) {
  ASSERT_EQ(provider({"key", "generate", "--type", "p256", "--no-pin"}).exitCode, 0);
  const std::string id = keys()[0]["key"];
  const std::string named =
      openssl({"pkey", "-in", keyFile(id), "-pubout"}).out + readFile(keyFile(id));
  fs::remove(keyFile(id));
  privateFile("user/keys/my own key.pem", named);
  ASSERT_EQ(keys().size(), 1U);
  EXPECT_EQ(keys()[0]["key"], id);
  EXPECT_EQ(keys()[0]["file"], "my own key.pem");
  const CommandResult result = provider({"key", "passwd", id, "--new-pin-env", "NEW"},
                                        {.environment = {{"NEW", "plum-0815"}}});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(keys()[0]["file"], "my own key.pem");
  EXPECT_EQ(keys()[0]["pin"], true);
  EXPECT_EQ(keys()[0]["type"], "p256") << "the public key in front of it tells";
}

TEST_F(ProviderKeyPlaces, ANewPinIsWarnedOfWhenOthersCanReadTheKey) {
  ASSERT_EQ(import(plain()).exitCode, 0);
  const std::string id = keys()[0]["key"];
  fs::permissions(keyFile(id), fs::perms::others_read, fs::perm_options::add);
  const CommandResult result = provider({"key", "passwd", id, "--new-pin-env", "NEW"},
                                        {.environment = {{"NEW", "plum-0815"}}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err,
              StartsWith("qxprovider: warning: " + keyFile(id) + ": others can read this key"));
  EXPECT_EQ(modeOf(keyFile(id)), 0600U) << "written anew it is private again";
}

TEST_F(ProviderKeyPlaces, ANewPinIsNeverEmpty) {
  ASSERT_EQ(import(plain()).exitCode, 0);
  const std::string id = keys()[0]["key"];
  const std::string before = readFile(keyFile(id));
  const CommandResult result = provider({"key", "passwd", id, "--new-pin-file", pinFile("e", "")});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_EQ(result.err, "qxprovider: the PIN is empty; --no-pin leaves the key without one\n");
  EXPECT_EQ(readFile(keyFile(id)), before);
}

TEST_F(ProviderKeyPlaces, NoKeyIsFoundByAPath) {
  ASSERT_EQ(import(plain()).exitCode, 0);
  const std::string id = keys()[0]["key"];
  for (const std::string& name : {std::string(),
                                  std::string("."),
                                  std::string(".."),
                                  "../keys/" + id,
                                  keyFile(id),
                                  id + "/"}) {
    const CommandResult result = provider({"key", "passwd", name, "--no-pin"});
    EXPECT_EQ(result.exitCode, 2) << name << result.err;
  }
}

}  // namespace
}  // namespace qx::test::provider_key_places_test
