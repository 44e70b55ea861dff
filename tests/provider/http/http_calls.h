#ifndef QX_TESTS_PROVIDER_HTTP_HTTP_CALLS_H_
#define QX_TESTS_PROVIDER_HTTP_HTTP_CALLS_H_

#include <chrono>
#include <string>

#include "provider/http/client.h"

namespace qx::test {

/// Long enough for every answer that comes; short for those that never do.
inline constexpr std::chrono::milliseconds kPatience{30'000};
inline constexpr HttpLimits kAmple{.time = kPatience, .bytes = 1'000'000};
inline constexpr HttpLimits kShortly{.time = std::chrono::milliseconds(150), .bytes = 1'000'000};

/// failed is what ask answers for an error.
inline std::string failed(DWORD code) {
  return "error " + std::to_string(code);
}

/// ask is the answer's body as text, or the error.
inline std::string ask(const HttpRequest& request,
                       const HttpLimits& limits = kAmple,
                       const HttpSettings& settings = {}) {
  const Result<std::vector<std::uint8_t>> body = exchange(request, limits, settings);
  return body ? std::string(body->begin(), body->end()) : failed(body.error());
}

inline std::string get(const std::string& url, const HttpLimits& limits = kAmple) {
  return ask({.url = url}, limits);
}

/// counting is work that counts how often it is done, and ends so.
inline Meanwhile counting(int& count, Result<void> result = {}) {
  return [&count, result] {
    ++count;
    return result;
  };
}

}  // namespace qx::test

#endif
