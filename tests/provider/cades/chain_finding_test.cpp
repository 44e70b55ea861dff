#include "provider/cades/chain_finding.h"

#include <gtest/gtest.h>

#include "provider/chain/faults.h"

namespace qx::chain_finding_test {
namespace {

// The verdict on a chain whose certificates have these errors, and the chain as a whole.
Finding findingFor(const std::vector<DWORD>& errors, DWORD whole = 0) {
  ChainVerdict verdict{.elements = {}, .errors = whole, .info = 0, .window = TimeWindow(0)};
  for (const DWORD own : errors) {
    verdict.elements.push_back({.certificate = nullptr, .errors = own});
    verdict.errors |= own;
  }
  return findingOf(verdict);
}

void expect(const Finding& finding, DWORD status, DWORD error) {
  EXPECT_EQ(finding.status, status);
  EXPECT_EQ(finding.error, error);
}

TEST(ChainFinding, IsGoodForAGoodChain) {
  expect(findingFor({0, 0}), CADES_STATUS_GOOD, ERROR_SUCCESS);
  EXPECT_TRUE(findingFor({0}).isGood());
}

TEST(ChainFinding, TellsTheSignerFromTheOthers) {
  for (const auto& [bits, error] :
       {std::pair<DWORD, DWORD>{CERT_TRUST_IS_NOT_TIME_VALID, CERT_E_EXPIRED},
        {CERT_TRUST_IS_REVOKED, CRYPT_E_REVOKED},
        {CERT_TRUST_REVOCATION_STATUS_UNKNOWN, CRYPT_E_NO_REVOCATION_CHECK},
        {kRevocationUnknown, CRYPT_E_REVOCATION_OFFLINE}}) {
    expect(findingFor({bits, 0, 0}), CADES_STATUS_SIGNER_CERT, error);
    expect(findingFor({0, bits, 0}), CADES_STATUS_OTHER_CERT, error);
    expect(findingFor({0, 0, bits}), CADES_STATUS_OTHER_CERT, error);
  }
}

TEST(ChainFinding, BeginsWithTheSigner) {
  expect(findingFor({kRevocationUnknown, CERT_TRUST_IS_REVOKED}),
         CADES_STATUS_SIGNER_CERT,
         CRYPT_E_REVOCATION_OFFLINE);
}

TEST(ChainFinding, PutsABrokenChainFirst) {
  expect(findingFor({CERT_TRUST_IS_REVOKED, CERT_TRUST_IS_UNTRUSTED_ROOT}),
         CADES_STATUS_NO_CHAIN,
         CERT_E_UNTRUSTEDROOT);
  expect(findingFor({CERT_TRUST_IS_NOT_TIME_VALID}, CERT_TRUST_IS_PARTIAL_CHAIN),
         CADES_STATUS_NO_CHAIN,
         CERT_E_CHAINING);
  expect(findingFor({CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_IS_REVOKED}),
         CADES_STATUS_NO_CHAIN,
         TRUST_E_CERT_SIGNATURE);
  expect(findingFor({0, CERT_TRUST_INVALID_BASIC_CONSTRAINTS}),
         CADES_STATUS_NO_CHAIN,
         TRUST_E_BASIC_CONSTRAINTS);
}

}  // namespace
}  // namespace qx::chain_finding_test
