#include "provider/cades/time_stamp_service.h"

#include <algorithm>
#include <utility>

#include "provider/cades/time_stamp_authority.h"
#include "provider/cades/time_stamp_request.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

// A stamp with a chain of certificates has some ten thousand bytes.
constexpr std::size_t kMaxAnswer = std::size_t{1} << 20U;

// Whether it stamps what was asked for, for us, and at a time that has come.
bool isAnswerTo(const TimeStampRequest& request,
                HashAlgorithm algorithm,
                der::Bytes imprint,
                const TimeStampInfo& info) {
  return info.hash == algorithm && std::ranges::equal(info.imprint, imprint) &&
         std::ranges::equal(info.nonce, request.nonce) &&
         !isFromTheFuture(info, std::time(nullptr));
}

class HttpTimeStampService final : public TimeStampService {
 public:
  HttpTimeStampService(std::string url, const Configuration& configuration)
      : url_(std::move(url)),
        time_(configuration.tsp.timeoutMs),
        settings_{.proxy = configuration.http.proxy, .caFile = configuration.http.caFile},
        credentials_{.server = configuration.tsp.defaultUrl,
                     .user = configuration.tsp.user,
                     .passwordFile = configuration.tsp.passwordFile,
                     .certificateFile = configuration.tsp.certificateFile,
                     .keyFile = configuration.tsp.keyFile} {}

  Result<TimeStamp> stamp(HashAlgorithm algorithm,
                          der::Bytes imprint,
                          const Meanwhile& work) override {
    Result<TimeStampRequest> request = makeTimeStampRequest(algorithm, imprint);
    if (!request) {
      return request.failure();
    }
    Result<std::vector<std::uint8_t>> answer = ask(request->der, work);
    if (!answer) {
      return answer.failure();
    }
    const std::size_t size = answer->size();
    Result<TimeStamp> stamp = check(*request, algorithm, imprint, *std::move(answer));
    QX_TRACE("a time stamp in an answer of %zu bytes: %08x", size, stamp.error());
    return stamp;
  }

 private:
  Result<std::vector<std::uint8_t>> ask(const std::vector<std::uint8_t>& request,
                                        const Meanwhile& work) {
    return exchange({.url = url_,
                     .contentType = "application/timestamp-query",
                     .accept = "application/timestamp-reply",
                     .body = request,
                     .credentials = &credentials_,
                     .kept = &connection_,
                     .meanwhile = work},
                    {.time = time_, .bytes = kMaxAnswer},
                    settings_);
  }

  static Result<TimeStamp> check(const TimeStampRequest& request,
                                 HashAlgorithm algorithm,
                                 der::Bytes imprint,
                                 std::vector<std::uint8_t> answer) {
    const Result<der::Bytes> encoded = readTimeStampResponse(answer);
    if (!encoded) {
      return encoded.failure();
    }
    Result<TimeStampToken> token = TimeStampToken::read(*encoded);
    if (!token) {
      return token.failure();
    }
    if (!isAnswerTo(request, algorithm, imprint, token->info())) {
      return fail(TRUST_E_TIME_STAMP);
    }
    Result<CertificatePtr> authority = token->findAuthority();
    if (!authority) {
      return authority.failure();
    }
    ChainQuestion question;
    question.certificate = *authority;
    question.certificates = token->certificates();
    Result<VerdictPtr> verdict = trustAuthority(question);
    if (!verdict) {
      return verdict.failure();
    }
    return TimeStamp(
        std::move(answer), *std::move(token), *std::move(authority), *std::move(verdict));
  }

  std::string url_;
  std::chrono::milliseconds time_;
  HttpSettings settings_;
  HttpCredentials credentials_;
  KeptConnection connection_;  // an enhanced signature needs two stamps
};

}  // namespace

Result<std::unique_ptr<TimeStampService>> timeStampServiceAt(const std::string& url,
                                                             const Configuration& configuration) {
  const std::string& chosen = url.empty() ? configuration.tsp.defaultUrl : url;
  if (chosen.empty()) {
    QX_TRACE("there is no time-stamp server: tsp.default_url is not configured");
    return fail(ERROR_SERVICE_NOT_FOUND);
  }
  return std::unique_ptr<TimeStampService>(
      std::make_unique<HttpTimeStampService>(chosen, configuration));
}

}  // namespace qx
