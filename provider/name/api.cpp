#include "provider/api.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>

#include "platform/cert.h"
#include "platform/errors.h"

#include "provider/name/text_cache.h"

namespace {

using qx::fail;
using qx::Result;

using Text = std::shared_ptr<const std::wstring>;

Result<Text> render(DWORD encodingType, const CERT_NAME_BLOB* name, DWORD stringType) {
  if ((encodingType & CERT_ENCODING_TYPE_MASK) != X509_ASN_ENCODING) {
    return fail(ERROR_FILE_NOT_FOUND);
  }
  if (name == nullptr || (name->pbData == nullptr && name->cbData != 0)) {
    return fail(E_INVALIDARG);
  }
  Result<Text> text = qx::cachedNameText({name->pbData, name->cbData}, stringType);
  if (text && (*text)->size() >= std::numeric_limits<DWORD>::max()) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  return text;
}

// Copies what fits, with a NUL in any case.
DWORD deliver(std::wstring_view text, LPWSTR out, DWORD capacity) {
  const auto needed = static_cast<DWORD>(text.size() + 1);
  if (out == nullptr || capacity == 0) {
    return needed;
  }
  const DWORD given = std::min(needed, capacity);
  text.copy(out, given - 1);
  out[given - 1] = L'\0';
  return given;
}

}  // namespace

DWORD CertNameToStrW(
    DWORD dwCertEncodingType, PCERT_NAME_BLOB pName, DWORD dwStrType, LPWSTR psz, DWORD csz) {
  const Result<Text> text =
      qx::guarded([&] { return render(dwCertEncodingType, pName, dwStrType); });
  SetLastError(text.error());
  return deliver(text ? std::wstring_view(**text) : std::wstring_view(), psz, csz);
}
