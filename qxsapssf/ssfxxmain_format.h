#ifndef QX_QXSAPSSF_SSFXXMAIN_FORMAT_H_
#define QX_QXSAPSSF_SSFXXMAIN_FORMAT_H_

#include <string_view>

#include "qxsapssf/ssf.h"

namespace qx {

/// check_ssf_format answers 0 when `name` is a format name, else 2, after a warning in the trace. It
/// sets *isCades to 1 for the formats that are CAdES, else to 0.
SAPRETURN check_ssf_format(const char* name, int nameLength, unsigned char* isCades) noexcept;

/// checkFormat is check_ssf_format for the operations that make no difference between the formats.
SAPRETURN checkFormat(const SAP_B8* name, SsfOctetlen nameLength) noexcept;

/// acceptFormat is check_ssf_format for the operations on signed messages, which tell the name that they
/// are given and what they make of it.
SAPRETURN acceptFormat(const char* function,
                       const SAP_B8* name,
                       SsfOctetlen nameLength,
                       bool& isCades) noexcept;

/// isNameOrPrefix tells whether the first nameLength bytes of `name` are those of `full` with its NUL,
/// as far as that goes: shortened names match, longer ones only when a NUL follows the name. `full` is
/// a string literal; `name` must not be NULL unless nameLength is 0.
bool isNameOrPrefix(const SAP_B8* name, SsfOctetlen nameLength, std::string_view full) noexcept;

}  // namespace qx

#endif
