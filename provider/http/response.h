#ifndef QX_PROVIDER_HTTP_RESPONSE_H_
#define QX_PROVIDER_HTTP_RESPONSE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "provider/http/stream.h"
#include "provider/result.h"

namespace qx {

/// What all lines of an answer may hold together: status, header fields, chunk sizes, trailers.
inline constexpr std::size_t kMaxLineBytes = 65'536;

/// HttpHead is what we want to know of an answer's head.
struct HttpHead {
  unsigned status = 0;
  std::string location;
  /// Content-Length; nothing: the body ends with the connection, unless it is chunked.
  std::optional<std::uint64_t> length;
  bool chunked = false;
  /// The server ends the connection behind the body (RFC 9112, 9.3).
  bool closes = false;
};

/// ResponseReader reads an answer (RFC 9112) and believes nothing in it. Errors: those of the stream;
/// ERROR_WINHTTP_INVALID_SERVER_RESPONSE for what is not HTTP/1.x, contradicts itself, or is encoded
/// in another way than chunked; ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW above a limit.
class ResponseReader {
 public:
  /// The stream is borrowed.
  explicit ResponseReader(Stream& stream) : stream_(&stream) {}

  /// readHead reads the head of the final answer; interim ones (1xx) are stepped over.
  Result<HttpHead> readHead();

  /// readBody reads the body behind the head, at most `limit` bytes.
  Result<std::vector<std::uint8_t>> readBody(const HttpHead& head, std::size_t limit);

  /// Whether more was received than was read.
  bool hasRest() const { return begin_ != end_; }

 private:
  Result<HttpHead> readOneHead();
  Result<void> readFields(HttpHead& head);
  Result<std::string> readLine();
  /// Receives when nothing is left; false at the end of the stream.
  Result<bool> fill();
  /// Adds exactly `length` bytes of the stream to `body`.
  Result<void> append(std::uint64_t length, std::vector<std::uint8_t>& body);
  Result<std::vector<std::uint8_t>> readChunks(std::size_t limit);
  Result<std::vector<std::uint8_t>> readToEnd(std::size_t limit);

  static constexpr std::size_t kBufferSize = 16'384;

  Stream* stream_;
  std::array<std::uint8_t, kBufferSize> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t lineBytes_ = 0;
};

}  // namespace qx

#endif
