#ifndef QX_PROVIDER_HTTP_RESOLVE_H_
#define QX_PROVIDER_HTTP_RESOLVE_H_

#include <netdb.h>

#include <cstdint>
#include <memory>
#include <string>

#include "provider/result.h"
#include "provider/support/deadline.h"

namespace qx {

struct FreeAddresses {
  void operator()(addrinfo* list) const { freeaddrinfo(list); }
};

using AddressList = std::unique_ptr<addrinfo, FreeAddresses>;

/// resolve finds the addresses of a host, at least one, for TCP. ERROR_WINHTTP_NAME_NOT_RESOLVED;
/// ERROR_TIMEOUT when the system's resolver has not answered in time (in a child of fork, the waiting
/// ends when the resolver gives up).
Result<AddressList> resolve(const std::string& host, std::uint16_t port, const Deadline& deadline);

}  // namespace qx

#endif
