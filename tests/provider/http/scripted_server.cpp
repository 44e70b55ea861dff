#include "tests/provider/http/scripted_server.h"

#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "tests/provider/http/loopback.h"

namespace qx::test {
namespace {

constexpr std::size_t kPieceSize = 4096;

// The server's side of a connection: plain or TLS, with calls that wait.
class Peer {
 public:
  Peer(int socket, SSL_CTX* tls) : socket_(socket) {
    if (tls != nullptr) {
      ssl_.reset(SSL_new(tls));
      SSL_set_fd(ssl_.get(), socket);
      open_ = SSL_accept(ssl_.get()) == 1;
    }
  }

  ~Peer() {
    if (ssl_ != nullptr && open_) {
      SSL_shutdown(ssl_.get());
    }
  }

  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  Peer(Peer&&) = delete;
  Peer& operator=(Peer&&) = delete;

  bool open() const { return open_; }

  std::string receive() {
    std::array<char, kPieceSize> piece{};
    const auto size = static_cast<int>(piece.size());
    const ssize_t count = ssl_ != nullptr ? SSL_read(ssl_.get(), piece.data(), size)
                                          : recv(socket_, piece.data(), piece.size(), 0);
    open_ = count > 0;
    return {piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

  void send(const std::string& text) {
    std::size_t sent = 0;
    while (open_ && sent < text.size()) {
      const char* from = text.data() + sent;
      const std::size_t rest = text.size() - sent;
      const ssize_t count = ssl_ != nullptr ? SSL_write(ssl_.get(), from, static_cast<int>(rest))
                                            : ::send(socket_, from, rest, MSG_NOSIGNAL);
      open_ = count > 0;
      sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
  }

 private:
  int socket_;
  OpensslOwner<SSL, SSL_free> ssl_;
  bool open_ = true;
};

std::size_t lengthIn(const std::string& head) {
  const std::string field = "Content-Length: ";
  const std::size_t at = head.find(field);
  return at == std::string::npos ? 0 : std::stoul(head.substr(at + field.size()));
}

std::string readRequest(Peer& peer) {
  std::string text;
  std::size_t end = std::string::npos;
  while (peer.open() && end == std::string::npos) {
    text += peer.receive();
    end = text.find("\r\n\r\n");
  }
  while (peer.open() && text.size() < end + 4 + lengthIn(text)) {
    text += peer.receive();
  }
  return text;
}

}  // namespace

ScriptedAnswer okAnswer(const std::string& body) {
  return {.text = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
                  body};
}

ScriptedServer::ScriptedServer(Answers answers, const ServerIdentity& identity)
    : answers_(std::move(answers)), listener_(bindToLoopback()), port_(portOf(listener_)) {
  if (identity.key != nullptr) {
    tls_.reset(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_use_certificate(tls_.get(), identity.certificate);
    SSL_CTX_use_PrivateKey(tls_.get(), identity.key);
  }
  if (identity.clientAuthority != nullptr) {
    X509_STORE_add_cert(SSL_CTX_get_cert_store(tls_.get()), identity.clientAuthority);
    SSL_CTX_set_verify(tls_.get(), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (listen(listener_.get(), SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category(), "loopback");
  }
  thread_ = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer() {
  shutdown(listener_.get(), SHUT_RDWR);
  thread_.join();
}

std::string ScriptedServer::url(const std::string& path) const {
  return (tls_ == nullptr ? "http" : "https") + ("://127.0.0.1:" + std::to_string(port_)) + path;
}

std::vector<std::string> ScriptedServer::requests() const {
  const std::scoped_lock lock(mutex_);
  return requests_;
}

void ScriptedServer::run() {
  // libssl writes without MSG_NOSIGNAL; the client's own thread must stay as it is.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  for (;;) {
    const Fd connection(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!connection) {
      return;
    }
    ++connections_;
    serve(connection.get());
  }
}

const ScriptedAnswer& ScriptedServer::nextAnswer() {
  return answers_.at(std::min(answered_++, answers_.size() - 1));
}

void ScriptedServer::serve(int connection) {
  Peer peer(connection, tls_.get());
  bool goesOn = true;
  while (goesOn) {
    const ScriptedAnswer& answer = nextAnswer();
    std::string request = answer.speaksFirst ? "" : readRequest(peer);
    {
      const std::scoped_lock lock(mutex_);
      requests_.push_back(std::move(request));
    }
    peer.send(answer.text);
    while (!answer.repeated.empty() && peer.open()) {
      peer.send(answer.repeated);
    }
    while (answer.waits && peer.open()) {
      peer.receive();
    }
    goesOn = answer.keeps && peer.open();
  }
}

// The kernel gives a port that was just given back last of all.
std::uint16_t unusedPort() {
  return portOf(bindToLoopback());
}

}  // namespace qx::test
