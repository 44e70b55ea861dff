#include <sys/stat.h>

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/public_key.h"
#include "tests/support/provider_folder.h"
#include "tests/tools/common/throws.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/key_texts.h"
#include "tools/qxprovider/location.h"

namespace qx::admin::texts_test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;
using tools::ExitCode;
using tools::expectRefusal;

std::shared_ptr<const CertificateData> dataOf(const X509Ptr& certificate) {
  return *CertificateData::parse(lab::toDer(certificate.get()));
}

lab::Authority authority() {
  return lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{"CN", "CA"}}, .ca = true});
}

std::string warningOf(const std::string& path, Location location) {
  tools::Report report("qxprovider");
  CaptureStderr();
  warnOfRights(path, location, report);
  return GetCapturedStderr();
}

TEST(KeyKinds, AreFoundByTheirNames) {
  const std::vector<std::string> names = kindNames();
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 6U);
  for (const std::string& name : names) {
    EXPECT_EQ(lab::kindName(kindByName(name)), name);
  }
  EXPECT_THAT(names, Contains("gost2012-256"));
}

TEST(KeyKinds, AreNamedAlikeWhenTheyExist) {
  for (const std::string& name : kindNames()) {
    const auto key = *PrivateKey::fromEvp(lab::generateKey(kindByName(name)));
    const auto publicKey = *PublicKey::parse(key->spki());
    EXPECT_EQ(keyTypeName(key->type(), publicKey.bitLength()), name);
  }
  EXPECT_EQ(keyTypeName(KeyType::Rsa, 4096), "rsa4096");
  EXPECT_EQ(keyTypeName(KeyType::Ec, 521), "p521");
}

TEST(KeyRights, AreWarnedOfWhenOthersHaveSome) {
  const test::TempDir folder;
  const std::string path = folder.write("key", "x");
  for (const mode_t mode : {0604U, 0602U, 0601U, 0640U, 0620U, 0644U, 0666U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_THAT(warningOf(path, Location::CurrentUser), HasSubstr("chmod 600")) << std::oct << mode;
  }
  for (const mode_t mode : {0600U, 0400U, 0700U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    EXPECT_THAT(warningOf(path, Location::CurrentUser), IsEmpty()) << std::oct << mode;
  }
}

TEST(KeyRights, OfTheMachineAreItsGroupsToo) {
  const test::TempDir folder;
  const std::string path = folder.write("key", "x");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_THAT(warningOf(path, Location::LocalMachine), IsEmpty());
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  EXPECT_THAT(warningOf(path, Location::LocalMachine), HasSubstr("chmod 640"));
}

TEST(KeyRights, OfNoFileAreNotWarnedOf) {
  EXPECT_THAT(warningOf("/nonexistent/key", Location::CurrentUser), IsEmpty());
}

TEST(Locations, HaveTheirOwnPathsAndNames) {
  const test::ProviderFolder folder;
  EXPECT_EQ(keyPath(Location::CurrentUser, "k"), folder.path() + "/keys/k");
  EXPECT_EQ(keyPath(Location::LocalMachine, "k"), folder.path() + "/machine/keys/k");
  EXPECT_STREQ(locationName(Location::CurrentUser), "user");
  EXPECT_STREQ(locationName(Location::LocalMachine), "machine");
}

TEST(Locations, AreChosenByOneOption) {
  const auto parse = [](std::vector<std::string> arguments) {
    CLI::App app;
    Location location = Location::CurrentUser;
    addLocation(app, location);
    app.parse(std::move(arguments));
    return location;
  };
  EXPECT_EQ(parse({}), Location::CurrentUser);
  EXPECT_EQ(parse({"--user"}), Location::CurrentUser);
  EXPECT_EQ(parse({"--machine"}), Location::LocalMachine);
  EXPECT_THROW(parse({"--machine", "--user"}), CLI::ParseError);
}

TEST(Stores, HaveNamesThatAreNoPaths) {
  for (const char* name : {"", ".", "..", ".hidden", "a/b", "/etc", "a\\b", "a\nb"}) {
    expectRefusal([name] { static_cast<void>(storeName(Location::CurrentUser, name)); },
                  ExitCode::Usage,
                  HasSubstr("cannot be the name of a store"));
  }
  EXPECT_EQ(storeName(Location::CurrentUser, "My").name(), "My");
}

TEST(Stores, ThatAreNotThereAreNamedAndNotMade) {
  const test::ProviderFolder folder;
  expectRefusal([] { static_cast<void>(openStore(Location::CurrentUser, "None")); },
                ExitCode::Input,
                HasSubstr("the user has no store None"));
  struct stat status{};
  EXPECT_NE(stat((folder.path() + "/stores/None").c_str(), &status), 0);
}

TEST(CertificateTexts, ShowNamesTimesAndPrints) {
  const lab::Authority ca = authority();
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const X509Ptr certificate =
      ca.issue(key.get(), {.subject = {{"CN", "Жанна"}, {"O", "Bank, Ltd"}, {"C", "RU"}}});
  const auto facts = certificateFacts(*dataOf(certificate));
  EXPECT_EQ(facts["subject"], "CN=Жанна, O=\"Bank, Ltd\", C=RU");
  EXPECT_EQ(facts["issuer"], "CN=CA");
  EXPECT_EQ(facts["thumbprint"], lab::thumbprint(certificate.get()));
  EXPECT_EQ(facts["key"].get<std::string>() + ".pem", test::keyFileName(key.get()));
  EXPECT_LT(facts["notBefore"], facts["notAfter"]);
  EXPECT_THAT(facts["notAfter"].get<std::string>(), ::testing::MatchesRegex(".*T..:..:..Z"));
}

TEST(CertificateTexts, OfCrlsCountWhatIsRevoked) {
  const lab::Authority ca = authority();
  for (const std::size_t count : {0U, 1U, 3U}) {
    lab::CrlOptions options;
    for (std::size_t i = 0; i < count; ++i) {
      options.revoked.push_back({.serial = "0" + std::to_string(i + 1)});
    }
    const X509CrlPtr crl = ca.crl(options);
    const auto facts = crlFacts(**CrlData::parse(lab::toDer(crl.get())));
    EXPECT_EQ(facts["issuer"], "CN=CA");
    EXPECT_EQ(facts["revoked"], count);
    EXPECT_LT(facts["thisUpdate"], facts["nextUpdate"]);
  }
}

TEST(CertificateTexts, OfWhatIsNoNameAreEmpty) {
  std::vector<std::uint8_t> rubbish = {0x31, 0x00};
  EXPECT_EQ(nameText({.cbData = 2, .pbData = rubbish.data()}), "");
  std::vector<std::uint8_t> empty = {0x30, 0x00};
  EXPECT_EQ(nameText({.cbData = 2, .pbData = empty.data()}), "");
}

}  // namespace
}  // namespace qx::admin::texts_test
