#include "tests/provider/cades/cades_verdict.h"

#include <gtest/gtest.h>

namespace qx::test {

Verdict verdictOn(const MessageHandle& message, DWORD index) {
  Verdict verdict;
  CADES_VERIFICATION_INFO* info = nullptr;
  verdict.error = errorOf([&] {
    return CadesMsgVerifySignature(message.get(), index, /*pVerificationPara=*/nullptr, &info);
  });
  verdict.info.reset(info);
  if (info != nullptr) {
    verdict.status = info->dwStatus;
    EXPECT_EQ(info->dwSize, sizeof *info);
    EXPECT_EQ(info->pReserved, nullptr);
    EXPECT_EQ(verdict.status == CADES_STATUS_GOOD, verdict.error == ERROR_SUCCESS);
  }
  return verdict;
}

Verdict verdictOn(const Octets& message) {
  return verdictOn(decode(message));
}

DWORD statusOf(const Octets& message) {
  return verdictOn(message).status;
}

}  // namespace qx::test
