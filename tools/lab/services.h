#ifndef QX_TOOLS_LAB_SERVICES_H_
#define QX_TOOLS_LAB_SERVICES_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tools/lab/ocsp.h"
#include "tools/lab/pki.h"
#include "tools/lab/time_stamp.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace qx::lab {

/// How a service treats those who ask, beside what it answers.
struct Conduct {
  /// Waits before it answers.
  std::chrono::milliseconds delay{0};
  /// Never answers (until the services end).
  bool stalls = false;
  /// Another status than 200, with an empty answer.
  int status = 200;
  /// Sends to this place instead of answering.
  std::string redirect;
  /// Sends the answer in chunks.
  bool chunked = false;
  /// Sends so many more bytes behind the answer.
  std::size_t excess = 0;
};

/// Services answers over HTTP on 127.0.0.1: time stamps, OCSP, and files (CRLs, certificates). What is
/// offered may change while it runs; every function may be called from any thread. The process ignores
/// SIGPIPE from then on.
class Services {
 public:
  /// Listens as long as it lives; port 0 takes any that is free. Throws tools::ToolError (Input) when
  /// the port cannot be had.
  explicit Services(std::uint16_t port = 0);
  ~Services();
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;
  Services(Services&&) = delete;
  Services& operator=(Services&&) = delete;

  /// "http://127.0.0.1:PORT" and `path` behind it, which begins with a slash.
  std::string url(const std::string& path = {}) const;

  /// Each offers something at a path, in place of what was there. An authority is shared, so that it
  /// may make stamps elsewhere, too.
  void offerTimeStamps(const std::string& path,
                       std::shared_ptr<const TimeStampAuthority> authority,
                       const TimeStampOptions& options = {});

  /// The certificates of `issuer` (borrowed for the call) are good, but for those revoked; of others
  /// nothing is known. A nonce comes back.
  void offerOcsp(const std::string& path,
                 std::shared_ptr<const OcspResponder> responder,
                 X509* issuer,
                 std::vector<RevokedEntry> revoked = {},
                 const OcspOptions& options = {});

  void offerFile(const std::string& path, Bytes content, const std::string& contentType);

  void setConduct(const std::string& path, const Conduct& conduct);

  /// How often a path was asked for, offered or not.
  std::size_t count(const std::string& path) const;

  /// All paths in the order in which they were asked for.
  std::vector<std::string> requests() const;

 private:
  using Answer = std::function<Bytes(const Bytes& request)>;

  struct Offer {
    std::string contentType;
    Answer answer;
  };

  void offer(const std::string& path, const std::string& contentType, Answer answer);
  void handle(const httplib::Request& request, httplib::Response& response);
  void waitFor(const Conduct& conduct);

  mutable std::mutex mutex_;
  std::condition_variable ending_;
  bool ends_ = false;
  std::map<std::string, Offer> offers_;
  std::map<std::string, Conduct> conducts_;
  std::vector<std::string> requests_;
  std::unique_ptr<httplib::Server> server_;
  int port_ = 0;
  std::thread thread_;
};

}  // namespace qx::lab

#endif
