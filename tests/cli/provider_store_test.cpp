#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"

namespace qx::test::provider_store_test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class ProviderStore : public LabTest {};

class ProviderNoStore : public CliTest {};

TEST_F(ProviderNoStore, ListsNothingAndMakesNothing) {
  const CommandResult result = provider({"store", "list"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderNoStore, CannotShowOne) {
  const CommandResult result = provider({"store", "show", "My"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "qxprovider: the user has no store My; store list shows all\n");
  EXPECT_FALSE(exists("user"));
}

TEST_F(ProviderNoStore, CannotShowTheMachinesOne) {
  const CommandResult result = provider({"store", "show", "My", "--machine"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("the machine has no store My"));
}

TEST_F(ProviderNoStore, HasNoImpossibleName) {
  for (const char* name : {"a/b", "..", ".hidden", "a\\b", ""}) {
    const CommandResult result = provider({"store", "show", name});
    EXPECT_EQ(result.exitCode, 1) << name;
    EXPECT_THAT(result.err, HasSubstr("cannot be the name of a store")) << name;
  }
}

TEST_F(ProviderStore, ListTellsWhatIsInEach) {
  const CommandResult result = provider({"store", "list"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out,
            "Addressbook: 14 certificates, 0 CRLs\n"
            "CA: 3 certificates, 3 CRLs\n"
            "My: 14 certificates, 0 CRLs\n"
            "Root: 3 certificates, 3 CRLs\n");
}

TEST_F(ProviderStore, ListTellsTheSameInJson) {
  const nlohmann::json json = providerJson({"store", "list"});
  EXPECT_EQ(json["location"], "user");
  EXPECT_EQ(json["stores"].size(), 4U);
  EXPECT_EQ(json["stores"][1]["name"], "CA");
  EXPECT_EQ(json["stores"][1]["certificates"], 3);
  EXPECT_EQ(json["stores"][1]["crls"], 3);
}

TEST_F(ProviderStore, ListOfTheMachineIsAnother) {
  EXPECT_EQ(provider({"store", "list", "--machine"}).out, "");
  EXPECT_EQ(providerJson({"store", "list", "--machine"})["location"], "machine");
}

TEST_F(ProviderStore, IsOfTheUserOrOfTheMachine) {
  EXPECT_EQ(provider({"store", "list", "--machine", "--user"}).exitCode, 1);
}

TEST_F(ProviderStore, ShowListsCertificatesAndCrls) {
  const CommandResult result = provider({"store", "show", "CA"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("CN=Lab GOST CA\n"));
  EXPECT_THAT(result.out, HasSubstr("CRL of "));
}

TEST_F(ProviderStore, ShowAgreesWithTheOpensslCommand) {
  const nlohmann::json json = providerJson({"store", "show", "My"});
  ASSERT_EQ(json["certificates"].size(), 14U);
  for (const auto& entry : json["certificates"]) {
    const std::string path = userFolder() + "/stores/My/" + entry["file"].get<std::string>();
    const CommandResult shown = run({"openssl",
                                     "x509",
                                     "-in",
                                     path,
                                     "-noout",
                                     "-fingerprint",
                                     "-subject",
                                     "-enddate",
                                     "-dateopt",
                                     "iso_8601",
                                     "-nameopt",
                                     "sep_comma_plus_space,utf8"});
    std::string print = shown.out.substr(0, shown.out.find('\n'));
    std::erase(print, ':');
    std::ranges::transform(print, print.begin(), [](unsigned char c) { return std::tolower(c); });
    EXPECT_THAT(print, HasSubstr(entry["thumbprint"].get<std::string>()));
    EXPECT_THAT(shown.out, HasSubstr("subject=" + entry["subject"].get<std::string>()));
    std::string until = entry["notAfter"];
    until[10] = ' ';
    EXPECT_THAT(shown.out, HasSubstr("notAfter=" + until));
  }
}

TEST_F(ProviderStore, ShowTellsTheCrlsNumbers) {
  const nlohmann::json json = providerJson({"store", "show", "CA"});
  int revoked = 0;
  for (const auto& entry : json["crls"]) {
    EXPECT_THAT(entry["issuer"].get<std::string>(), HasSubstr("CA"));
    EXPECT_THAT(entry["nextUpdate"].get<std::string>(), StartsWith("20"));
    revoked += entry["revoked"].get<int>();
  }
  EXPECT_EQ(revoked, 1);
}

TEST_F(ProviderStore, LeavesOutWhatCannotBeRead) {
  write("user/stores/My/broken.crt", "no certificate");
  write("user/stores/My/.hidden.crt", "no certificate");
  const CommandResult result = provider({"store", "show", "My"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(std::ranges::count(result.out, '\n'), 14);
}

TEST_F(ProviderStore, SkipsWhatIsNoStoreAndSaysSo) {
  write("user/stores/File", "no folder");
  write("user/stores/.hidden/a.crt", "no certificate");
  const CommandResult result = provider({"store", "list"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.err, HasSubstr("File: is not readable as a store"));
  EXPECT_EQ(std::ranges::count(result.out, '\n'), 4);
  EXPECT_THAT(result.out, Not(HasSubstr("hidden")));
}

TEST_F(ProviderNoStore, NamesAFolderOfStoresThatIsNone) {
  write("user/stores", "no folder");
  const CommandResult result = provider({"store", "list"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("/user/stores: "));
  EXPECT_EQ(result.out, "");
}

TEST_F(ProviderStore, DoesNotMakeAStoreByReadingIt) {
  EXPECT_EQ(provider({"cert", "list", "--store", "Other"}).exitCode, 2);
  EXPECT_FALSE(fs::exists(userFolder() + "/stores/Other"));
}

}  // namespace
}  // namespace qx::test::provider_store_test
