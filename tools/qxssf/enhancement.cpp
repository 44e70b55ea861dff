#include "tools/qxssf/enhancement.h"

#include <algorithm>

#include "platform/errors.h"

#include "tools/common/error.h"
#include "tools/common/report.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {
namespace {

struct Reason {
  DWORD error;
  const char* words;
};

constexpr const char* kUnreachable = "the time-stamp server cannot be reached";
constexpr const char* kNotUsable = "the time-stamp server gave no answer that can be used";
constexpr const char* kUnknown = "it cannot be found out whether a certificate is revoked";

constexpr Reason kReasons[] = {
    {ERROR_SERVICE_NOT_FOUND,
     "no time-stamp server is configured (tsp.default_url in provider.conf)"},
    {ERROR_WINHTTP_INVALID_URL, "the time-stamp server's address is none"},
    {ERROR_CONNECTION_REFUSED, kUnreachable},
    {ERROR_HOST_UNREACHABLE, kUnreachable},
    {ERROR_WINHTTP_NAME_NOT_RESOLVED, kUnreachable},
    {ERROR_WINHTTP_CONNECTION_ERROR, kUnreachable},
    {ERROR_TIMEOUT, "the time-stamp server did not answer in time"},
    {ERROR_WINHTTP_SECURE_FAILURE, "the time-stamp server's own certificate is not good"},
    {ERROR_WINHTTP_LOGIN_FAILURE, "the time-stamp server does not let us in"},
    {ERROR_REQUEST_REFUSED, "the time-stamp server refused the request"},
    {ERROR_WINHTTP_INVALID_SERVER_RESPONSE, kNotUsable},
    {ERROR_WINHTTP_REDIRECT_FAILED, kNotUsable},
    {ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW, kNotUsable},
    {TRUST_E_TIME_STAMP, "the time stamp is not what was asked for"},
    {CRYPT_E_NO_REVOCATION_CHECK, kUnknown},
    {CRYPT_E_REVOCATION_OFFLINE, kUnknown},
    {CRYPT_E_REVOKED, "a certificate is revoked"},
    {CERT_E_EXPIRED, "a certificate is out of its time"},
    {CERT_E_CHAINING, "a certificate is not trusted"},
    {CERT_E_UNTRUSTEDROOT, "a certificate is not trusted"},
};

}  // namespace

std::string enhancementWords(std::uint32_t error) {
  const auto* const row = std::ranges::find(kReasons, error, &Reason::error);
  if (row != std::end(kReasons)) {
    return row->words;
  }
  return "no time stamp could be had (" + tools::errorNumber(error) + ")";
}

void refuseEnhancement(const Library& library, const std::string& start) {
  const DWORD error = QX_SSF_FUNCTION(library, GetLastError)();
  throw tools::ToolError(tools::ExitCode::Service, start + enhancementWords(error));
}

}  // namespace qx::ssf
