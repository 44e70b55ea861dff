#include "qxsapssf/ssfxxmain_format.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "qxsapssf/trace.h"

namespace qx {
namespace {

struct Format {
  std::string_view name;
  unsigned char isCades;
};

constexpr std::array<Format, 4> kFormats = {
    {{"CADES", 1}, {"PKCS7", 0}, {"PKCS7_CADES", 1}, {"PKCS7_ANY", 0}}};

constexpr int kMaxNameLength = 256;

}  // namespace

SAPRETURN check_ssf_format(const char* name, int nameLength, unsigned char* isCades) noexcept {
  *isCades = 0;
  if (nameLength < 1 || nameLength > kMaxNameLength) {
    QX_TRACE("check_ssf_format", "#warn# Invalid format name lnegth (%d)\n", nameLength);
    return SSF_API_INVALID_FORMAT;
  }
  const std::string_view wanted =
      name == nullptr ? std::string_view()
                      : std::string_view(name, static_cast<std::size_t>(nameLength));
  const auto* format = std::ranges::find(kFormats, wanted, &Format::name);
  if (format == kFormats.end()) {
    QX_TRACE("check_ssf_format",
             "#warn# Unknown format name ('%s').\n",
             TraceText(name, nameLength).c_str());
    return SSF_API_INVALID_FORMAT;
  }
  *isCades = format->isCades;
  return SSF_API_OK;
}

SAPRETURN checkFormat(const SAP_B8* name, SsfOctetlen nameLength) noexcept {
  unsigned char isCades = 0;
  return check_ssf_format(reinterpret_cast<const char*>(name), nameLength, &isCades);
}

SAPRETURN acceptFormat(const char* function,
                       const SAP_B8* name,
                       SsfOctetlen nameLength,
                       bool& isCades) noexcept {
  if (nameLength > 0) {
    QX_TRACE(function, "#info# SSFformat name ('%s').\n", TraceText(name, nameLength).c_str());
  }
  unsigned char flag = 0;
  const SAPRETURN code = check_ssf_format(reinterpret_cast<const char*>(name), nameLength, &flag);
  if (code != SSF_API_OK) {
    return code;
  }
  isCades = flag != 0;
  QX_TRACE(function, "#info#: accept isCades='%d' \n", flag);
  return SSF_API_OK;
}

bool isNameOrPrefix(const SAP_B8* name, SsfOctetlen nameLength, std::string_view full) noexcept {
  const std::size_t compared = std::min(static_cast<std::size_t>(nameLength), full.size() + 1);
  return compared == 0 || std::memcmp(name, full.data(), compared) == 0;
}

}  // namespace qx
