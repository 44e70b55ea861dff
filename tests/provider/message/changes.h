#ifndef QX_TESTS_PROVIDER_MESSAGE_CHANGES_H_
#define QX_TESTS_PROVIDER_MESSAGE_CHANGES_H_

#include "tests/provider/message/signers.h"

namespace qx::test {

/// The controls that change a decoded message; each returns the error.
DWORD addSigner(const MessageHandle& message, Signer& one);
DWORD addBlob(const MessageHandle& message, DWORD type, const Octets& bytes);
DWORD removeAt(const MessageHandle& message, DWORD type, DWORD index);
DWORD addUnsigned(const MessageHandle& message, DWORD signerIndex, const Octets& attribute);
DWORD removeUnsigned(const MessageHandle& message, DWORD signerIndex, DWORD attribute);

/// changedMessage reads the message as it is now.
Octets changedMessage(const MessageHandle& message);

}  // namespace qx::test

#endif
