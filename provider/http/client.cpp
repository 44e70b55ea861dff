#include "provider/http/client.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <future>
#include <span>
#include <string_view>
#include <utility>

#include <openssl/crypto.h>

#include "provider/http/credentials.h"
#include "provider/http/response.h"
#include "provider/http/stream.h"
#include "provider/http/tls.h"
#include "provider/http/url.h"
#include "provider/openssl/errors.h"
#include "provider/support/config.h"
#include "provider/support/deadline.h"
#include "provider/support/fork_gate.h"
#include "provider/support/trace.h"
#include "provider/support/wipe.h"

namespace qx {
namespace {

constexpr unsigned kOk = 200;
constexpr unsigned kUnauthorized = 401;
constexpr unsigned kProxyUnauthorized = 407;
// 303 would have us fetch another thing than the answer.
constexpr std::array kRedirections = {301U, 302U, 307U, 308U};

struct Answer {
  HttpHead head;
  std::vector<std::uint8_t> body;
};

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool isRedirection(const HttpHead& head) {
  return std::ranges::find(kRedirections, head.status) != kRedirections.end();
}

bool isFieldValue(std::string_view value) {
  return std::ranges::all_of(value, [](char c) { return c >= ' ' && c <= '~'; });
}

std::string serverOf(const Url& url) {
  return (url.secure ? "https://" : "http://") + url.authority();
}

// Of other answers the body is not read.
bool mayBeKept(const HttpHead& head) {
  return head.status == kOk && !head.closes && (head.chunked || head.length);
}

std::string requestHead(const HttpRequest& request, const Url& url, bool throughProxy) {
  const bool posts = !request.contentType.empty();
  std::string head = (posts ? "POST " : "GET ") +
                     (throughProxy ? "http://" + url.authority() : "") + url.target +
                     " HTTP/1.1\r\nHost: " + url.authority() + "\r\n";
  if (request.kept == nullptr) {
    head += "Connection: close\r\n";
  }
  if (!request.accept.empty()) {
    head += "Accept: " + request.accept + "\r\n";
  }
  if (posts) {
    head += "Content-Type: " + request.contentType +
            "\r\nContent-Length: " + std::to_string(request.body.size()) + "\r\n";
  }
  return head;
}

/// What is sent: where the credentials put in a secret, in memory for secrets; pages of one's own are too
/// dear for what everybody may see.
class WholeRequest {
 public:
  WholeRequest(std::size_t size, bool secret) {
    if (secret) {
      secret_ = SecretBytes(size);
    } else {
      open_.resize(size);
    }
  }

  std::span<std::uint8_t> bytes() {
    return open_.empty() ? std::span(secret_.data(), secret_.size()) : std::span(open_);
  }

 private:
  SecretBytes secret_;
  std::vector<std::uint8_t> open_;
};

// One piece, so that it leaves in one packet where it fits.
Result<WholeRequest> wholeRequest(const HttpRequest& request,
                                  const Url& url,
                                  const HttpCredentials* credentials,
                                  bool throughProxy) {
  const std::string head = requestHead(request, url, throughProxy);
  const Result<SecretBytes> authorization =
      credentials == nullptr ? SecretBytes() : authorizationField(*credentials);
  if (!authorization) {
    return authorization.failure();
  }
  constexpr std::string_view kHeadEnd = "\r\n";
  WholeRequest whole(head.size() + authorization->size() + kHeadEnd.size() + request.body.size(),
                     /*secret=*/!authorization->empty());
  auto at = std::ranges::copy(head, whole.bytes().begin()).out;
  at = std::ranges::copy(authorization->bytes(), at).out;
  at = std::ranges::copy(kHeadEnd, at).out;
  std::ranges::copy(request.body, at);
  return whole;
}

// Asks a proxy to hand on what comes (RFC 9110, 9.3.6).
Result<void> openTunnel(Stream& proxy, const Url& url) {
  const std::string server = url.hostAndPort();
  const Result<void> sent =
      proxy.send(bytesOf("CONNECT " + server + " HTTP/1.1\r\nHost: " + server + "\r\n\r\n"));
  if (!sent) {
    return sent;
  }
  ResponseReader reader(proxy);
  const Result<HttpHead> head = reader.readHead();
  if (!head) {
    return head.failure();
  }
  // A TLS server waits for us: whatever follows is not from it.
  return head->status == kOk && !reader.hasRest() ? Result<void>()
                                                  : fail(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
}

// The host's signals are not for threads of ours, which inherit what is blocked here.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }

  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  SignalsBlocked(SignalsBlocked&&) = delete;
  SignalsBlocked& operator=(SignalsBlocked&&) = delete;

 private:
  sigset_t before_{};
};

// libssl empties the error queue of its thread with every handshake, the host's errors and marks
// included: it works in a thread of its own. What libcrypto keeps for that thread goes before the thread
// ends, when a fork would no longer wait for it.
template <class Work>
auto inThread(const Work& work) {
  std::future<decltype(work())> done;
  {
    const SignalsBlocked blocked;
    done = std::async(std::launch::async, [&work] {
      const ForkWaits call;
      auto answer = work();
      OPENSSL_thread_stop();
      return answer;
    });
  }
  const ForkMayPass noLockIsHeld;
  return done.get();
}

/// One exchange with its redirection: what does not change on the way.
class Exchange {
 public:
  Exchange(const HttpRequest& request, const HttpLimits& limits, const HttpSettings& settings)
      : request_(&request),
        settings_(&settings),
        bytes_(limits.bytes),
        deadline_(limits.time),
        meanwhile_(request.meanwhile) {}

