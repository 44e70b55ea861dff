#include "provider/chain/network.h"

#include <algorithm>

#include "provider/support/config.h"
#include "provider/support/trace.h"

namespace qx {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

Network::Network() : Network(milliseconds::max()) {}

Network::Network(milliseconds atMost)
    : Network([](const HttpRequest& request,
                 const HttpLimits& limits) { return exchange(request, limits); },
              {.time = std::min(atMost, milliseconds(configuration().revocation.timeoutMs))}) {}

Result<std::vector<std::uint8_t>> Network::ask(const HttpRequest& request, std::size_t bytes) {
  if (budget_.requests == 0 || budget_.time <= milliseconds::zero()) {
    QX_TRACE("revocation: nothing more is fetched, the call's time or number is used up");
    return fail(ERROR_TIMEOUT);
  }
  --budget_.requests;
  const auto begin = steady_clock::now();
  Result<std::vector<std::uint8_t>> body =
      exchange_(request, {.time = budget_.time, .bytes = bytes});
  budget_.time -= std::chrono::ceil<milliseconds>(steady_clock::now() - begin);
  if (!body) {
    QX_TRACE("revocation: an address gave no answer: %08x", body.error());
  }
  return body;
}

Result<std::vector<std::uint8_t>> Network::fetch(FileKind kind, const std::string& address) {
  Result<std::vector<std::uint8_t>> body =
      ask({.url = address,
           .contentType = {},
           .accept = kind == FileKind::Crl ? "application/pkix-crl" : "",
           .body = {}},
          fileLimit(kind));
  return body ? derFromFile(kind, *std::move(body)) : body.failure();
}

}  // namespace qx
