#include "bench/bare_exchange.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "provider/support/files.h"

namespace qx::bench {
namespace {

constexpr std::string_view kScheme = "http://";
constexpr std::string_view kGood = "HTTP/1.1 200 ";

std::uint16_t portIn(std::string_view digits) {
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), port);
  if (error != std::errc() || end != digits.end()) {
    throw std::runtime_error("not a port");
  }
  return port;
}

bool sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) {
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool receiveGood(int socket) {
  std::array<char, 4096> buffer{};
  std::string start;
  ssize_t count = 0;
  while ((count = recv(socket, buffer.data(), buffer.size(), /*flags=*/0)) > 0) {
    if (start.size() < kGood.size()) {
      start.append(buffer.data(), static_cast<std::size_t>(count));
    }
  }
  return count == 0 && start.starts_with(kGood);
}

}  // namespace

BareExchange::BareExchange(std::string_view url,
                           std::string_view contentType,
                           const std::vector<std::uint8_t>& body) {
  const std::string_view rest = url.substr(url.starts_with(kScheme) ? kScheme.size() : url.size());
  const std::string authority(rest.substr(0, rest.find('/')));
  const std::size_t colon = authority.find(':');
  in_addr address{};
  if (colon == std::string::npos ||
      inet_pton(AF_INET, authority.substr(0, colon).c_str(), &address) != 1) {
    throw std::runtime_error("not a URL with an address and a port");
  }
  address_ = address.s_addr;
  port_ = htons(portIn(std::string_view(authority).substr(colon + 1)));
  request_.append("POST ").append(rest.substr(authority.size()));
  request_.append(" HTTP/1.1\r\nHost: ").append(authority);
  request_.append("\r\nConnection: close\r\nContent-Type: ").append(contentType);
  request_.append("\r\nContent-Length: ").append(std::to_string(body.size())).append("\r\n\r\n");
  request_.append(body.begin(), body.end());
}

bool BareExchange::run() const {
  const Fd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  const sockaddr_in server{
      .sin_family = AF_INET, .sin_port = port_, .sin_addr = {address_}, .sin_zero = {}};
  return fd && setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0 &&
         connect(fd.get(), reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0 &&
         sendAll(fd.get(), request_) && receiveGood(fd.get());
}

}  // namespace qx::bench
