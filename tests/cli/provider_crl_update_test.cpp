#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/lab_fixture.h"
#include "tools/lab/pki.h"
#include "tools/lab/services.h"

namespace qx::test::provider_crl_update_test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

lab::Name named(const std::string& name) {
  return {{.type = "CN", .value = name}};
}

// A root, an authority below it and somebody's certificate, in their stores; the two lower ones name
// their lists, which are served.
class ProviderCrlUpdate : public CliTest {
 protected:
  ProviderCrlUpdate() {
    add("Root", root_.certificate());
    add("CA", issuing_.certificate());
    add("My", end_.get());
    offer("/root.crl", root_, {});
    offer("/ca.crl", issuing_, {});
  }

  void add(const std::string& store, const X509* certificate, const char* where = "--user") const {
    provider({"cert", "add", where, "--store", store, write("c.pem", lab::toPem(certificate))});
  }

  void offer(const std::string& path,
             const lab::Authority& authority,
             const lab::CrlOptions& options) {
    services_.offerFile(path, lab::toDer(authority.crl(options).get()), "application/pkix-crl");
  }

  CommandResult update(const char* where = "--user") const {
    return provider({"crl", "update", where});
  }

  nlohmann::json crls(const std::string& store, const char* where = "--user") const {
    return providerJson({"store", "show", store, where})["crls"];
  }

  lab::Services services_;
  lab::Authority root_ =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = named("Root")});
  lab::Authority issuing_ =
      root_.subordinate(lab::KeyKind::Gost2012_256,
                        {.subject = named("Issuing"), .crlUrl = services_.url("/root.crl")});
  EvpPkeyPtr key_ = lab::generateKey(lab::KeyKind::EcP256);
  X509Ptr end_ =
      issuing_.issue(key_.get(), {.subject = named("End"), .crlUrl = services_.url("/ca.crl")});
};

TEST_F(ProviderCrlUpdate, PutsEachListIntoTheStoreOfItsAuthority) {
  const CommandResult result = update();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("updated: " + services_.url("/root.crl") + ": CRL of "),
                    HasSubstr("updated: " + services_.url("/ca.crl") + ": CRL of ")));
  ASSERT_THAT(crls("Root"), SizeIs(1));
  EXPECT_EQ(crls("Root")[0]["issuer"], "CN=Root");
  ASSERT_THAT(crls("CA"), SizeIs(1));
  EXPECT_EQ(crls("CA")[0]["issuer"], "CN=Issuing");
}

TEST_F(ProviderCrlUpdate, LeavesAListThatIsThere) {
  update();
  const CommandResult result = update();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("unchanged: " + services_.url("/ca.crl")));
  EXPECT_THAT(crls("CA"), SizeIs(1));
}

TEST_F(ProviderCrlUpdate, ReplacesAnOlderList) {
  update();
  offer("/ca.crl", issuing_, {.revoked = {{.serial = "05"}}, .thisUpdate = -lab::kDay / 2});
  EXPECT_THAT(update().out, HasSubstr("updated: " + services_.url("/ca.crl")));
  ASSERT_THAT(crls("CA"), SizeIs(1));
  EXPECT_EQ(crls("CA")[0]["revoked"], 1);
}

TEST_F(ProviderCrlUpdate, KeepsANewerList) {
  offer("/ca.crl", issuing_, {.revoked = {{.serial = "05"}}, .thisUpdate = -lab::kDay / 2});
  update();
  offer("/ca.crl", issuing_, {.revoked = {}});
  EXPECT_THAT(update().out, HasSubstr("unchanged: " + services_.url("/ca.crl")));
  EXPECT_EQ(crls("CA")[0]["revoked"], 1);
}

TEST_F(ProviderCrlUpdate, GoesOnWhenOneCannotBeFetched) {
  services_.setConduct("/ca.crl", {.status = 404});
  const CommandResult result = update();
  EXPECT_EQ(result.exitCode, 6) << result.err;
  EXPECT_THAT(result.out, HasSubstr("failed: " + services_.url("/ca.crl") + ": "));
  EXPECT_THAT(crls("CA"), IsEmpty());
  EXPECT_THAT(crls("Root"), SizeIs(1));
}

