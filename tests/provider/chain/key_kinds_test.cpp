// Chains of every kind of key, also mixed; the openssl command with the GOST engine has to agree.
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::key_kinds_test {
namespace {

using lab::Authority;
using lab::KeyKind;
using ::testing::ElementsAre;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;

/// The root's kind, and the kind of all below it.
class KeyKinds : public ::testing::TestWithParam<std::tuple<KeyKind, KeyKind>> {
 protected:
  KeyKinds()
      : root(Authority::selfSigned(std::get<0>(GetParam()), named("Root"))),
        middle(root.subordinate(std::get<1>(GetParam()), named("Middle"))),
        end(middle.issue(sampleKey(std::get<1>(GetParam())), named("End"))) {
    world.trust(root.certificate());
    world.addIntermediate(middle.certificate());
    world.addCrl(root.crl().get());
    world.revocation = RevocationScope::Chain;
  }

  const Authority root;
  const Authority middle;
  const X509Ptr end;
  ChainWorld world;
};

TEST_P(KeyKinds, MakeAGoodChain) {
  world.addCrl(middle.crl().get());
  EXPECT_EQ(world.judgeTwice(end.get()).errors, kGood);
}

TEST_P(KeyKinds, ShowABrokenSignature) {
  world.addCrl(middle.crl().get());
  const X509Ptr broken = withBrokenSignature(end.get());
  EXPECT_THAT(errorsOf(world.judgeTwice(broken.get())),
              ElementsAre(CERT_TRUST_IS_NOT_SIGNATURE_VALID, kGood, kGood));
}

TEST_P(KeyKinds, ShowARevokedCertificate) {
  world.addCrl(middle.crl({.revoked = {{.serial = lab::serialOf(end.get())}}}).get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())),
              ElementsAre(CERT_TRUST_IS_REVOKED, kGood, kGood));
}

TEST_P(KeyKinds, ShowACrlWithABrokenSignature) {
  world.addCrl(withBrokenSignature(middle.crl().get()).get());
  EXPECT_THAT(errorsOf(world.judgeTwice(end.get())), ElementsAre(kRevocationUnknown, kGood, kGood));
}

std::string nameOf(const ::testing::TestParamInfo<KeyKinds::ParamType>& info) {
  std::string name = lab::kindName(std::get<0>(info.param));
  name += std::string("_over_") + lab::kindName(std::get<1>(info.param));
  std::ranges::replace(name, '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All,
                         KeyKinds,
                         ::testing::Values(std::tuple(KeyKind::Gost2001, KeyKind::Gost2001),
                                           std::tuple(KeyKind::Gost2012_256, KeyKind::Gost2012_256),
                                           std::tuple(KeyKind::Gost2012_512, KeyKind::Gost2012_512),
                                           std::tuple(KeyKind::Rsa2048, KeyKind::Rsa2048),
                                           std::tuple(KeyKind::EcP256, KeyKind::EcP256),
                                           std::tuple(KeyKind::EcP384, KeyKind::EcP384),
                                           std::tuple(KeyKind::Gost2012_512, KeyKind::EcP256),
                                           std::tuple(KeyKind::Rsa2048, KeyKind::Gost2012_256),
                                           std::tuple(KeyKind::Gost2012_512, KeyKind::Gost2001)),
                         nameOf);

}  // namespace
}  // namespace qx::test::key_kinds_test
