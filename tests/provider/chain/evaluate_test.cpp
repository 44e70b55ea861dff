#include "provider/chain/evaluate.h"

#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "provider/store/folder_store.h"
#include "tests/provider/chain/chain_world.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/ocsp.h"

namespace qx::test::evaluate_test {
namespace {

using lab::Authority;
using lab::KeyKind;

class Evaluate : public ::testing::Test {
 protected:
  Evaluate()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, named("Middle"))),
        end(dataOf(middle.issue(sampleKey(), named("End")).get())),
        given({dataOf(middle.certificate())}) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
  }

  ChainQuestion question() const { return {.certificate = end, .certificates = given}; }

  static VerdictPtr unwrapped(const Result<VerdictPtr>& verdict) {
    if (!verdict) {
      throw std::runtime_error("no verdict");
    }
    return *verdict;
  }

  const ProviderFolder folder;
  const Authority root;
  const Authority middle;
  const CertificatePtr end;
  const std::vector<CertificatePtr> given;
};

TEST_F(Evaluate, TrustsTheStoresAndBuildsFromWhatIsGiven) {
  folder.addCrl("CA", root.crl().get(), "root.crl");
  const std::vector<CrlPtr> crls = {dataOf(middle.crl().get())};
  ChainQuestion asked = question();
  asked.crls = crls;
  const VerdictPtr verdict = unwrapped(evaluateNow(asked));
  EXPECT_EQ(verdict->errors, 0U);
  ASSERT_EQ(verdict->elements.size(), 3U);
  EXPECT_EQ(verdict->elements[0].evidence.crl, crls[0]);
  EXPECT_NE(verdict->elements[1].evidence.crl, nullptr) << "from the store";
  EXPECT_EQ(verdict->elements[2].evidence.crl, nullptr);
  EXPECT_FALSE(verdict->elements[2].revocationChecked) << "the root";
}

TEST_F(Evaluate, LooksUpWhatItWasAsked) {
  ChainQuestion asked = question();
  EXPECT_EQ(unwrapped(evaluateNow(asked))->errors, kRevocationUnknown);
  asked.revocation = RevocationScope::None;
  EXPECT_EQ(unwrapped(evaluateNow(asked))->errors, 0U);
  asked.usage.oids = {"1.3.6.1.5.5.7.3.8"};
  EXPECT_EQ(unwrapped(evaluateNow(asked))->errors, 0U) << "no usage is excluded";
}

TEST_F(Evaluate, GivesTheVerdictAgainThatItMadeAMomentAgo) {
  const ChainQuestion asked = question();
  EXPECT_EQ(unwrapped(evaluateNow(asked)), unwrapped(evaluateNow(asked)));
}

TEST_F(Evaluate, LooksBackByWhatIsGivenAlone) {
  folder.addCrl("CA", root.crl().get(), "root.crl");
  folder.addCrl("CA", middle.crl().get(), "middle.crl");
  const std::time_t then = std::time(nullptr) - 3600;
  ChainQuestion asked = question();
  EXPECT_EQ(unwrapped(evaluateAsOf(asked, then))->errors, kRevocationUnknown);
  const std::vector<CrlPtr> crls = {
      dataOf(root.crl().get()),
      dataOf(middle.crl({.revoked = {{.serial = lab::serialOf(end->x509())}}}).get())};
  asked.crls = crls;
  EXPECT_EQ(unwrapped(evaluateAsOf(asked, then))->errors, 0U) << "revoked later";
  EXPECT_EQ(unwrapped(evaluateNow(asked))->errors, CERT_TRUST_IS_REVOKED);
}

TEST_F(Evaluate, TakesGivenAnswers) {
  const lab::OcspResponder upper = lab::OcspResponder::of(root);
  const lab::OcspResponder lower = lab::OcspResponder::issuedBy(middle, KeyKind::EcP256);
  const std::vector<OcspPtr> answers = {
      answerOf(
          upper.basic({{.certId = lab::ocspCertId(middle.certificate(), root.certificate())}})),
      answerOf(lower.basic({{.certId = lab::ocspCertId(end->x509(), middle.certificate())}}))};
  ChainQuestion asked = question();
  asked.ocsp = answers;
  const VerdictPtr verdict = unwrapped(evaluateNow(asked));
  EXPECT_EQ(verdict->errors, 0U);
  EXPECT_EQ(verdict->elements[0].evidence.ocsp, answers[1]);
  EXPECT_EQ(verdict->elements[1].evidence.ocsp, answers[0]);
  EXPECT_EQ(unwrapped(evaluateAsOf(asked, std::time(nullptr) - 60))->errors, 0U);
}

TEST_F(Evaluate, JudgesTheDatesAtThePastTime) {
  const std::time_t longAgo = std::time(nullptr) - std::chrono::seconds(2 * lab::kDay).count();
  EXPECT_NE(unwrapped(evaluateAsOf(question(), longAgo))->errors & CERT_TRUST_IS_NOT_TIME_VALID,
            0U);
}

TEST_F(Evaluate, TrustsNothingThatIsGiven) {
  const Authority stranger = Authority::selfSigned(KeyKind::EcP256, named("Stranger"));
  const std::vector<CertificatePtr> strangers = {dataOf(stranger.certificate())};
  const ChainQuestion asked{.certificate = dataOf(stranger.issue(sampleKey(), named("X")).get()),
                            .certificates = strangers,
                            .revocation = RevocationScope::None};
  EXPECT_EQ(unwrapped(evaluateNow(asked))->errors, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

}  // namespace
}  // namespace qx::test::evaluate_test
