#include <cctype>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_cert_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kUnknownThumbprint = "0123456789012345678901234567890123456789";

class ProviderCert : public LabTest {
 protected:
  static std::string thumbprint(const std::string& name) { return person(name)["thumbprint"]; }
};

TEST_F(ProviderCert, AddMakesTheStore) {
  const CommandResult result = provider({"cert", "add", "--store", "New", lab("pem/anna.crt")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("Anna Orlova"));
  EXPECT_THAT(provider({"cert", "list", "--store", "New"}).out, StartsWith(thumbprint("anna")));
}

TEST_F(ProviderCert, AddTakesDer) {
  const std::string der = file("anna.der");
  openssl({"x509", "-in", lab("pem/anna.crt"), "-outform", "DER", "-out", der});
  EXPECT_EQ(provider({"cert", "add", "--store", "New", der}).exitCode, 0);
  EXPECT_EQ(providerJson({"cert", "list", "--store", "New"})["certificates"][0]["thumbprint"],
            thumbprint("anna"));
}

TEST_F(ProviderCert, AddTakesAllCertificatesOfAFile) {
  const std::string both =
      write("both.pem", readFile(lab("pem/anna.crt")) + readFile(lab("pem/rita.crt")));
  const nlohmann::json json = providerJson({"cert", "add", "--store", "New", both});
  EXPECT_EQ(json["added"].size(), 2U);
  EXPECT_EQ(providerJson({"cert", "list", "--store", "New"})["certificates"].size(), 2U);
}

TEST_F(ProviderCert, AddTakesSeveralFiles) {
  provider({"cert", "add", "--store", "New", lab("pem/anna.crt"), lab("pem/rita.crt")});
  EXPECT_EQ(providerJson({"cert", "list", "--store", "New"})["certificates"].size(), 2U);
}

TEST_F(ProviderCert, AddReadsStandardInput) {
  const CommandResult result =
      provider({"cert", "add", "--store", "New", "-"}, {.input = readFile(lab("pem/anna.crt"))});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(ProviderCert, AddedTwiceIsThereOnce) {
  provider({"cert", "add", "--store", "New", lab("pem/anna.crt")});
  EXPECT_EQ(provider({"cert", "add", "--store", "New", lab("pem/anna.crt")}).exitCode, 0);
  EXPECT_EQ(providerJson({"cert", "list", "--store", "New"})["certificates"].size(), 1U);
}

TEST_F(ProviderCert, AddRefusesWhatIsNoCertificate) {
  for (const std::string& content : {std::string("nonsense"),
                                     std::string(),
                                     std::string("\x30\x03\x02\x01"),
                                     readFile(lab("pem/anna.key")),
                                     readFile(lab("pem/gost-ca.crl")),
                                     std::string("-----BEGIN CERTIFICATE-----\nAAAA\n")}) {
    const std::string path = write("bad", content);
    const CommandResult result = provider({"cert", "add", "--store", "New", path});
    EXPECT_EQ(result.exitCode, 2) << content;
    EXPECT_THAT(result.err, StartsWith("qxprovider: " + path + ": ")) << content;
  }
  EXPECT_EQ(provider({"cert", "list", "--store", "New"}).exitCode, 2);
}

TEST_F(ProviderCert, AddNamesAMissingFile) {
  const CommandResult result = provider({"cert", "add", "/nonexistent/file"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: /nonexistent/file: No such file or directory\n");
}

TEST_F(ProviderCert, AddToTheMachineStaysApart) {
  EXPECT_EQ(provider({"cert", "add", "--machine", lab("pem/anna.crt")}).exitCode, 0);
  EXPECT_TRUE(exists("machine/stores/My"));
  EXPECT_EQ(providerJson({"cert", "list", "--machine"})["certificates"].size(), 1U);
  EXPECT_EQ(providerJson({"cert", "list"})["certificates"].size(), 14U);
}

TEST_F(ProviderCert, RemoveTakesItOutOfOneStoreOnly) {
  const CommandResult result = provider({"cert", "remove", thumbprint("anna")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("My: removed "));
  EXPECT_EQ(providerJson({"cert", "list"})["certificates"].size(), 13U);
  EXPECT_EQ(providerJson({"cert", "list", "--store", "Addressbook"})["certificates"].size(), 14U);
}

TEST_F(ProviderCert, RemoveTwiceFindsNothing) {
  provider({"cert", "remove", thumbprint("anna")});
  const CommandResult result = provider({"cert", "remove", thumbprint("anna")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("holds no certificate " + thumbprint("anna")));
}

TEST_F(ProviderCert, RemoveOfTheUserLeavesTheMachinesRoot) {
  const std::string root =
      providerJson({"cert", "list", "--store", "Root"})["certificates"][0]["thumbprint"];
  provider({"cert", "add", "--machine", "--store", "Root", lab("pem/gost-root.crt")});
  provider({"cert", "add", "--machine", "--store", "Root", lab("pem/rsa-root.crt")});
  provider({"cert", "add", "--machine", "--store", "Root", lab("pem/ec-root.crt")});
  EXPECT_EQ(provider({"cert", "remove", "--store", "Root", root}).exitCode, 0);
  EXPECT_EQ(provider({"cert", "remove", "--store", "Root", root}).exitCode, 2);
  EXPECT_EQ(providerJson({"cert", "list", "--machine", "--store", "Root"})["certificates"].size(),
            3U);
}

TEST_F(ProviderCert, ExportGivesWhatWasAdded) {
  const CommandResult result = provider({"cert", "export", thumbprint("anna")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, readFile(lab("pem/anna.crt")));
}

TEST_F(ProviderCert, ExportWritesAFile) {
  const CommandResult result =
      provider({"cert", "export", thumbprint("anna"), "--output", file("out.crt")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(readFile(file("out.crt")), readFile(lab("pem/anna.crt")));
}

TEST_F(ProviderCert, ExportWritesDer) {
  provider({"cert", "export", thumbprint("anna"), "--der", "-o", file("out.der")});
  const CommandResult pem = openssl({"x509", "-inform", "DER", "-in", file("out.der")});
  EXPECT_EQ(pem.out, readFile(lab("pem/anna.crt"))) << pem.err;
}

TEST_F(ProviderCert, ExportInJsonNeedsAFile) {
  EXPECT_EQ(provider({"cert", "export", thumbprint("anna"), "--json"}).exitCode, 1);
  const nlohmann::json json = providerJson({"cert", "export", thumbprint("anna"), "-o", file("x")});
  EXPECT_EQ(json["thumbprint"], thumbprint("anna"));
  EXPECT_EQ(json["output"], file("x"));
}

TEST_F(ProviderCert, ExportOfAnUnknownOneLeavesNoFile) {
  const CommandResult result = provider({"cert", "export", kUnknownThumbprint, "-o", file("x")});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_FALSE(exists("x"));
}

TEST_F(ProviderCert, ThumbprintIsTakenAsItIsOftenCopied) {
  std::string spaced;
  for (const char c : thumbprint("anna")) {
    spaced += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    spaced += spaced.size() % 3 == 2 ? ":" : "";
  }
  EXPECT_EQ(provider({"cert", "export", spaced}).exitCode, 0) << spaced;
}

TEST_F(ProviderCert, ThumbprintHasFortyDigits) {
  for (const char* text : {"",
                           "ab",
                           "012345678901234567890123456789012345678",
                           "xyz",
                           "01234567890123456789012345678901234567890"}) {
    const CommandResult result = provider({"cert", "remove", text});
    EXPECT_EQ(result.exitCode, 1) << text;
    EXPECT_THAT(result.err, HasSubstr("thumbprint")) << text;
  }
}

TEST_F(ProviderCert, ListShowsTheKeyByItsFile) {
  const nlohmann::json listed = providerJson({"cert", "list"});
  ASSERT_EQ(listed["certificates"].size(), 14U);
  for (const auto& entry : listed["certificates"]) {
    EXPECT_TRUE(exists("user/keys/" + entry["key"].get<std::string>()));
  }
}

class ProviderCertText : public CliTest {};

TEST_F(ProviderCertText, ShowsNamesInUtf8WithoutControlCharacters) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const X509Ptr certificate = lab::selfSigned(
      key.get(),
      {.subject = {{.type = "O", .value = "Банк"}, {.type = "CN", .value = "a\x1b[31m"}}});
  const std::string path = write("c.pem", lab::toPem(certificate.get()));
  const CommandResult result = provider({"cert", "add", path});
  EXPECT_THAT(result.out, HasSubstr("Банк"));
  EXPECT_THAT(result.out, ::testing::Not(HasSubstr("\x1b")));
}

}  // namespace
}  // namespace qx::test::provider_cert_test
