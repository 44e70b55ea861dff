#include "provider/cades/judged_chain.h"

#include "provider/chain/trust_error.h"

namespace qx {

Result<JudgedChain> judgedChain(const ChainVerdict& verdict) {
  if (const Result<void> trusted = trustError(verdict.errors); !trusted) {
    return trusted.failure();
  }
  JudgedChain chain;
  for (const ChainElement& element : verdict.elements) {
    chain.certificates.push_back(element.certificate);
    chain.evidence.push_back(element.evidence);
  }
  // The last one is the trust anchor.
  for (std::size_t i = 0; i + 1 < chain.evidence.size(); ++i) {
    if (chain.evidence[i].crl == nullptr && chain.evidence[i].ocsp == nullptr) {
      return fail(CRYPT_E_NO_REVOCATION_CHECK);
    }
  }
  return chain;
}

Result<JudgedChain> judgeChain(const ChainQuestion& question) {
  const Result<VerdictPtr> verdict = evaluateNow(question);
  return verdict ? judgedChain(**verdict) : verdict.failure();
}

}  // namespace qx
