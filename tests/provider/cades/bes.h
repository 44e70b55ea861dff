#ifndef QX_TESTS_PROVIDER_CADES_BES_H_
#define QX_TESTS_PROVIDER_CADES_BES_H_

#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/message/signers.h"

namespace qx::test {

/// openBes opens a message of CAdES-BES signers for records that the caller made.
MessageHandle openBes(std::vector<CMSG_SIGNER_ENCODE_INFO> records,
                      const SignOptions& options = {},
                      const std::vector<Octets>& certificates = {});

/// openBes opens one for these signers.
MessageHandle openBes(const std::vector<Signer*>& signers, const SignOptions& options = {});

/// signBes makes a message over the content; the test fails when it cannot.
Octets signBes(const std::vector<Signer*>& signers,
               der::Bytes content,
               const SignOptions& options = {});

/// cadesVerifies asks the openssl command whether every signature is good, and names its certificate by
/// a signed attribute. `content` is what a detached message is about, or null.
::testing::AssertionResult cadesVerifies(const Octets& message,
                                         const std::vector<Signer*>& signers,
                                         const Octets* content = nullptr);

}  // namespace qx::test

#endif