  Result<std::vector<std::uint8_t>> run() {
    Result<Url> url = parseUrl(request_->url);
    if (!url) {
      // It may be one with a password inside.
      QX_TRACE("http: this is no URL that we can use");
      return url.failure();
    }
    Result<Answer> answer = ask(*url);
    if (answer && isRedirection(answer->head)) {
      url = redirectedUrl(*url, answer->head.location);
      answer = url ? ask(*url) : Result<Answer>(url.failure());
    }
    return answer ? bodyOf(*std::move(answer)) : answer.failure();
  }

 private:
  Result<Answer> ask(const Url& url) {
    Result<Answer> answer = url.secure ? inThread([&] { return askNow(url); }) : askNow(url);
    const unsigned status = answer ? answer->head.status : 0;
    QX_TRACE("http: %s: status %u, error %08x", url.shown().c_str(), status, answer.error());
    return answer;
  }

  Result<Answer> askNow(const Url& url) {
    const HttpCredentials* credentials = credentialsFor(url, request_->credentials);
    const bool throughProxy = !settings_->proxy.empty() && !url.secure;
    Result<WholeRequest> whole = wholeRequest(*request_, url, credentials, throughProxy);
    if (!whole) {
      return whole.failure();
    }
    if (StreamPtr kept = takeKept(url)) {
      Result<Answer> answer = askOver(std::move(kept), *whole, url);
      if (answer || answer.error() != ERROR_WINHTTP_CONNECTION_ERROR) {
        return answer;
      }
    }
    Result<StreamPtr> stream = connect(url, credentials);
    return stream ? askOver(*std::move(stream), *whole, url) : stream.failure();
  }

  // The connection to this server that is left; null when there is none.
  StreamPtr takeKept(const Url& url) const {
    if (request_->kept == nullptr || request_->kept->server != serverOf(url)) {
      return nullptr;
    }
    StreamPtr stream = std::move(request_->kept->stream);
    if (stream != nullptr) {
      stream->askAgain(deadline_);
    }
    return stream;
  }

  Result<Answer> askOver(StreamPtr stream, WholeRequest& whole, const Url& url) {
    if (const Result<void> sent = stream->send(whole.bytes()); !sent) {
      return sent.failure();
    }
    if (const Result<void> done = workMeanwhile(); !done) {
      return done.failure();
    }
    ResponseReader reader(*stream);
    Result<Answer> answer = readAnswer(reader);
    if (request_->kept != nullptr && answer && mayBeKept(answer->head) && !reader.hasRest()) {
      *request_->kept = {.server = serverOf(url), .stream = std::move(stream)};
    }
    return answer;
  }

  // Once, however often the request is sent.
  Result<void> workMeanwhile() {
    const Meanwhile work = std::exchange(meanwhile_, nullptr);
    return work ? work() : Result<void>();
  }

  Result<Answer> readAnswer(ResponseReader& reader) const {
    Result<HttpHead> head = reader.readHead();
    if (!head) {
      return head.failure();
    }
    if (head->status != kOk) {
      return Answer{.head = *std::move(head), .body = {}};
    }
    Result<std::vector<std::uint8_t>> body = reader.readBody(*head, bytes_);
    return body ? Answer{.head = *std::move(head), .body = *std::move(body)}
                : Result<Answer>(body.failure());
  }

  Result<StreamPtr> connect(const Url& url, const HttpCredentials* credentials) const {
    Result<StreamPtr> stream = connectOrTunnel(url);
    if (!stream || !url.secure) {
      return stream;
    }
    TlsOptions options{.host = url.host, .caFile = settings_->caFile};
    if (credentials != nullptr) {
      options.certificateFile = credentials->certificateFile;
      options.keyFile = credentials->keyFile;
    }
    return openTls(*std::move(stream), options);
  }

  Result<StreamPtr> connectOrTunnel(const Url& url) const {
    if (settings_->proxy.empty()) {
      return connectTo(url, deadline_);
    }
    const Result<Url> proxy = parseUrl(settings_->proxy);
    if (!proxy || proxy->secure) {
      QX_TRACE("http: the proxy's URL is none that we can use");
      return fail(ERROR_WINHTTP_INVALID_URL);
    }
    Result<StreamPtr> stream = connectTo(*proxy, deadline_);
    if (!stream || !url.secure) {
      return stream;
    }
    const Result<void> opened = openTunnel(**stream, url);
    return opened ? std::move(stream) : opened.failure();
  }

  static Result<std::vector<std::uint8_t>> bodyOf(Answer answer) {
    switch (const unsigned status = answer.head.status; status) {
      case kOk:
        return std::move(answer.body);
      case kUnauthorized:
      case kProxyUnauthorized:
        return fail(ERROR_WINHTTP_LOGIN_FAILURE);
      default:
        return fail(isRedirection(answer.head) ? ERROR_WINHTTP_REDIRECT_FAILED
                                               : ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
    }
  }

  const HttpRequest* request_;
  const HttpSettings* settings_;
  std::size_t bytes_;
  Deadline deadline_;
  Meanwhile meanwhile_;  // empty when it has been done
};

}  // namespace

Result<std::vector<std::uint8_t>> exchange(const HttpRequest& request,
                                           const HttpLimits& limits,
                                           const HttpSettings& settings) {
  const ErrorQueueGuard queue;
  if (!isFieldValue(request.contentType) || !isFieldValue(request.accept)) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return Exchange(request, limits, settings).run();
}

Result<std::vector<std::uint8_t>> exchange(const HttpRequest& request, const HttpLimits& limits) {
  const auto& http = configuration().http;
  return exchange(request, limits, {.proxy = http.proxy, .caFile = http.caFile});
}

}  // namespace qx
