#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/chain_world.h"

namespace qx::test::usage_test {
namespace {

using lab::Authority;
using lab::KeyKind;
using ::testing::ElementsAre;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;
constexpr DWORD kUnfit = CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
constexpr const char* kServer = "1.3.6.1.5.5.7.3.1";
constexpr const char* kClient = "1.3.6.1.5.5.7.3.2";
constexpr const char* kMail = "1.3.6.1.5.5.7.3.4";

class Usage : public ::testing::Test {
 protected:
  /// The elements' faults for what an authority and an end certificate allow and what is requested.
  std::vector<DWORD> judge(const std::string& authorityAllows,
                           const std::string& endAllows,
                           RequestedUsage requested) {
    lab::CertificateOptions middleOptions = named("Middle");
    middleOptions.extendedKeyUsage = authorityAllows;
    lab::CertificateOptions endOptions = named("End");
    endOptions.extendedKeyUsage = endAllows;
    const Authority root = Authority::selfSigned(KeyKind::EcP256, named("Root"));
    const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
    const X509Ptr end = middle.issue(sampleKey(), endOptions);
    ChainWorld world;
    world.trust(root.certificate());
    world.addIntermediate(middle.certificate());
    world.usage = std::move(requested);
    return errorsOf(world.judge(end.get()));
  }

  static RequestedUsage all(std::vector<std::string> oids) {
    return {.any = false, .oids = std::move(oids)};
  }

  static RequestedUsage any(std::vector<std::string> oids) {
    return {.any = true, .oids = std::move(oids)};
  }
};

TEST_F(Usage, IsNotCheckedWhenNoneIsRequested) {
  EXPECT_THAT(judge("", "clientAuth", all({})), ElementsAre(kGood, kGood, kGood));
  EXPECT_THAT(judge("", "clientAuth", any({})), ElementsAre(kGood, kGood, kGood));
}

TEST_F(Usage, IsAllowedWhereNothingIsSaid) {
  EXPECT_THAT(judge("", "", all({kServer, kClient})), ElementsAre(kGood, kGood, kGood));
}

TEST_F(Usage, IsAllowedByTheOneThatStandsForAll) {
  EXPECT_THAT(judge("", "anyExtendedKeyUsage", all({kServer})), ElementsAre(kGood, kGood, kGood));
}

TEST_F(Usage, MustBeListed) {
  EXPECT_THAT(judge("", "clientAuth", all({kClient})), ElementsAre(kGood, kGood, kGood));
  EXPECT_THAT(judge("", "clientAuth", all({kServer})), ElementsAre(kUnfit, kGood, kGood));
}

TEST_F(Usage, MustBeListedWhole) {
  EXPECT_THAT(judge("", "clientAuth", all({kServer, kClient})), ElementsAre(kUnfit, kGood, kGood));
  EXPECT_THAT(judge("", "clientAuth,serverAuth", all({kServer, kClient})),
              ElementsAre(kGood, kGood, kGood));
}

TEST_F(Usage, MayBeAnyOneOfThoseRequested) {
  EXPECT_THAT(judge("", "clientAuth", any({kServer, kClient})), ElementsAre(kGood, kGood, kGood));
  EXPECT_THAT(judge("", "emailProtection", any({kServer, kClient})),
              ElementsAre(kUnfit, kGood, kGood));
}

TEST_F(Usage, IsLimitedByTheAuthority) {
  EXPECT_THAT(judge("clientAuth", "", all({kServer})), ElementsAre(kGood, kUnfit, kGood));
  EXPECT_THAT(judge("clientAuth", "serverAuth", all({kServer})), ElementsAre(kGood, kUnfit, kGood));
}

TEST_F(Usage, MustBeTheSameOneAlongTheChain) {
  EXPECT_THAT(judge("clientAuth,emailProtection", "serverAuth", any({kServer, kClient})),
              ElementsAre(kUnfit, kGood, kGood));
  EXPECT_THAT(judge("clientAuth", "clientAuth,serverAuth", any({kServer, kClient})),
              ElementsAre(kGood, kGood, kGood));
}

TEST_F(Usage, MayBeOneWithoutAName) {
  EXPECT_THAT(judge("", "1.2.3.4.5.6", all({"1.2.3.4.5.6"})), ElementsAre(kGood, kGood, kGood));
  EXPECT_THAT(judge("", "1.2.3.4.5.7", all({"1.2.3.4.5.6"})), ElementsAre(kUnfit, kGood, kGood));
}

TEST_F(Usage, MustBeListedEvenIfTheListIsCritical) {
  EXPECT_THAT(judge("", "critical,timeStamping", all({kMail})), ElementsAre(kUnfit, kGood, kGood));
}

}  // namespace
}  // namespace qx::test::usage_test
