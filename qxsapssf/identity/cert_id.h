#ifndef QX_QXSAPSSF_IDENTITY_CERT_ID_H_
#define QX_QXSAPSSF_IDENTITY_CERT_ID_H_

#include <cstdint>
#include <string_view>

#include "platform/types.h"

#include "qxsapssf/owned_bytes.h"

namespace qx {

/// isHexString says whether the first `length` characters are hexadecimal digits and white space only;
/// true for a length of 0 or less. Such an identity is a thumbprint, any other a distinguished name.
bool isHexString(const char* text, std::int32_t length) noexcept;

/// readFromHexString reads pairs of hexadecimal digits with white space before and between them. With
/// `out` NULL it only counts. `count` is written only when every character was read: a stray
/// character or an odd digit leaves it alone. `text` must end in a NUL behind its `length`
/// characters, for the second digit of the last pair is looked for there.
void readFromHexString(const char* text, std::int32_t length, BYTE* out, DWORD& count) noexcept;

/// parse_CertHashID reads a thumbprint into `hash`. One without bytes, by a stray character or an odd
/// digit too, leaves `hash` alone: empty, it is the thumbprint of no certificate. False only when there
/// is no memory.
bool parse_CertHashID(const char* text, std::int32_t length, OwnedBytes& hash) noexcept;

/// isBlank says whether an identity consists of spaces only. Other white space is not blank.
inline bool isBlank(std::string_view identity) noexcept {
  return identity.find_first_not_of(' ') == std::string_view::npos;
}

/// isTime says whether a text begins with the 14 digits of a date and time.
bool isTime(const char* text) noexcept;

}  // namespace qx

#endif
