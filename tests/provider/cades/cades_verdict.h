#ifndef QX_TESTS_PROVIDER_CADES_CADES_VERDICT_H_
#define QX_TESTS_PROVIDER_CADES_CADES_VERDICT_H_

#include <memory>
#include <ostream>

#include "platform/cades.h"

#include "tests/provider/message/messages.h"

namespace qx::test {

struct FreeVerification {
  void operator()(CADES_VERIFICATION_INFO* info) const { CadesFreeVerificationInfo(info); }
};

/// What CadesMsgVerifySignature says. The rules that hold for every answer are checked on the way: a
/// record comes with TRUE and status 0, or with FALSE, another status and a last error.
struct Verdict {
  DWORD status = 0xFFFF;
  DWORD error = ERROR_SUCCESS;
  std::unique_ptr<CADES_VERIFICATION_INFO, FreeVerification> info;
};

Verdict verdictOn(const MessageHandle& message, DWORD index = 0);

/// The same for an attached message.
Verdict verdictOn(const Octets& message);

/// Its status alone.
DWORD statusOf(const Octets& message);

}  // namespace qx::test

#endif
