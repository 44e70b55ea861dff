#ifndef QX_QXSAPSSF_QXSAPSSF_ERRORS_H_
#define QX_QXSAPSSF_QXSAPSSF_ERRORS_H_

#include <source_location>

#include "platform/errors.h"

#include "qxsapssf/ssf.h"

namespace qx {

/// Codes of the library's own messages carry the customer bit above the message number.
inline constexpr DWORD kCustomerBit = 0x20000000;
inline constexpr DWORD kNoMemoryMessage = kCustomerBit | 100;
inline constexpr DWORD kInternalMessage = kCustomerBit | 112;
inline constexpr DWORD kBadSignatureAlgorithmMessage = kCustomerBit | 502;
inline constexpr DWORD kNoSignatureMessage = kCustomerBit | 504;

/// The code that asks ErrorHandleEx for the thread's last error.
inline constexpr DWORD kLastErrorCode = 0xFFFFFFFF;

inline constexpr const char* kMainUnit = "ssfxxmain";
inline constexpr const char* kLibraryUnit = "qxsapssf";

/// ErrorHandleEx prints the message of a code: of the last error for kLastErrorCode, else of the
/// library's own message, with `text` where its row takes one. Returns the code that it handled, 0 when
/// there was no error, and kNoMemoryMessage or kInternalMessage when it could not do its work. A number
/// without a message is an internal error to the reader. unit and line name the caller.
DWORD ErrorHandleEx(const char* unit, int line, DWORD code, const char* text) noexcept;

/// The same for the rows that take a number; kLastErrorCode has no meaning here.
DWORD ErrorHandleEx(const char* unit, int line, DWORD code, int number) noexcept;

/// reportFailedCall reports a platform call that has just failed: the line "#error#: %08x\n" with the
/// last error under the name of the operation, then ErrorHandleEx, both with the caller's line. Call it
/// before anything that might change the last error.
void reportFailedCall(const char* function,
                      std::source_location where = std::source_location::current()) noexcept;

/// failedCall is reportFailedCall for `return failedCall(kName, SSF_API_ENCODE_ERROR);`.
SAPRETURN failedCall(const char* function,
                     SAPRETURN code,
                     std::source_location where = std::source_location::current()) noexcept;

}  // namespace qx

#endif