TEST_F(ProviderCrlUpdate, RefusesAListThatSomebodyElseSigned) {
  const lab::Authority stranger =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = named("Issuing")});
  offer("/ca.crl", stranger, {});
  const CommandResult result = update();
  EXPECT_EQ(result.exitCode, 6);
  EXPECT_THAT(result.out, HasSubstr("it is not signed by its authority"));
  EXPECT_THAT(crls("CA"), IsEmpty());
}

TEST_F(ProviderCrlUpdate, RefusesWhatIsNoList) {
  const std::string texts[] = {"", "nonsense", std::string("\x30\x03\x02\x01", 4)};
  for (const std::string& text : texts) {
    services_.offerFile("/ca.crl", {text.begin(), text.end()}, "application/pkix-crl");
    EXPECT_EQ(update().exitCode, 6) << text;
    EXPECT_THAT(crls("CA"), IsEmpty());
  }
}

TEST_F(ProviderCrlUpdate, RefusesAListWhoseBytesWereChanged) {
  lab::Bytes der = lab::toDer(issuing_.crl().get());
  der.back() ^= 1U;
  services_.offerFile("/ca.crl", der, "application/pkix-crl");
  EXPECT_EQ(update().exitCode, 6);
  EXPECT_THAT(crls("CA"), IsEmpty());
}

TEST_F(ProviderCrlUpdate, TakesPem) {
  const std::string pem = lab::toPem(issuing_.crl().get());
  services_.offerFile("/ca.crl", {pem.begin(), pem.end()}, "text/plain");
  EXPECT_EQ(update().exitCode, 0);
  EXPECT_THAT(crls("CA"), SizeIs(1));
}

TEST_F(ProviderCrlUpdate, AsksForEachListOnce) {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  add("Partners",
      issuing_.issue(key.get(), {.subject = named("Other"), .crlUrl = services_.url("/ca.crl")})
          .get());
  add("Partners", end_.get());
  EXPECT_EQ(update().exitCode, 0);
  EXPECT_EQ(services_.count("/ca.crl"), 1U);
}

TEST_F(ProviderCrlUpdate, AsksNobodyForACertificateOfAnUnknownAuthority) {
  const lab::Authority stranger =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, {.subject = named("Issuing")});
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  add("Partners",
      stranger.issue(key.get(), {.subject = named("Trap"), .crlUrl = services_.url("/trap")})
          .get());
  const CommandResult result = update();
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("skipped: CN=Trap: "));
  EXPECT_EQ(services_.count("/trap"), 0U);
}

TEST_F(ProviderCrlUpdate, JsonTellsTheStateOfEach) {
  services_.setConduct("/root.crl", {.status = 500});
  const nlohmann::json json = providerJson({"crl", "update"});
  ASSERT_THAT(json["crls"], SizeIs(2));
  for (const auto& entry : json["crls"]) {
    const bool isRoot = entry["store"] == "Root";
    EXPECT_EQ(entry["state"], isRoot ? "failed" : "updated");
    EXPECT_EQ(entry["address"], services_.url(isRoot ? "/root.crl" : "/ca.crl"));
    EXPECT_EQ(entry.contains("reason"), isRoot);
    EXPECT_EQ(entry.contains("thisUpdate"), !isRoot);
  }
}

TEST_F(ProviderCrlUpdate, WithNothingToFetchIsGood) {
  setEnvironment("QXPROVIDER_USER_DIR", file("nobody"));
  EXPECT_EQ(update().exitCode, 0);
  EXPECT_EQ(providerJson({"crl", "update"})["crls"], nlohmann::json::array());
}

TEST_F(ProviderCrlUpdate, ServesTheMachineApart) {
  add("Root", root_.certificate(), "--machine");
  add("CA", issuing_.certificate(), "--machine");
  EXPECT_EQ(update("--machine").exitCode, 0);
  EXPECT_THAT(crls("Root", "--machine"), SizeIs(1));
  EXPECT_EQ(services_.count("/ca.crl"), 0U);
}

}  // namespace
}  // namespace qx::test::provider_crl_update_test
