#include "tests/provider/http/loopback.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace qx::test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Fd newSocket() {
  return Fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

}  // namespace

Fd bindToLoopback() {
  Fd fd = newSocket();
  sockaddr_in address = loopback(0);
  if (!fd || bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "loopback");
  }
  return fd;
}

std::uint16_t portOf(const Fd& socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::system_error(errno, std::generic_category(), "loopback");
  }
  return ntohs(address.sin_port);
}

Fd connectToLoopback(std::uint16_t port) {
  Fd fd = newSocket();
  sockaddr_in address = loopback(port);
  const bool connected =
      fd && connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  return connected ? std::move(fd) : Fd();
}

}  // namespace qx::test
