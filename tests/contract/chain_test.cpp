#include "platform/cert_chain.h"

#include "tests/contract/contract.h"

// Chains: TRUE says that one was built, its status what it is worth.

namespace qx::test::chain_test {
namespace {

BOOL build(const Certificate& certificate, Chain& chain, CERT_CHAIN_PARA* para) {
  return CertGetCertificateChain(
      nullptr, certificate.get(), nullptr, nullptr, para, 0, nullptr, chain.put());
}

CERT_CHAIN_PARA noUsage() {
  CERT_CHAIN_PARA para{};
  para.cbSize = sizeof para;
  return para;
}

TEST(ContractChain, LeadsFromTheCertificateToItsRoot) {
  const Certificate signer = contextOf(subject().signer);
  Chain chain;
  CERT_CHAIN_PARA para = noUsage();
  ASSERT_TRUE(build(signer, chain, &para));
  EXPECT_EQ(chain.get()->cbSize, sizeof(CERT_CHAIN_CONTEXT));
  ASSERT_EQ(chain.get()->cChain, 1U);
  EXPECT_EQ(chain.get()->cLowerQualityChainContext, 0U);
  const CERT_SIMPLE_CHAIN& simple = *chain.get()->rgpChain[0];
  EXPECT_EQ(simple.cbSize, sizeof simple);
  ASSERT_EQ(simple.cElement, 2U);
  EXPECT_EQ(simple.rgpElement[0]->pCertContext, signer.get()) << "the very pointer";
  EXPECT_EQ(bytesOf(simple.rgpElement[1]->pCertContext), subject().root);
  EXPECT_EQ(simple.rgpElement[0]->pRevocationInfo, nullptr);
  EXPECT_EQ(chain.get()->TrustStatus.dwErrorStatus, DWORD{CERT_TRUST_NO_ERROR});
  EXPECT_NE(simple.rgpElement[1]->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0U);
}

TEST(ContractChain, IsBuiltAtAnyTimeAndSaysWhenItDoesNotHold) {
  const Certificate signer = contextOf(subject().signer);
  FILETIME early{};
  Chain chain;
  CERT_CHAIN_PARA para = noUsage();
  ASSERT_TRUE(CertGetCertificateChain(
      nullptr, signer.get(), &early, nullptr, &para, 0, nullptr, chain.put()));
  EXPECT_NE(chain.get()->TrustStatus.dwErrorStatus & CERT_TRUST_IS_NOT_TIME_VALID, 0U);
}

TEST(ContractChain, SaysThatAUsageIsNotMet) {
  const Certificate root = contextOf(subject().root);
  Chain chain;
  CERT_CHAIN_PARA para = noUsage();
  para.cbSize = 0;
  EXPECT_TRUE(build(root, chain, &para)) << "any size";
}

TEST(ContractChain, NeedsACertificateAndParameters) {
  const Certificate signer = contextOf(subject().signer);
  Chain chain;
  CERT_CHAIN_PARA para = noUsage();
  EXPECT_REFUSED(build(Certificate(), chain, &para), E_INVALIDARG);
  EXPECT_REFUSED(build(signer, chain, nullptr), E_INVALIDARG);
}

TEST(ContractChain, HoldsItsCertificates) {
  Certificate signer = contextOf(subject().signer);
  Chain chain;
  CERT_CHAIN_PARA para = noUsage();
  ASSERT_TRUE(build(signer, chain, &para));
  signer.close();
  EXPECT_EQ(bytesOf(chain.get()->rgpChain[0]->rgpElement[0]->pCertContext), subject().signer);
  SetLastError(kMark);
  chain.close();
  EXPECT_EQ(GetLastError(), kMark);
}

}  // namespace
}  // namespace qx::test::chain_test
