#include "provider/chain/proved_signatures.h"

#include <vector>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "provider/chain/verdict_cache.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::proved_signatures_test {
namespace {

using lab::Authority;
using lab::KeyKind;

constexpr DWORD kGood = CERT_TRUST_NO_ERROR;

class ProvedSignaturesTest : public ::testing::Test {
 protected:
  // Counts what is verified.
  bool prove(SignedKind kind, const CertificateData& object, bool isGood = true) {
    return proved.prove(kind, object.der(), *signer, [&] {
      ++verified;
      return isGood;
    });
  }

  ProvedSignatures proved{3};
  const Authority root = Authority::selfSigned(KeyKind::EcP256, named("Root"));
  const CertificatePtr signer = dataOf(root.certificate());
  const CertificatePtr end = dataOf(root.issue(sampleKey(), named("End")).get());
  int verified = 0;
};

TEST_F(ProvedSignaturesTest, VerifiesAGoodOneOnce) {
  EXPECT_TRUE(prove(SignedKind::Certificate, *end));
  EXPECT_TRUE(prove(SignedKind::Certificate, *end));
  EXPECT_EQ(verified, 1);
  EXPECT_TRUE(proved.isProved(SignedKind::Certificate, end->der(), *signer));
}

TEST_F(ProvedSignaturesTest, VerifiesABadOneEachTime) {
  EXPECT_FALSE(prove(SignedKind::Certificate, *end, /*isGood=*/false));
  EXPECT_FALSE(prove(SignedKind::Certificate, *end, /*isGood=*/false));
  EXPECT_EQ(verified, 2);
  EXPECT_EQ(proved.size(), 0U);
}

TEST_F(ProvedSignaturesTest, IsAboutTheseBytesAndThisSignerAndThisKind) {
  proved.note(SignedKind::Certificate, end->der(), *signer);
  EXPECT_FALSE(proved.isProved(SignedKind::Crl, end->der(), *signer));
  EXPECT_FALSE(proved.isProved(SignedKind::Certificate, end->der(), *end));
  EXPECT_FALSE(proved.isProved(SignedKind::Certificate, signer->der(), *signer));
  EXPECT_FALSE(proved.isProved(SignedKind::Certificate, signer->der(), *end));
  std::vector<std::uint8_t> changed(end->der().begin(), end->der().end());
  changed.back() ^= 1U;
  EXPECT_FALSE(proved.isProved(SignedKind::Certificate, changed, *signer));
}

TEST_F(ProvedSignaturesTest, RemembersNoMoreThanItMay) {
  for (int i = 0; i < 5; ++i) {
    const X509Ptr other = root.issue(sampleKey(), named("End " + std::to_string(i)));
    proved.note(SignedKind::Certificate, dataOf(other.get())->der(), *signer);
  }
  EXPECT_EQ(proved.size(), 3U);
}

// What is judged a second time, over signatures that are proved by then, is judged as the first time.
class ProvedChain : public ::testing::Test {
 protected:
  ProvedChain() {
    world.trust(root.certificate());
    world.addIntermediate(issuer.certificate());
    EXPECT_EQ(world.judge(end.get()).errors, kGood);
    proved = processProvedSignatures().size();
  }

  static constexpr KeyKind kKind = KeyKind::EcP256;

