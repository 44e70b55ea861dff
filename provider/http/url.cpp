#include "provider/http/url.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace qx {
namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;
constexpr std::size_t kMaxHostLength = 253;
constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(
      lower, lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

bool isAll(std::string_view text, std::string_view allowed) {
  return text.find_first_not_of(allowed) == std::string_view::npos;
}

bool isName(std::string_view host) {
  return isAll(host, "abcdefghijklmnopqrstuvwxyz0123456789-._");
}

bool isIpv6(std::string_view host) {
  return isAll(host, "abcdef0123456789:.");
}

std::optional<std::uint16_t> readPort(std::string_view digits) {
  std::uint16_t port = 0;
  const auto [stop, error] = std::from_chars(digits.begin(), digits.end(), port);
  return error == std::errc() && stop == digits.end() && port != 0 ? std::optional(port)
                                                                   : std::nullopt;
}

// "host", "host:port", "[address]", "[address]:port"
bool readAuthority(std::string_view text, Url& url) {
  const bool bracketed = text.starts_with('[');
  const std::size_t end = bracketed ? text.find(']') : text.find(':');
  if (bracketed && end == std::string_view::npos) {
    return false;
  }
  url.host = lowerCase(bracketed ? text.substr(1, end - 1) : text.substr(0, end));
  const std::string_view rest = text.substr(std::min(text.size(), bracketed ? end + 1 : end));
  if (!rest.empty()) {
    const std::optional<std::uint16_t> port = readPort(rest.substr(1));
    if (!rest.starts_with(':') || !port) {
      return false;
    }
    url.port = *port;
  }
  return !url.host.empty() && url.host.size() <= kMaxHostLength &&
         (bracketed ? isIpv6(url.host) : isName(url.host));
}

std::string bracketed(const std::string& host) {
  const bool isAddress = host.find(':') != std::string::npos;
  return isAddress ? "[" + host + "]" : host;
}

bool isPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

}  // namespace

std::string Url::authority() const {
  const bool usual = port == (secure ? kHttpsPort : kHttpPort);
  return usual ? bracketed(host) : hostAndPort();
}

std::string Url::hostAndPort() const {
  return bracketed(host) + ":" + std::to_string(port);
}

std::string Url::shown() const {
  const std::string_view scheme = secure ? kHttps : kHttp;
  return std::string(scheme) + authority() + target.substr(0, target.find('?'));
}

Result<Url> parseUrl(std::string_view text) {
  const std::string scheme = lowerCase(text.substr(0, kHttps.size()));
  Url url{.secure = scheme == kHttps};
  if (text.size() > kMaxUrlLength || !isPrintable(text) ||
      (!url.secure && !scheme.starts_with(kHttp))) {
    return fail(ERROR_WINHTTP_INVALID_URL);
  }
  url.port = url.secure ? kHttpsPort : kHttpPort;
  text.remove_prefix(url.secure ? kHttps.size() : kHttp.size());
  text = text.substr(0, text.find('#'));
  const std::size_t end = std::min(text.find_first_of("/?"), text.size());
  if (!readAuthority(text.substr(0, end), url)) {
    return fail(ERROR_WINHTTP_INVALID_URL);
  }
  const std::string_view target = text.substr(end);
  url.target = (target.starts_with('/') ? "" : "/") + std::string(target);
  return url;
}

Result<Url> redirectedUrl(const Url& from, std::string_view location) {
  // A path alone stays at the server; other relative forms are too rare to be worth a resolver.
  const bool isPath = location.starts_with('/') && !location.starts_with("//");
  const std::string_view scheme = from.secure ? kHttps : kHttp;
  Result<Url> to = isPath ? parseUrl(std::string(scheme) + from.authority() + std::string(location))
                          : parseUrl(location);
  if (!to || to->host != from.host || (from.secure && !to->secure)) {
    return fail(ERROR_WINHTTP_REDIRECT_FAILED);
  }
  return to;
}

}  // namespace qx
