#ifndef QX_TESTS_PROVIDER_MESSAGE_FOREIGN_MESSAGES_H_
#define QX_TESTS_PROVIDER_MESSAGE_FOREIGN_MESSAGES_H_

#include <cstddef>

#include "tests/provider/message/signers.h"

namespace qx::test {

/// streamed gives a signed message the frame that generators of streams write: indefinite lengths around
/// everything, attached content in segments of this size, definite sets of hashes and signers.
Octets streamed(const Octets& message, std::size_t segmentSize);

/// loose gives it indefinite lengths in each signer, too, and a signature in two segments. What was
/// signed stays as it was.
Octets loose(const Octets& message);

/// badlyOrdered lets the only signer of a message sign his attributes in another order than that of DER.
Octets badlyOrdered(const Octets& message, Signer& one);

/// badlyOrdered makes a message whose signer signed his attributes in another order than that of DER.
Octets badlyOrdered(Signer& one, der::Bytes content, DWORD flags = 0);

/// withoutNull makes a message whose hash algorithm has no parameters, where we write NULL.
Octets withoutNull(Signer& one, der::Bytes content);

}  // namespace qx::test

#endif
