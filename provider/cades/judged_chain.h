#ifndef QX_PROVIDER_CADES_JUDGED_CHAIN_H_
#define QX_PROVIDER_CADES_JUDGED_CHAIN_H_

#include <vector>

#include "provider/chain/evaluate.h"
#include "provider/result.h"

namespace qx {

/// JudgedChain is a chain that is good now, from the certificate to the root, and for each certificate
/// what says that it is not revoked: nothing for the root, whom nobody can revoke.
struct JudgedChain {
  std::vector<CertificatePtr> certificates;
  std::vector<RevocationEvidence> evidence;
};

/// judgedChain is the chain of a verdict. Errors: those of trustError for a chain with any fault;
/// CRYPT_E_NO_REVOCATION_CHECK when there is no evidence for a certificate.
Result<JudgedChain> judgedChain(const ChainVerdict& verdict);

/// judgeChain builds the chain of a certificate. Errors: those of evaluateNow and of judgedChain.
Result<JudgedChain> judgeChain(const ChainQuestion& question);

}  // namespace qx

#endif
