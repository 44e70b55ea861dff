#include "tools/lab/services.h"

#include <httplib.h>

#include <algorithm>
#include <utility>

#include <openssl/ocsp.h>

#include "tools/common/error.h"

namespace qx::lab {
namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr std::size_t kChunk = 100;

X509Ptr shared(X509* certificate) {
  X509_up_ref(certificate);
  return X509Ptr(certificate);
}

// Not httplib's own choice: with SO_REUSEPORT two services would share a port unawares.
void reuseAddress(int socket) {
  const int on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

OcspEntry entryFor(const OcspQuery::Wanted& wanted,
                   const X509* issuer,
                   const std::vector<RevokedEntry>& revoked) {
  OcspEntry entry{.certId = wanted.certId};
  if (!isIssuerOf(wanted.certId, issuer)) {
    entry.status = OcspStatus::Unknown;
    return entry;
  }
  const auto found = std::ranges::find(revoked, wanted.serial, &RevokedEntry::serial);
  if (found != revoked.end()) {
    entry.status = OcspStatus::Revoked;
    entry.revokedAt = found->when;
    entry.reason = found->reason;
  }
  return entry;
}

void sendInChunks(httplib::Response& response, std::string body, const std::string& contentType) {
  response.set_chunked_content_provider(
      contentType, [body = std::move(body)](std::size_t at, httplib::DataSink& sink) {
        if (at >= body.size()) {
          sink.done();
          return true;
        }
        return sink.write(body.data() + at, std::min(kChunk, body.size() - at));
      });
}

}  // namespace

Services::Services(std::uint16_t port) : server_(std::make_unique<httplib::Server>()) {
  const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
    handle(request, response);
  };
  server_->Get(".*", handler);
  server_->Post(".*", handler);
  server_->set_socket_options(reuseAddress);
  server_->set_tcp_nodelay(true);
  // A connection that stays open for more holds the end up.
  server_->set_keep_alive_timeout(1);
  port_ = port == 0 ? server_->bind_to_any_port(kHost) : port;
  if (port_ < 0 || (port != 0 && !server_->bind_to_port(kHost, port))) {
    throw tools::ToolError(tools::ExitCode::Input,
                           "port " + std::to_string(port) + " of 127.0.0.1 cannot be had");
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  // To stop a server that does not run yet does nothing.
  while (!server_->is_running()) {
    std::this_thread::yield();
  }
}

Services::~Services() {
  {
    const std::scoped_lock lock(mutex_);
    ends_ = true;
  }
  ending_.notify_all();
  server_->stop();
  thread_.join();
}

std::string Services::url(const std::string& path) const {
  return "http://" + std::string(kHost) + ":" + std::to_string(port_) + path;
}

void Services::offer(const std::string& path, const std::string& contentType, Answer answer) {
  const std::scoped_lock lock(mutex_);
  offers_[path] = {.contentType = contentType, .answer = std::move(answer)};
}

void Services::offerTimeStamps(const std::string& path,
                               std::shared_ptr<const TimeStampAuthority> authority,
                               const TimeStampOptions& options) {
  offer(path,
        "application/timestamp-reply",
        [authority = std::move(authority), options](const Bytes& request) {
          return authority->answer(request, options);
        });
}

void Services::offerOcsp(const std::string& path,
                         std::shared_ptr<const OcspResponder> responder,
                         X509* issuer,
                         std::vector<RevokedEntry> revoked,
                         const OcspOptions& options) {
  const std::shared_ptr<X509> ofIssuer = shared(issuer);
  offer(path,
        "application/ocsp-response",
        [responder = std::move(responder), ofIssuer, revoked = std::move(revoked), options](
            const Bytes& request) {
          const OcspQuery query = readOcspQuery(request);
          std::vector<OcspEntry> entries;
          entries.reserve(query.wanted.size());
          for (const OcspQuery::Wanted& wanted : query.wanted) {
            entries.push_back(entryFor(wanted, ofIssuer.get(), revoked));
          }
          OcspOptions chosen = options;
          chosen.nonce = query.nonce;
          return responder->response(entries, chosen);
        });
}

void Services::offerFile(const std::string& path, Bytes content, const std::string& contentType) {
  offer(path, contentType, [content = std::move(content)](const Bytes&) { return content; });
}

void Services::setConduct(const std::string& path, const Conduct& conduct) {
  const std::scoped_lock lock(mutex_);
  conducts_[path] = conduct;
}

std::size_t Services::count(const std::string& path) const {
  const std::scoped_lock lock(mutex_);
  return static_cast<std::size_t>(std::ranges::count(requests_, path));
}

std::vector<std::string> Services::requests() const {
  const std::scoped_lock lock(mutex_);
  return requests_;
}

void Services::waitFor(const Conduct& conduct) {
  std::unique_lock lock(mutex_);
  const auto ends = [this] { return ends_; };
  if (conduct.stalls) {
    ending_.wait(lock, ends);
  } else {
    ending_.wait_for(lock, conduct.delay, ends);
  }
}

void Services::handle(const httplib::Request& request, httplib::Response& response) {
  Offer offer;
  Conduct conduct;
  {
    const std::scoped_lock lock(mutex_);
    requests_.push_back(request.path);
    conduct = conducts_[request.path];
    if (const auto found = offers_.find(request.path); found != offers_.end()) {
      offer = found->second;
    }
  }
  waitFor(conduct);
  if (!conduct.redirect.empty()) {
    response.set_redirect(conduct.redirect);
    return;
  }
  if (offer.answer == nullptr || conduct.status != 200) {
    response.status = offer.answer == nullptr ? 404 : conduct.status;
    return;
  }
  // What the answer throws becomes the status 500.
  const Bytes answer = offer.answer({request.body.begin(), request.body.end()});
  std::string body(answer.begin(), answer.end());
  body.append(conduct.excess, '\0');
  if (conduct.chunked) {
    sendInChunks(response, std::move(body), offer.contentType);
  } else {
    response.set_content(body, offer.contentType);
  }
}

}  // namespace qx::lab
