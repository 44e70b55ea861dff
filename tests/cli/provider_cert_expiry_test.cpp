#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"

namespace qx::test::provider_cert_expiry_test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class ProviderCertExpiry : public CliTest {
 protected:
  // Puts a certificate into a store that ends so long from now.
  void add(const std::string& store, const std::string& name, std::chrono::seconds end) const {
    const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
    const X509Ptr certificate = lab::selfSigned(key.get(),
                                                {.subject = {{.type = "CN", .value = name}},
                                                 .notBefore = -100 * lab::kDay,
                                                 .notAfter = end});
    provider({"cert", "add", "--store", store, write("c.pem", lab::toPem(certificate.get()))});
  }

  CommandResult watch(const Arguments& more) const {
    Arguments arguments = {"cert", "list", "--expires-within"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return provider(arguments);
  }
};

TEST_F(ProviderCertExpiry, NothingThatExpiresIsWell) {
  add("My", "Late", 31 * lab::kDay);
  const CommandResult result = watch({"30d"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, IsEmpty());
}

TEST_F(ProviderCertExpiry, NoStoresAreWell) {
  EXPECT_EQ(watch({"30d"}).exitCode, 0);
}

TEST_F(ProviderCertExpiry, WhatExpiresIsListedWithItsStore) {
  add("My", "Late", 31 * lab::kDay);
  add("Partners", "Soon", 29 * lab::kDay);
  const CommandResult result = watch({"30d"});
  EXPECT_EQ(result.exitCode, 4) << result.err;
  EXPECT_THAT(result.out, HasSubstr("Partners: "));
  EXPECT_THAT(result.out, HasSubstr("CN=Soon"));
  EXPECT_THAT(result.out, HasSubstr("  until "));
  EXPECT_THAT(result.out, Not(HasSubstr("Late")));
}

TEST_F(ProviderCertExpiry, WhatHasExpiredIsListedAsSuch) {
  add("My", "Gone", -lab::kDay);
  const CommandResult result = watch({"1h"});
  EXPECT_EQ(result.exitCode, 4) << result.err;
  EXPECT_THAT(result.out, HasSubstr("  expired "));
}

TEST_F(ProviderCertExpiry, OneStoreIsWatchedWhenItIsNamed) {
  add("My", "Own", 20 * lab::kDay);
  add("Partners", "Soon", 29 * lab::kDay);
  EXPECT_EQ(watch({"25d", "--store", "Partners"}).exitCode, 0);
  EXPECT_EQ(watch({"25d", "--store", "My"}).exitCode, 4);
  EXPECT_EQ(watch({"25d", "--store", "None"}).exitCode, 2);
}

TEST_F(ProviderCertExpiry, UnitsAreHoursDaysAndWeeks) {
  add("My", "Own", 10 * lab::kDay);
  EXPECT_EQ(watch({"239h"}).exitCode, 0);
  EXPECT_EQ(watch({"241h"}).exitCode, 4);
  EXPECT_EQ(watch({"9d"}).exitCode, 0);
  EXPECT_EQ(watch({"11d"}).exitCode, 4);
  EXPECT_EQ(watch({"1w"}).exitCode, 0);
  EXPECT_EQ(watch({"2w"}).exitCode, 4);
}

TEST_F(ProviderCertExpiry, APeriodWithoutItsUnitIsAWrongCommandLine) {
  const CommandResult result = watch({"30"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_THAT(result.err, HasSubstr("write 30d, 2w or 12h"));
}

TEST_F(ProviderCertExpiry, JsonTellsStoreAndState) {
  add("My", "Gone", -lab::kDay);
  add("Partners", "Soon", 5 * lab::kDay);
  const nlohmann::json json = providerJson({"cert", "list", "--expires-within", "30d"});
  ASSERT_THAT(json["certificates"], SizeIs(2));
  EXPECT_EQ(json["certificates"][0]["store"], "My");
  EXPECT_EQ(json["certificates"][0]["expired"], true);
  EXPECT_EQ(json["certificates"][1]["store"], "Partners");
  EXPECT_EQ(json["certificates"][1]["expired"], false);
  EXPECT_EQ(json["certificates"][1]["subject"], "CN=Soon");
}

TEST_F(ProviderCertExpiry, JsonOfNothingIsAnEmptyList) {
  EXPECT_EQ(providerJson({"cert", "list", "--expires-within", "30d"})["certificates"],
            nlohmann::json::array());
}

TEST_F(ProviderCertExpiry, TheMachinesStoresAreWatchedApart) {
  add("My", "Own", 5 * lab::kDay);
  EXPECT_EQ(watch({"30d", "--machine"}).exitCode, 0);
}

}  // namespace
}  // namespace qx::test::provider_cert_expiry_test
