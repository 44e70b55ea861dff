#include "tools/qxssf/doctor/store_view.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "platform/cert_store.h"
#include "platform/strings.h"

#include "tools/common/report.h"
#include "tools/common/times.h"
#include "tools/qxssf/doctor/setting.h"

namespace qx::ssf::doctor {
namespace {

constexpr std::size_t kTimeDigits = 14;
constexpr std::string_view kTimePlaceholder = "<TIME>";

std::wstring wide(const Library& library, const std::string& text) {
  auto* const convert = QX_SSF_FUNCTION(library, MultiByteToWideChar);
  const int length = convert(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
  std::wstring out(static_cast<std::size_t>(std::max(length, 1)), L'\0');
  static_cast<void>(convert(CP_ACP, 0, text.c_str(), -1, out.data(), length));
  out.pop_back();
  return out;
}

std::string narrow(const Library& library, const std::wstring& text) {
  auto* const convert = QX_SSF_FUNCTION(library, WideCharToMultiByte);
  const int length = convert(CP_ACP, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(std::max(length, 1)), '\0');
  static_cast<void>(convert(CP_ACP, 0, text.c_str(), -1, out.data(), length, nullptr, nullptr));
  out.pop_back();
  return out;
}

bool startsWithTime(const std::string& profile) {
  return profile.size() > kTimeDigits &&
         std::all_of(profile.begin(), profile.begin() + kTimeDigits, [](unsigned char c) {
           return std::isdigit(c) != 0;
         });
}

// The parts of a name, without blanks around them or around their first "=". Commas in quotes part nothing.
std::vector<std::string> partsOf(const std::string& name) {
  std::vector<std::string> parts(1);
  bool quotedText = false;
  for (const char c : name) {
    quotedText = quotedText != (c == '"');
    const bool isLeading = c == ' ' && (parts.back().empty() || parts.back().ends_with('='));
    if (c == ',' && !quotedText) {
      parts.emplace_back();
    } else if (c != '"' && !isLeading) {
      parts.back() += c;
    }
  }
  for (std::string& part : parts) {
    part.erase(part.find_last_not_of(' ') + 1);
  }
  std::erase(parts, "");
  return parts;
}

// The digits of a thumbprint; empty when the identity is none.
std::string digitsOf(const std::string& identity) {
  std::string digits;
  for (const char c : identity) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isxdigit(byte) != 0) {
      digits += static_cast<char>(std::tolower(byte));
    } else if (std::isspace(byte) == 0) {
      return "";
    }
  }
  return digits;
}

}  // namespace

std::string StoreName::option() const {
  return "--store " + quoted(name) + (machine ? " --machine" : "");
}

StoreName storeOfProfile(const std::string& profile) {
  if (profile.empty()) {
    return {.name = "My"};
  }
  if (profile.front() == 'm' || profile.front() == 'u') {
    return {.machine = profile.front() == 'm', .name = profile.substr(1)};
  }
  if (profile.starts_with(kTimePlaceholder)) {
    return {.name = profile.substr(kTimePlaceholder.size())};
  }
  return {.name = startsWithTime(profile) ? profile.substr(kTimeDigits) : profile};
}

std::optional<std::vector<CertificatePtr>> certificatesIn(const Library& library,
                                                          const StoreName& store) {
  const DWORD location =
      store.machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
  HCERTSTORE handle = QX_SSF_FUNCTION(library, CertOpenStore)(
      CERT_STORE_PROV_SYSTEM_W,
      /*dwEncodingType=*/0,
      /*hCryptProv=*/0,
      location | CERT_STORE_OPEN_EXISTING_FLAG | CERT_STORE_READONLY_FLAG,
      wide(library, store.name).c_str());
  if (handle == nullptr) {
    return std::nullopt;
  }
  std::vector<CertificatePtr> certificates;
  auto* const next = QX_SSF_FUNCTION(library, CertEnumCertificatesInStore);
  auto* const duplicate = QX_SSF_FUNCTION(library, CertDuplicateCertificateContext);
  auto* const release = QX_SSF_FUNCTION(library, CertFreeCertificateContext);
  for (PCCERT_CONTEXT one = next(handle, nullptr); one != nullptr; one = next(handle, one)) {
    certificates.emplace_back(duplicate(one), release);
  }
  QX_SSF_FUNCTION(library, CertCloseStore)(handle, /*dwFlags=*/0);
  return certificates;
}

std::string nameText(const Library& library, const CERT_NAME_BLOB& name) {
  auto* const render = QX_SSF_FUNCTION(library, CertNameToStrW);
  CERT_NAME_BLOB blob = name;
  const DWORD form = CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
  const DWORD length = render(X509_ASN_ENCODING, &blob, form, nullptr, 0);
  std::wstring text(length, L'\0');
  static_cast<void>(render(X509_ASN_ENCODING, &blob, form, text.data(), length));
  return narrow(library, text);
}

std::string thumbprintOf(const Library& library, const CERT_CONTEXT& certificate) {
  std::array<std::uint8_t, 20> hash{};
  DWORD length = hash.size();
  const BOOL read = QX_SSF_FUNCTION(library, CertGetCertificateContextProperty)(
      &certificate, CERT_SHA1_HASH_PROP_ID, hash.data(), &length);
  return read == FALSE ? "" : tools::hex(hash);
}

std::uint64_t ticksOf(const FILETIME& time) {
  return tools::ticksOf(time.dwHighDateTime, time.dwLowDateTime);
}

bool isNamedBy(const std::string& identity,
               const std::string& subject,
               const std::string& thumbprint) {
  if (const std::string digits = digitsOf(identity); !digits.empty()) {
    return digits == thumbprint;
  }
  const std::vector<std::string> has = partsOf(subject);
  const std::vector<std::string> wanted = partsOf(identity);
  return !wanted.empty() && std::ranges::all_of(wanted, [&has](const std::string& part) {
    return std::ranges::find(has, part) != has.end();
  });
}

}  // namespace qx::ssf::doctor
