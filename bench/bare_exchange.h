#ifndef QX_BENCH_BARE_EXCHANGE_H_
#define QX_BENCH_BARE_EXCHANGE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qx::bench {

/// BareExchange sends the same POST again and again and takes what comes back: what an answer costs whoever
/// asks for it, before he looks at it.
class BareExchange {
 public:
  /// `url` is http://ADDRESS:PORT/PATH with an IPv4 address. Throws std::runtime_error for another one.
  BareExchange(std::string_view url,
               std::string_view contentType,
               const std::vector<std::uint8_t>& body);

  /// Connects, sends everything, reads until the server closes; whether the answer is a good one (200).
  bool run() const;

 private:
  std::uint32_t address_ = 0;  ///< in network order, as the port
  std::uint16_t port_ = 0;
  std::string request_;
};

}  // namespace qx::bench

#endif
