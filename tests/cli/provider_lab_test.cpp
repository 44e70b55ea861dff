#include <filesystem>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_lab_test {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

class ProviderLab : public LabTest {
 protected:
  // The openssl command over a chain of the lab: both authorities, both lists.
  CommandResult verify(const std::string& authority, const std::string& name) const {
    const std::string crls = write("crls.pem",
                                   readFile(lab("pem/" + authority + "-root.crl")) +
                                       readFile(lab("pem/" + authority + "-ca.crl")));
    return openssl({"verify",
                    "-x509_strict",
                    "-crl_check_all",
                    "-CAfile",
                    lab("pem/" + authority + "-root.crt"),
                    "-untrusted",
                    lab("pem/" + authority + "-ca.crt"),
                    "-CRLfile",
                    crls,
                    lab("pem/" + name + ".crt")});
  }

  // The key file that belongs to a certificate of the store My.
  std::string keyOf(const std::string& thumbprint) const {
    const nlohmann::json listed = providerJson({"cert", "list"});
    for (const auto& entry : listed["certificates"]) {
      if (entry["thumbprint"] == thumbprint) {
        return entry["key"];
      }
    }
    return "";
  }
};

TEST_F(ProviderLab, ChainsAreWhatTheOpensslCommandThinksOfThem) {
  int good = 0;
  for (const auto& entry : people()) {
    const CommandResult result = verify(entry["authority"], entry["name"]);
    if (entry["state"] == "good") {
      EXPECT_EQ(result.exitCode, 0) << entry["name"] << result.err;
      ++good;
    }
    if (entry["state"] == "revoked") {
      EXPECT_THAT(result.err, HasSubstr("certificate revoked"));
    }
    if (entry["state"] == "expired") {
      EXPECT_THAT(result.err, HasSubstr("certificate has expired"));
    }
  }
  EXPECT_EQ(good, 17);
}

TEST_F(ProviderLab, LastsForYears) {
  for (const auto& entry : people()) {
    if (entry["state"] == "good") {
      const CommandResult result = openssl({"x509",
                                            "-in",
                                            lab("pem/" + entry["name"].get<std::string>() + ".crt"),
                                            "-noout",
                                            "-checkend",
                                            "157680000"});
      EXPECT_EQ(result.exitCode, 0) << entry["name"];
    }
  }
  for (const char* name : {"gost-root", "gost-ca", "rsa-root", "rsa-ca", "ec-root", "ec-ca"}) {
    const CommandResult shown = run({"openssl",
                                     "crl",
                                     "-in",
                                     lab("pem/" + std::string(name) + ".crl"),
                                     "-noout",
                                     "-nextupdate"});
    ASSERT_THAT(shown.out, HasSubstr(" GMT")) << shown.err;
    EXPECT_GT(std::stoi(shown.out.substr(shown.out.rfind(" GMT") - 4, 4)), 2040) << shown.out;
  }
}

TEST_F(ProviderLab, HasEveryKindOfSignerWithAndWithoutPin) {
  std::map<std::string, std::set<bool>> pins;
  for (const auto& entry : people()) {
    pins[entry["authority"].get<std::string>() + "/" + entry["role"].get<std::string>()].insert(
        entry.contains("pinFile"));
  }
  for (const char* group :
       {"gost/signer", "gost/recipient", "rsa/signer", "rsa/recipient", "ec/signer"}) {
    EXPECT_EQ(pins[group].size(), 2U) << group;
  }
  EXPECT_TRUE(pins.contains("gost/time-stamps"));
  EXPECT_TRUE(pins.contains("rsa/time-stamps"));
  EXPECT_TRUE(pins.contains("gost/ocsp"));
  EXPECT_TRUE(pins.contains("rsa/ocsp"));
}

