#ifndef QX_TESTS_PROVIDER_HTTP_LOOPBACK_H_
#define QX_TESTS_PROVIDER_HTTP_LOOPBACK_H_

#include <cstdint>

#include "provider/support/files.h"

namespace qx::test {

/// bindToLoopback is a socket at a free port of 127.0.0.1, where nobody listens yet. It and portOf throw
/// std::system_error when they cannot.
Fd bindToLoopback();

std::uint16_t portOf(const Fd& socket);

/// connectToLoopback is a connection to a port of 127.0.0.1; none when nobody listens.
Fd connectToLoopback(std::uint16_t port);

}  // namespace qx::test

#endif
