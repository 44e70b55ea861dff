#ifndef QX_TESTS_PROVIDER_CHAIN_FAKE_NETWORK_H_
#define QX_TESTS_PROVIDER_CHAIN_FAKE_NETWORK_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "provider/chain/network.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// FakeNetwork plays servers: gives what lies at an address and notes what was asked.
class FakeNetwork {
 public:
  using Answer = std::function<Result<lab::Bytes>(const HttpRequest&)>;

  /// What lies at an address; every other address refuses.
  void serve(const std::string& url, lab::Bytes body) {
    answer(url, [body = std::move(body)](const HttpRequest&) { return body; });
  }

  void answer(const std::string& url, Answer answer) { answers_[url] = std::move(answer); }

  Network::Exchange exchange() {
    return [this](const HttpRequest& request, const HttpLimits& bounds) -> Result<lab::Bytes> {
      requests.push_back(request);
      limits.push_back(bounds);
      const auto found = answers_.find(request.url);
      return found == answers_.end() ? Result<lab::Bytes>(fail(ERROR_CONNECTION_REFUSED))
                                     : found->second(request);
    };
  }

  std::vector<std::string> urls() const {
    std::vector<std::string> asked;
    asked.reserve(requests.size());
    for (const HttpRequest& request : requests) {
      asked.push_back(request.url);
    }
    return asked;
  }

  std::vector<HttpRequest> requests;
  std::vector<HttpLimits> limits;

 private:
  std::map<std::string, Answer> answers_;
};

}  // namespace qx::test

#endif