  const Authority root = Authority::selfSigned(kKind, named("Proved Root"));
  const Authority issuer = root.subordinate(kKind, named("Proved Issuer"));
  const X509Ptr end = issuer.issue(sampleKey(), named("End"));
  ChainWorld world;
  std::size_t proved = 0;
};

TEST_F(ProvedChain, RemembersEachOfItsSignatures) {
  ProvedSignatures& process = processProvedSignatures();
  const CertificatePtr issuerData = dataOf(issuer.certificate());
  const CertificatePtr rootData = dataOf(root.certificate());
  EXPECT_TRUE(process.isProved(SignedKind::Certificate, dataOf(end.get())->der(), *issuerData));
  EXPECT_TRUE(process.isProved(SignedKind::Certificate, issuerData->der(), *rootData));
  EXPECT_TRUE(process.isProved(SignedKind::Certificate, rootData->der(), *rootData));
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
  EXPECT_EQ(process.size(), proved) << "nothing new";
}

TEST_F(ProvedChain, IsJudgedByItsDatesAgain) {
  world.time = world.now + (100LL * 365 * 86400);
  EXPECT_NE(world.judge(end.get()).errors & CERT_TRUST_IS_NOT_TIME_VALID, 0U);
}

TEST_F(ProvedChain, IsJudgedByTrustAgain) {
  ChainWorld elsewhere;
  elsewhere.addMaterial(root.certificate());
  elsewhere.addMaterial(issuer.certificate());
  EXPECT_EQ(elsewhere.judge(end.get()).errors, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(ProvedChain, IsJudgedByUsageAgain) {
  const X509Ptr limited = issuer.issue(
      sampleKey(),
      {.subject = {{.type = "CN", .value = "Limited"}}, .extendedKeyUsage = "timeStamping"});
  EXPECT_EQ(world.judge(limited.get()).errors, kGood);
  world.usage.oids = {"1.3.6.1.5.5.7.3.4"};
  EXPECT_EQ(world.judge(limited.get()).errors, CERT_TRUST_IS_NOT_VALID_FOR_USAGE);
}

TEST_F(ProvedChain, DoesNotVouchForAChangedCertificate) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(world.judge(withBrokenSignature(end.get()).get()).errors,
              CERT_TRUST_IS_NOT_SIGNATURE_VALID);
  }
  EXPECT_EQ(processProvedSignatures().size(), proved) << "a bad one is not remembered";
}

TEST_F(ProvedChain, DoesNotVouchForAnotherIssuerOfTheName) {
  const Authority impostor = root.subordinate(kKind, named("Proved Issuer"));
  ChainWorld other;
  other.trust(root.certificate());
  other.addIntermediate(impostor.certificate());
  EXPECT_EQ(other.judge(end.get()).errors, CERT_TRUST_IS_PARTIAL_CHAIN) << "it has another key";
}

TEST_F(ProvedChain, DoesNotVouchForAChangedRoot) {
  ChainWorld other;
  other.trust(withBrokenSignature(root.certificate()).get());
  other.addIntermediate(issuer.certificate());
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(other.judge(end.get()).errors, CERT_TRUST_IS_NOT_SIGNATURE_VALID);
  }
  EXPECT_EQ(processProvedSignatures().size(), proved) << "a bad one is not remembered";
}

TEST_F(ProvedChain, HasItsRootVerifiedOnceForAllThatItCertifies) {
  const X509Ptr broken = withBrokenSignature(root.certificate());
  ChainWorld other;
  other.trust(broken.get());
  other.addIntermediate(issuer.certificate());
  const X509Ptr next = issuer.issue(sampleKey(), named("Next End"));
  EXPECT_EQ(other.judge(next.get()).errors, CERT_TRUST_IS_NOT_SIGNATURE_VALID);
  const CertificatePtr data = dataOf(broken.get());
  processProvedSignatures().note(SignedKind::Certificate, data->der(), *data);
  EXPECT_EQ(other.judge(next.get()).errors, kGood) << "what is said to be proved is believed";
  const X509Ptr brokenEnd = withBrokenSignature(next.get());
  EXPECT_EQ(other.judge(brokenEnd.get()).errors, CERT_TRUST_IS_NOT_SIGNATURE_VALID)
      << "but about the root only";
}

TEST_F(ProvedChain, IsJudgedByItsRevocationAgain) {
  world.revocation = RevocationScope::EndCertificate;
  world.addCrl(issuer.crl().get());
  EXPECT_EQ(world.judge(end.get()).errors, kGood);
  EXPECT_EQ(world.judge(end.get()).errors, kGood) << "the list is proved, too";
  world.dropCrls();
  world.addCrl(withBrokenSignature(issuer.crl().get()).get());
  EXPECT_EQ(world.judge(end.get()).errors, kRevocationUnknown);
  EXPECT_EQ(world.judge(end.get()).errors, kRevocationUnknown);
}

}  // namespace
}  // namespace qx::test::proved_signatures_test
