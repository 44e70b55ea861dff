#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_export_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr auto kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;

class ProviderExport : public LabTest {
 protected:
  static std::string thumbprint(const std::string& name) { return person(name)["thumbprint"]; }

  // Somebody's key, as key list names it.
  std::string keyOf(const std::string& name) const {
    const nlohmann::json listed = providerJson({"cert", "list"});
    for (const auto& entry : listed["certificates"]) {
      if (entry["thumbprint"] == thumbprint(name)) {
        return entry["key"];
      }
    }
    return "";
  }

  CommandResult pack(const std::string& name, const Arguments& more = {}) const {
    Arguments arguments = {"cert", "export", thumbprint(name), "--pkcs12", "-o", file("out.p12")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments, {.environment = {{"THE_PASSWORD", "open sesame"}}});
  }

  CommandResult opened(const Arguments& more, const std::string& password = "open sesame") const {
    Arguments arguments = {"pkcs12", "-in", file("out.p12"), "-passin", "pass:" + password};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return openssl(arguments);
  }
};

class ProviderPkcs12 : public ProviderExport, public ::testing::WithParamInterface<const char*> {
 protected:
  CommandResult packWithPin() const {
    const nlohmann::json who = person(GetParam());
    Arguments more = {"--password-env", "THE_PASSWORD"};
    if (who.contains("pinFile")) {
      more.insert(more.end(), {"--pin-file", lab(who["pinFile"])});
    }
    return pack(GetParam(), more);
  }
};

// Each kind of key, with a PIN and without.
INSTANTIATE_TEST_SUITE_P(Kinds,
                         ProviderPkcs12,
                         ::testing::Values("ivan", "boris", "galina", "robert", "eva"));

TEST_P(ProviderPkcs12, IsOpenedByTheOpensslCommandWithKeyAndChain) {
  const nlohmann::json who = person(GetParam());
  ASSERT_FALSE(who.is_null());
  const CommandResult result = packWithPin();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(fs::status(file("out.p12")).permissions(), kOwnerOnly);

  const std::string own = opened({"-nokeys", "-clcerts"}).out;
  EXPECT_THAT(own, HasSubstr(readFile(lab("pem/" + std::string(GetParam()) + ".crt"))));
  const std::string authority = who["authority"];
  const std::string chain = opened({"-nokeys", "-cacerts"}).out;
  EXPECT_THAT(chain, HasSubstr(readFile(lab("pem/" + authority + "-ca.crt"))));
  EXPECT_THAT(chain, HasSubstr(readFile(lab("pem/" + authority + "-root.crt"))));

  const std::string key = write("key.pem", opened({"-nocerts", "-noenc"}).out);
  EXPECT_EQ(
      openssl({"pkey", "-in", key, "-pubout"}).out,
      openssl({"pkey", "-in", lab("pem/" + std::string(GetParam()) + ".key"), "-pubout"}).out);
}

TEST_P(ProviderPkcs12, IsGuardedByAesAndSha256) {
  packWithPin();
  const CommandResult told = opened({"-info", "-noout"});
  EXPECT_EQ(told.exitCode, 0) << told.err;
  EXPECT_THAT(told.err, HasSubstr("MAC: sha256"));
  EXPECT_THAT(told.err, HasSubstr("PBES2, PBKDF2, AES-256-CBC"));
  EXPECT_THAT(told.err, HasSubstr("PRF hmacWithSHA256"));
  EXPECT_NE(opened({"-noout"}, "open barley").exitCode, 0);
}

TEST_P(ProviderPkcs12, IsImportedElsewhere) {
  packWithPin();
  const CommandResult result = provider({"key",
                                         "import",
                                         "--machine",
                                         "--no-pin",
                                         "--store",
                                         "Taken",
                                         "--password-env",
                                         "THE_PASSWORD",
                                         file("out.p12")},
                                        {.environment = {{"THE_PASSWORD", "open sesame"}}});
  EXPECT_THAT(result.out, HasSubstr(keyOf(GetParam()))) << result.err;
  EXPECT_EQ(providerJson(
                {"cert", "list", "--machine", "--store", "Taken"})["certificates"][0]["thumbprint"],
            thumbprint(GetParam()));
}

