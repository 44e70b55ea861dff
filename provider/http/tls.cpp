#include "provider/http/tls.h"

#include <arpa/inet.h>

#include <array>
#include <utility>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

using ContextPtr = OpensslOwner<SSL_CTX, SSL_CTX_free>;
using SslPtr = OpensslOwner<SSL, SSL_free>;

constexpr std::size_t kPieceSize = 16'384;

Failure notSecure() {
  return fail(ERROR_WINHTTP_SECURE_FAILURE);
}

// The default one would ask on the terminal.
int noPassword(char* /*buffer*/, int /*size*/, int /*writing*/, void* /*data*/) {
  return 0;
}

bool useOwnCertificate(SSL_CTX* context, const TlsOptions& options) {
  SSL_CTX_set_default_passwd_cb(context, noPassword);
  return SSL_CTX_use_certificate_chain_file(context, options.certificateFile.c_str()) == 1 &&
         SSL_CTX_use_PrivateKey_file(context, options.keyFile.c_str(), SSL_FILETYPE_PEM) == 1 &&
         SSL_CTX_check_private_key(context) == 1;
}

Result<ContextPtr> makeContext(const TlsOptions& options) {
  ContextPtr context(SSL_CTX_new_ex(libraryContext(), /*propq=*/nullptr, TLS_client_method()));
  if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
    return notSecure();
  }
  if (SSL_CTX_load_verify_file(context.get(), options.caFile.c_str()) != 1) {
    QX_TRACE("the certificates in %s cannot be read", options.caFile.c_str());
    return notSecure();
  }
  SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, /*callback=*/nullptr);
  if (!options.certificateFile.empty() && !useOwnCertificate(context.get(), options)) {
    QX_TRACE("the certificate in %s cannot be used with its key", options.certificateFile.c_str());
    return fail(ERROR_WINHTTP_LOGIN_FAILURE);
  }
  return context;
}

bool isAddress(const std::string& host) {
  std::array<unsigned char, sizeof(in6_addr)> out{};
  return inet_pton(AF_INET, host.c_str(), out.data()) == 1 ||
         inet_pton(AF_INET6, host.c_str(), out.data()) == 1;
}

// By value: libssl's interface wants the name writable, though it copies it.
bool expectHost(SSL* ssl, std::string host) {
  if (isAddress(host)) {
    return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str()) == 1;
  }
  SSL_set_hostflags(ssl,
                    X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  return SSL_set1_host(ssl, host.c_str()) == 1 &&
         SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, host.data()) == 1;
}

// libssl works on two buffers in memory and never sees the socket: it would write to it without
// MSG_NOSIGNAL, and wait without a deadline.
class TlsStream final : public Stream {
 public:
  explicit TlsStream(StreamPtr below) : below_(std::move(below)) {}

  Result<void> open(const TlsOptions& options) {
    Result<ContextPtr> context = makeContext(options);
    if (!context) {
      return context.failure();
    }
    ssl_.reset(SSL_new(context->get()));
    BioPtr in(BIO_new(BIO_s_mem()));
    BioPtr out(BIO_new(BIO_s_mem()));
    if (ssl_ == nullptr || in == nullptr || out == nullptr) {
      return fail(E_OUTOFMEMORY);
    }
    SSL_set_bio(ssl_.get(), in.release(), out.release());
    if (!expectHost(ssl_.get(), options.host)) {
      return notSecure();
    }
    return shakeHands();
  }

  void askAgain(const Deadline& deadline) override { below_->askAgain(deadline); }

  Result<void> send(std::span<const std::uint8_t> bytes) override {
    std::size_t sent = 0;
    const Result<bool> done =
        run([&] { return SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &sent); });
    return done ? Result<void>() : done.failure();
  }

  Result<std::size_t> receive(std::span<std::uint8_t> out) override {
    std::size_t count = 0;
    const Result<bool> more =
        run([&] { return SSL_read_ex(ssl_.get(), out.data(), out.size(), &count); });
    if (!more) {
      return more.failure();
    }
    return *more ? count : 0;
  }

 private:
  Result<void> shakeHands() {
    const Result<bool> done = run([&] { return SSL_connect(ssl_.get()); });
    if (done && *done) {
      return {};
    }
    const long verdict = SSL_get_verify_result(ssl_.get());
    QX_TRACE("TLS: no secure connection: %s", X509_verify_cert_error_string(verdict));
    return done || verdict != X509_V_OK ? notSecure() : done.failure();
  }

  // Lets libssl work until it is done; false when the other side has said farewell.
  template <class Work>
  Result<bool> run(const Work& work) {
    for (;;) {
      ERR_clear_error();
      const int answer = work();
      const int wish = SSL_get_error(ssl_.get(), answer);
      if (const Result<void> sent = flush(); !sent) {
        return sent.failure();
      }
      if (wish == SSL_ERROR_NONE || wish == SSL_ERROR_ZERO_RETURN) {
        return wish == SSL_ERROR_NONE;
      }
      if (wish != SSL_ERROR_WANT_READ) {
        return notSecure();
      }
      if (const Result<void> fed = feed(); !fed) {
        return fed.failure();
      }
    }
  }

  Result<void> flush() {
    std::array<std::uint8_t, kPieceSize> piece{};
    for (;;) {
      const int count =
          BIO_read(SSL_get_wbio(ssl_.get()), piece.data(), static_cast<int>(piece.size()));
      if (count <= 0) {
        return {};
      }
      const Result<void> sent = below_->send({piece.data(), static_cast<std::size_t>(count)});
      if (!sent) {
        return sent;
      }
    }
  }

  Result<void> feed() {
    std::array<std::uint8_t, kPieceSize> piece{};
    const Result<std::size_t> count = below_->receive(piece);
    if (!count) {
      return count.failure();
    }
    // Without a farewell nobody knows whether somebody in between has cut the rest off.
    if (*count == 0) {
      return fail(ERROR_WINHTTP_CONNECTION_ERROR);
    }
    return BIO_write(SSL_get_rbio(ssl_.get()), piece.data(), static_cast<int>(*count)) > 0
               ? Result<void>()
               : fail(E_OUTOFMEMORY);
  }

  StreamPtr below_;
  SslPtr ssl_;
};

}  // namespace

Result<StreamPtr> openTls(StreamPtr connection, const TlsOptions& options) {
  auto stream = std::make_unique<TlsStream>(std::move(connection));
  const Result<void> opened = stream->open(options);
  return opened ? Result<StreamPtr>(std::move(stream)) : opened.failure();
}

}  // namespace qx
