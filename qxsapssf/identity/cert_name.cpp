#include "qxsapssf/identity/cert_name.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/strings.h"

#include "qxsapssf/encoding.h"

namespace qx {

DWORD localCertNameToStr(
    DWORD encodingType, CRYPT_INTEGER_BLOB* name, DWORD stringType, char* out, DWORD outSize) {
  const bool measures = out == nullptr || outSize == 0;
  std::vector<wchar_t> wide(measures ? 0 : outSize);
  wchar_t* buffer = measures ? nullptr : wide.data();
  const DWORD characters = CertNameToStrW(encodingType, name, stringType, buffer, outSize);
  if (characters == 0 || characters > INT32_MAX / sizeof(wchar_t)) {
    return 0;
  }
  const DWORD bound = characters * static_cast<DWORD>(sizeof(wchar_t));
  if (measures) {
    return bound;
  }
  std::vector<char> narrow(bound);
  const int bytes = WideCharToMultiByte(CP_ACP,
                                        /*dwFlags=*/0,
                                        buffer,
                                        /*cchWideChar=*/-1,
                                        narrow.data(),
                                        static_cast<int>(bound),
                                        nullptr,
                                        nullptr);
  if (bytes < 1 || static_cast<DWORD>(bytes) > outSize) {
    return 0;
  }
  std::memcpy(out, narrow.data(), static_cast<std::size_t>(bytes));
  return static_cast<DWORD>(bytes);
}

std::string certNameText(const CRYPT_INTEGER_BLOB& blob, DWORD stringType) {
  // The platform only reads the name; the published function has no const.
  CRYPT_INTEGER_BLOB name = blob;
  const DWORD size = localCertNameToStr(kEncoding, &name, stringType, nullptr, 0);
  if (size == 0) {
    return {};
  }
  std::string text(size, '\0');
  const DWORD written = localCertNameToStr(kEncoding, &name, stringType, text.data(), size);
  text.resize(written == 0 ? 0 : written - 1);
  return text;
}

}  // namespace qx