TEST_F(ProviderExport, Pkcs12NeedsTheKeysPin) {
  Arguments more = {"--password-env", "THE_PASSWORD", "--pin-file", pinFile("wrong", "0000")};
  EXPECT_EQ(pack("robert", more).exitCode, 5);
  EXPECT_FALSE(exists("out.p12"));
  more.back() = lab(person("robert")["pinFile"]);
  EXPECT_EQ(pack("robert", more).exitCode, 0);
}

TEST_F(ProviderExport, Pkcs12NeedsAPassword) {
  const CommandResult result = pack("rita", {"--password-file", pinFile("empty", "")});
  EXPECT_EQ(result.exitCode, 5);
  EXPECT_THAT(result.err, HasSubstr("the password is empty"));
  EXPECT_FALSE(exists("out.p12"));
}

TEST_F(ProviderExport, Pkcs12NeedsAKey) {
  for (const auto& key : fs::directory_iterator(userFolder() + "/keys")) {
    fs::remove(key);
  }
  const CommandResult result = pack("rita", {"--password-env", "THE_PASSWORD"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("has no key"));
}

TEST_F(ProviderExport, Pkcs12TakesTheRightsFromAFileThatOthersRead) {
  write("out.p12", "old");
  fs::permissions(file("out.p12"), fs::perms::others_read, fs::perm_options::add);
  pack("rita", {"--password-env", "THE_PASSWORD"});
  EXPECT_EQ(fs::status(file("out.p12")).permissions(), kOwnerOnly);
}

TEST_F(ProviderExport, APasswordWithoutPkcs12IsAWrongCommandLine) {
  const CommandResult result =
      provider({"cert", "export", thumbprint("rita"), "--password-file", pinFile("password", "x")});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("belongs to --pkcs12"));
  EXPECT_EQ(pack("rita", {"--der"}).exitCode, 1);
}

TEST_F(ProviderExport, AKeyIsWrittenUnderItsPin) {
  const std::string id = providerJson(
      {"key", "generate", "--type", "p256", "--pin-file", pinFile("pin", "4711")})["key"];
  const CommandResult result = provider({"key", "export", id, "-o", file("key.pem")});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(fs::status(file("key.pem")).permissions(), kOwnerOnly);
  EXPECT_THAT(readFile(file("key.pem")), HasSubstr("BEGIN ENCRYPTED PRIVATE KEY"));
  EXPECT_EQ(openssl({"pkey", "-in", file("key.pem"), "-noout", "-passin", "pass:4711"}).exitCode,
            0);
  EXPECT_NE(openssl({"pkey", "-in", file("key.pem"), "-noout", "-passin", "pass:0815"}).exitCode,
            0);
}

TEST_F(ProviderExport, AKeyWithoutAPinIsWrittenAsItLies) {
  const std::string id = providerJson({"key", "generate", "--type", "p256", "--no-pin"})["key"];
  const CommandResult result = provider({"key", "export", id, "-o", "-"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, readFile(userFolder() + "/keys/" + id));
  EXPECT_EQ(providerJson({"key", "export", id, "-o", file("key.pem")})["pin"], false);
}

TEST_F(ProviderExport, AKeyThatIsNotThereLeavesNoFile) {
  const CommandResult result = provider({"key", "export", "abc", "-o", file("key.pem")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("key list shows all"));
  EXPECT_FALSE(exists("key.pem"));
}

TEST_F(ProviderExport, AKeysFileIsNamed) {
  EXPECT_EQ(provider({"key", "export", "abc"}).exitCode, 1);
}

}  // namespace
}  // namespace qx::test::provider_export_test
