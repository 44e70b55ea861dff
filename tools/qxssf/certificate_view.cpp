#include "tools/qxssf/certificate_view.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>

#include "platform/cert.h"

#include "tools/common/report.h"

namespace qx::ssf {
namespace {

// FILETIME counts 100 ns from 1601-01-01; this is 1970-01-01.
constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;
constexpr std::uint64_t kTicksPerSecond = 10'000'000;

std::string isoTime(const FILETIME& time) {
  const std::uint64_t ticks = (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
  const auto seconds = static_cast<std::int64_t>(ticks / kTicksPerSecond) -
                       static_cast<std::int64_t>(kUnixEpoch / kTicksPerSecond);
  const std::chrono::sys_seconds point{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(point);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(point - day);
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(),
                                  text.size(),
                                  "%04d-%02u-%02uT%02ld:%02ld:%02ldZ",
                                  static_cast<int>(date.year()),
                                  static_cast<unsigned>(date.month()),
                                  static_cast<unsigned>(date.day()),
                                  clock.hours().count(),
                                  clock.minutes().count(),
                                  clock.seconds().count()));
  return text.data();
}

}  // namespace

std::optional<CertificateView> viewCertificate(const Library& library,
                                               std::span<const std::uint8_t> der) {
  const std::unique_ptr<const CERT_CONTEXT, decltype(&CertFreeCertificateContext)> context(
      QX_SSF_FUNCTION(library, CertCreateCertificateContext)(
          X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())),
      QX_SSF_FUNCTION(library, CertFreeCertificateContext));
  std::array<std::uint8_t, 20> hash{};
  DWORD length = hash.size();
  if (context == nullptr ||
      QX_SSF_FUNCTION(library, CertGetCertificateContextProperty)(
          context.get(), CERT_SHA1_HASH_PROP_ID, hash.data(), &length) == FALSE) {
    return std::nullopt;
  }
  return CertificateView{.thumbprint = tools::hex(hash),
                         .notBefore = isoTime(context->pCertInfo->NotBefore),
                         .notAfter = isoTime(context->pCertInfo->NotAfter)};
}

}  // namespace qx::ssf
