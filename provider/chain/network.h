#ifndef QX_PROVIDER_CHAIN_NETWORK_H_
#define QX_PROVIDER_CHAIN_NETWORK_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "provider/http/client.h"
#include "provider/result.h"
#include "provider/store/file_content.h"

namespace qx {

/// NetworkBudget is what a whole call may spend on asking others. Only the time that requests take
/// counts.
struct NetworkBudget {
  std::chrono::milliseconds time;
  unsigned requests = kMaxRequests;

  static constexpr unsigned kMaxRequests = 32;
};

/// Network asks others within a budget. Not for several threads at once.
class Network {
 public:
  /// As qx::exchange.
  using Exchange =
      std::function<Result<std::vector<std::uint8_t>>(const HttpRequest&, const HttpLimits&)>;

  /// The configuration's time (revocation.timeout_ms), and the real HTTP client.
  Network();

  /// The same with less time, if `atMost` is less than the configuration's.
  explicit Network(std::chrono::milliseconds atMost);

  Network(Exchange exchange, NetworkBudget budget)
      : exchange_(std::move(exchange)), budget_(budget) {}

  /// ask gives the body of the answer, of at most `bytes`. Errors: the client's; ERROR_TIMEOUT, and
  /// nothing is sent, when the budget is used up. A trace line tells of each failure.
  Result<std::vector<std::uint8_t>> ask(const HttpRequest& request, std::size_t bytes);

  /// fetch gives the DER of a file, DER or PEM, that lies at an address and is no longer than such a
  /// file of a store may be. Errors: as ask and derFromFile.
  Result<std::vector<std::uint8_t>> fetch(FileKind kind, const std::string& address);

 private:
  Exchange exchange_;
  NetworkBudget budget_;
};

}  // namespace qx

#endif
