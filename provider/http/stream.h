#ifndef QX_PROVIDER_HTTP_STREAM_H_
#define QX_PROVIDER_HTTP_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "provider/http/url.h"
#include "provider/result.h"
#include "provider/support/deadline.h"

namespace qx {

/// Stream is a connection to a server, until a deadline: ERROR_TIMEOUT when it has passed,
/// ERROR_WINHTTP_CONNECTION_ERROR when the other side is gone.
class Stream {
 public:
  Stream() = default;
  virtual ~Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  Stream(Stream&&) = delete;
  Stream& operator=(Stream&&) = delete;

  /// askAgain begins another question behind an answer that was received whole, with a deadline of its own.
  virtual void askAgain(const Deadline& deadline) = 0;

  /// send sends all bytes.
  virtual Result<void> send(std::span<const std::uint8_t> bytes) = 0;

  /// receive waits for bytes and gives how many there are now; 0 after the last ones.
  virtual Result<std::size_t> receive(std::span<std::uint8_t> out) = 0;
};

using StreamPtr = std::unique_ptr<Stream>;

/// connectTo connects to a server's host and port over TCP, trying its addresses in order.
/// ERROR_CONNECTION_REFUSED, ERROR_HOST_UNREACHABLE, ERROR_TIMEOUT and the errors of resolve; of
/// several addresses the last one's.
Result<StreamPtr> connectTo(const Url& server, const Deadline& deadline);

}  // namespace qx

#endif
