#include "provider/key/assuan.h"

#include <sys/socket.h>

#include <algorithm>
#include <utility>

namespace qx {
namespace {

constexpr std::size_t kBufferSize = 4096;

int hexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

/// The octet that stands escaped (%XX) at the front of `text`, or -1.
int escapedOctet(std::string_view text) {
  if (text.size() < 3 || text[0] != '%' || hexValue(text[1]) < 0 || hexValue(text[2]) < 0) {
    return -1;
  }
  return (hexValue(text[1]) * 16) + hexValue(text[2]);
}

SecretBytes decode(std::string_view text) {
  SecretBytes data(text.size());
  std::size_t length = 0;
  while (!text.empty()) {
    const int escaped = escapedOctet(text);
    data.data()[length++] = static_cast<std::uint8_t>(escaped >= 0 ? escaped : text[0]);
    text.remove_prefix(escaped >= 0 ? 3 : 1);
  }
  data.truncate(length);
  return data;
}

/// What one line cannot hold comes in several. False when it is more than one PIN.
bool append(SecretBytes& data, const SecretBytes& more) {
  if (more.size() > kBufferSize - data.size()) {
    return false;
  }
  SecretBytes both(data.size() + more.size());
  std::ranges::copy(more.bytes(), std::ranges::copy(data.bytes(), both.data()).out);
  data = std::move(both);
  return true;
}

}  // namespace

AssuanClient::AssuanClient(int socket, const Deadline& deadline)
    : socket_(socket), deadline_(deadline), buffer_(kBufferSize) {}

bool AssuanClient::send(const std::string& command) const {
  const std::string line = command + "\n";
  // A program that is gone must not cost the host a SIGPIPE.
  return ::send(socket_, line.data(), line.size(), MSG_NOSIGNAL) ==
         static_cast<ssize_t>(line.size());
}

bool AssuanClient::awaitOk(SecretBytes* data) {
  if (data != nullptr) {
    *data = SecretBytes();
  }
  for (;;) {
    const auto line = nextLine();
    if (!line || line->starts_with("ERR")) {
      return false;
    }
    if (line->starts_with("OK")) {
      return true;
    }
    if (data != nullptr && line->starts_with("D ") && !append(*data, decode(line->substr(2)))) {
      return false;
    }
  }
}

std::string AssuanClient::encode(std::string_view text) {
  std::string encoded;
  for (const char c : text) {
    if (c == '%') {
      encoded += "%25";
    } else {
      encoded += c;
    }
  }
  return encoded;
}

/// The next line without its end; it lies in the buffer until the next call.
std::optional<std::string_view> AssuanClient::nextLine() {
  dropLine();
  std::size_t end = 0;
  while ((end = buffer_.text().substr(0, filled_).find('\n')) == std::string_view::npos) {
    if (!receive()) {
      return std::nullopt;
    }
  }
  line_ = end + 1;
  return buffer_.text().substr(0, end);
}

bool AssuanClient::receive() {
  if (filled_ == buffer_.size() || !deadline_.waitFor(socket_, POLLIN)) {
    return false;
  }
  const ssize_t count =
      recv(socket_, buffer_.data() + filled_, buffer_.size() - filled_, MSG_DONTWAIT);
  if (count <= 0) {
    return false;
  }
  filled_ += static_cast<std::size_t>(count);
  return true;
}

void AssuanClient::dropLine() {
  std::copy(buffer_.data() + line_, buffer_.data() + filled_, buffer_.data());
  filled_ -= line_;
  line_ = 0;
}

}  // namespace qx
