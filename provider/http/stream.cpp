#include "provider/http/stream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>

#include "provider/http/resolve.h"
#include "provider/support/files.h"

namespace qx {
namespace {

class Socket final : public Stream {
 public:
  Socket(Fd fd, const Deadline& deadline) : fd_(std::move(fd)), deadline_(deadline) {}

  void askAgain(const Deadline& deadline) override {
    deadline_ = deadline;
    again_ = true;
  }

  // A host without a handler for it must not be ended by SIGPIPE.
  Result<void> send(std::span<const std::uint8_t> bytes) override {
    while (!bytes.empty()) {
      const ssize_t count = ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (const Result<void> ready = goOn(count, POLLOUT); !ready) {
        return ready;
      }
      bytes = bytes.subspan(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    // Who answers in two packets waits with the second one until the first is acknowledged, which the kernel
    // delays by 40 ms on a connection on which question follows answer.
    if (const int on = 1; again_) {
      static_cast<void>(setsockopt(fd_.get(), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on));
    }
    return {};
  }

  Result<std::size_t> receive(std::span<std::uint8_t> out) override {
    for (;;) {
      const ssize_t count = recv(fd_.get(), out.data(), out.size(), /*flags=*/0);
      if (const Result<void> ready = goOn(count, POLLIN); !ready) {
        return ready.failure();
      }
      if (count >= 0) {
        return static_cast<std::size_t>(count);
      }
    }
  }

 private:
  // Whether to go on after a call that gave `count`. The deadline also ends what goes on drop by drop.
  Result<void> goOn(ssize_t count, short events) const {
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
      return fail(ERROR_WINHTTP_CONNECTION_ERROR);
    }
    if (count < 0 ? !deadline_.waitFor(fd_.get(), events) : deadline_.passed()) {
      return fail(ERROR_TIMEOUT);
    }
    return {};
  }

  Fd fd_;
  Deadline deadline_;
  bool again_ = false;
};

Failure connectFailure(int error) {
  return fail(error == ECONNREFUSED ? ERROR_CONNECTION_REFUSED : ERROR_HOST_UNREACHABLE);
}

Result<Fd> connectTo(const addrinfo& address, const Deadline& deadline) {
  Fd fd(socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol));
  if (!fd) {
    return connectFailure(errno);
  }
  const int on = 1;
  static_cast<void>(setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on));
  if (connect(fd.get(), address.ai_addr, address.ai_addrlen) == 0) {
    return fd;
  }
  if (errno != EINPROGRESS && errno != EINTR) {
    return connectFailure(errno);
  }
  if (!deadline.waitFor(fd.get(), POLLOUT)) {
    return fail(ERROR_TIMEOUT);
  }
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(fd.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
    return connectFailure(error);
  }
  return fd;
}

int lengthOf(const addrinfo* list) {
  int length = 0;
  for (; list != nullptr; list = list->ai_next) {
    ++length;
  }
  return length;
}

}  // namespace

Result<StreamPtr> connectTo(const Url& server, const Deadline& deadline) {
  const Result<AddressList> addresses = resolve(server.host, server.port, deadline);
  if (!addresses) {
    return addresses.failure();
  }
  Failure last = fail(ERROR_HOST_UNREACHABLE);
  for (const addrinfo* at = addresses->get(); at != nullptr; at = at->ai_next) {
    // An address that does not answer must leave time for those behind it.
    Result<Fd> fd = connectTo(*at, Deadline(deadline.left() / lengthOf(at)));
    if (fd) {
      return StreamPtr(std::make_unique<Socket>(*std::move(fd), deadline));
    }
    last = fd.failure();
  }
  return last;
}

}  // namespace qx
