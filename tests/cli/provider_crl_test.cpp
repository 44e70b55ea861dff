#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_crl_test {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class ProviderCrl : public CliTest {
 protected:
  std::string crlFile(const std::string& name, const lab::CrlOptions& options) const {
    return write(name, lab::toPem(authority_.crl(options).get()));
  }

  lab::Authority authority_ = lab::Authority::selfSigned(
      lab::KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Some CA"}}});
};

TEST_F(ProviderCrl, AddPutsItBesideTheAuthorities) {
  const CommandResult result = provider({"crl", "add", crlFile("a.crl", {})});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, StartsWith("CA: CRL of "));
  EXPECT_THAT(result.out, HasSubstr("by CN=Some CA"));
  EXPECT_EQ(providerJson({"store", "show", "CA"})["crls"].size(), 1U);
}

TEST_F(ProviderCrl, AddTakesDerAndStandardInput) {
  const lab::Bytes der = lab::toDer(authority_.crl().get());
  const CommandResult result = provider({"crl", "add", "-", "--store", "Root"},
                                        {.input = std::string(der.begin(), der.end())});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(providerJson({"store", "show", "Root"})["crls"].size(), 1U);
}

TEST_F(ProviderCrl, ANewerOneTakesTheOldOnesPlace) {
  provider({"crl", "add", crlFile("old.crl", {.revoked = {}, .thisUpdate = -2 * lab::kDay})});
  const CommandResult result =
      provider({"crl",
                "add",
                crlFile("new.crl", {.revoked = {{.serial = "05"}}, .thisUpdate = -lab::kDay})});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const nlohmann::json crls = providerJson({"store", "show", "CA"})["crls"];
  ASSERT_EQ(crls.size(), 1U);
  EXPECT_EQ(crls[0]["revoked"], 1);
}

TEST_F(ProviderCrl, AnOlderOneIsRefused) {
  provider({"crl", "add", crlFile("new.crl", {.revoked = {}, .thisUpdate = -lab::kDay})});
  const std::string old = crlFile("old.crl", {.revoked = {}, .thisUpdate = -2 * lab::kDay});
  const CommandResult result = provider({"crl", "add", old});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, StartsWith("qxprovider: " + old + ": "));
}

TEST_F(ProviderCrl, AddRefusesWhatIsNone) {
  const std::string path = write("bad.crl", lab::toPem(authority_.certificate()));
  const CommandResult result = provider({"crl", "add", path});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: " + path + ": holds no X509 CRL (PEM and DER can be read)\n");
  EXPECT_FALSE(exists("user"));
}

}  // namespace
}  // namespace qx::test::provider_crl_test