TEST_F(ProviderLab, PinsOpenTheKeys) {
  int opened = 0;
  for (const auto& entry : people()) {
    const std::string base = lab("pem/" + entry["name"].get<std::string>());
    const std::string key = userFolder() + "/keys/" + keyOf(entry["thumbprint"].get<std::string>());
    if (entry.contains("pinFile")) {
      const CommandResult shown =
          openssl({"pkey", "-in", key, "-passin", "file:" + lab(entry["pinFile"])});
      EXPECT_EQ(shown.out, readFile(base + ".key")) << shown.err;
      ++opened;
    }
  }
  EXPECT_EQ(opened, 6);
}

TEST_F(ProviderLab, ServiceCertificatesSayWhatTheyAreFor) {
  const CommandResult stamps = openssl({"x509", "-in", lab("pem/tsa-gost.crt"), "-noout", "-text"});
  EXPECT_THAT(stamps.out,
              AllOf(HasSubstr("Extended Key Usage: critical"), HasSubstr("Time Stamping")));
  const CommandResult ocsp = openssl({"x509", "-in", lab("pem/ocsp-rsa.crt"), "-noout", "-text"});
  EXPECT_THAT(ocsp.out, AllOf(HasSubstr("OCSP Signing"), HasSubstr("OCSP No Check")));
}

TEST_F(ProviderLab, CopiesAreTheSameKeysAndCertificates) {
  for (const auto& entry : people()) {
    const std::string base = lab("pem/" + entry["name"].get<std::string>());
    EXPECT_EQ(openssl({"pkey", "-in", base + ".key", "-pubout"}).out,
              openssl({"x509", "-in", base + ".crt", "-noout", "-pubkey"}).out)
        << entry["name"];
  }
}

TEST_F(ProviderLab, EnvironmentIsForAShell) {
  const CommandResult result =
      run({"sh", "-c", ". \"$0\" && echo \"$QXPROVIDER_USER_DIR\"", lab("environment")});
  EXPECT_EQ(result.out, lab("user") + "\n");
}

TEST_F(ProviderLab, IsPrivateToItsOwner) {
  for (const auto& entry : fs::recursive_directory_iterator(lab(""))) {
    if (entry.path().string().find("/user/stores") != std::string::npos) {
      continue;
    }
    EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
              fs::perms::none)
        << entry.path();
  }
}

TEST_F(ProviderLab, DescribesItselfWithoutItsPins) {
  const std::string description = readFile(lab("lab.json"));
  const nlohmann::json json = nlohmann::json::parse(description);
  EXPECT_EQ(json["folder"], fs::path(lab("")).parent_path().string());
  EXPECT_EQ(json["authorities"].size(), 3U);
  EXPECT_EQ(json["people"].size(), 19U);
  for (const auto& entry : json["people"]) {
    if (entry.contains("pinFile")) {
      const std::string line = readFile(lab(entry["pinFile"]));
      EXPECT_THAT(description, Not(HasSubstr(line.substr(0, line.size() - 1))));
    }
  }
}

class ProviderLabCreate : public CliTest {};

TEST_F(ProviderLabCreate, MakesAFolderWithAnOddName) {
  const std::string folder = file("it's a lab");
  const CommandResult result = provider({"lab", "create", folder});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("signer: CN=Ivan Petrov"), HasSubstr("PIN in pins/ivan.pin")));
  const CommandResult sourced =
      run({"sh", "-c", ". \"$0\" && ls \"$QXPROVIDER_USER_DIR\"", folder + "/environment"});
  EXPECT_EQ(sourced.out, "keys\nstores\n");
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderLabCreate, WantsAName) {
  const CommandResult result = provider({"lab", "create", ""});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(
      result.err,
      "qxprovider: the name of the lab's folder is empty (qxprovider lab create --help tells more)\n");
}

TEST_F(ProviderLabCreate, LeavesAFolderAloneThatHoldsSomething) {
  write("lab/file", "mine");
  const CommandResult result = provider({"lab", "create", file("lab")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("is not empty"));
  EXPECT_FALSE(exists("lab/user"));
}

TEST_F(ProviderLabCreate, NamesAFolderThatCannotBeMade) {
  const CommandResult result = provider({"lab", "create", "/dev/null/lab"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("/dev/null/lab"));
}

}  // namespace
}  // namespace qx::test::provider_lab_test
