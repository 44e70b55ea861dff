#include "tests/provider/http/tunnel_proxy.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <system_error>

#include "tests/provider/http/loopback.h"

namespace qx::test {
namespace {

std::string readHead(const Fd& client) {
  std::string head;
  char byte = 0;
  // What follows the head belongs to the tunnel.
  while (!head.ends_with("\r\n\r\n") && recv(client.get(), &byte, 1, 0) == 1) {
    head += byte;
  }
  return head;
}

// "CONNECT host:port HTTP/1.1": 0 when it is something else.
std::uint16_t portIn(const std::string& head) {
  const std::size_t end = head.find(" HTTP/1.1\r\n");
  const std::size_t colon = head.rfind(':', end);
  return head.starts_with("CONNECT ") && end != std::string::npos && colon != std::string::npos
             ? static_cast<std::uint16_t>(std::stoul(head.substr(colon + 1, end - colon - 1)))
             : std::uint16_t{0};
}

void say(const Fd& client, const std::string& text) {
  static_cast<void>(send(client.get(), text.data(), text.size(), MSG_NOSIGNAL));
}

}  // namespace

TunnelProxy::TunnelProxy() : listener_(bindToLoopback()), port_(portOf(listener_)) {
  if (listen(listener_.get(), SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category(), "loopback");
  }
  thread_ = std::thread([this] { run(); });
}

TunnelProxy::~TunnelProxy() {
  shutdown(listener_.get(), SHUT_RDWR);
  thread_.join();
}

std::vector<std::string> TunnelProxy::requests() const {
  const std::scoped_lock lock(mutex_);
  return requests_;
}

std::string TunnelProxy::carried() const {
  const std::scoped_lock lock(mutex_);
  return carried_;
}

void TunnelProxy::run() {
  for (;;) {
    const Fd client(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client) {
      return;
    }
    serve(client);
  }
}

void TunnelProxy::serve(const Fd& client) {
  const std::string head = readHead(client);
  {
    const std::scoped_lock lock(mutex_);
    requests_.push_back(head);
  }
  const Fd server = connectToLoopback(portIn(head));
  if (!server) {
    say(client, "HTTP/1.1 502 Bad Gateway\r\n\r\n");
    return;
  }
  say(client, "HTTP/1.1 200 Connection established\r\nVia: test\r\n\r\n");
  std::array<pollfd, 2> ends = {pollfd{.fd = client.get(), .events = POLLIN, .revents = 0},
                                pollfd{.fd = server.get(), .events = POLLIN, .revents = 0}};
  bool open = true;
  while (open && poll(ends.data(), ends.size(), -1) > 0) {
    for (std::size_t i = 0; open && i < ends.size(); ++i) {
      open = ends.at(i).revents == 0 || carry(ends.at(i).fd, ends.at(1 - i).fd);
    }
  }
}

bool TunnelProxy::carry(int from, int to) {
  std::array<char, 16'384> piece{};
  const ssize_t count = recv(from, piece.data(), piece.size(), 0);
  if (count <= 0) {
    return false;
  }
  const auto size = static_cast<std::size_t>(count);
  {
    const std::scoped_lock lock(mutex_);
    carried_.append(piece.data(), size);
  }
  for (std::size_t sent = 0; sent < size;) {
    const ssize_t more = send(to, piece.data() + sent, size - sent, MSG_NOSIGNAL);
    if (more <= 0) {
      return false;
    }
    sent += static_cast<std::size_t>(more);
  }
  return true;
}

}  // namespace qx::test
