#ifndef QX_PLATFORM_STRINGS_H_
#define QX_PLATFORM_STRINGS_H_

/* Conversions between character sets, and between the two forms of time. */

#include "platform/types.h"

/* Code pages. CP_ACP, and the others that name no charset by themselves, mean UTF-8 here. */
#define CP_ACP 0u
#define CP_OEMCP 1u
#define CP_MACCP 2u
#define CP_THREAD_ACP 3u
#define CP_SYMBOL 42u
#define CP_UTF7 65000u
#define CP_UTF8 65001u

/* Flags of MultiByteToWideChar. */
#define MB_PRECOMPOSED 0x1u
#define MB_COMPOSITE 0x2u
#define MB_USEGLYPHCHARS 0x4u
#define MB_ERR_INVALID_CHARS 0x8u

/* Flags of WideCharToMultiByte. */
#define WC_DISCARDNS 0x10u
#define WC_SEPCHARS 0x20u
#define WC_DEFAULTCHAR 0x40u
#define WC_ERR_INVALID_CHARS 0x80u
#define WC_COMPOSITECHECK 0x200u
#define WC_NO_BEST_FIT_CHARS 0x400u

QX_PLATFORM_BEGIN

/** Converts bytes in a code page to wide characters of 32 bits.
 *
 * cbMultiByte counts bytes; -1 means up to and with the NUL, which is converted and counted. With an
 * explicit length no NUL is added. Returns the characters written, or with cchWideChar 0 the number
 * needed. 0 on failure: ERROR_INVALID_PARAMETER (length 0, no source, the same buffer twice, unknown
 * code page), ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_FLAGS, and with MB_ERR_INVALID_CHARS
 * ERROR_NO_UNICODE_TRANSLATION; without that flag a bad sequence becomes U+FFFD. */
QX_MUST_USE QX_PLATFORM_API int MultiByteToWideChar(UINT CodePage,
                                                    DWORD dwFlags,
                                                    LPCSTR lpMultiByteStr,
                                                    int cbMultiByte,
                                                    LPWSTR lpWideCharStr,
                                                    int cchWideChar);

/** Converts wide characters to bytes in a code page; the mirror of MultiByteToWideChar, with
 * WC_ERR_INVALID_CHARS. lpDefaultChar and lpUsedDefaultChar must be NULL. */
QX_MUST_USE QX_PLATFORM_API int WideCharToMultiByte(UINT CodePage,
                                                    DWORD dwFlags,
                                                    LPCWSTR lpWideCharStr,
                                                    int cchWideChar,
                                                    LPSTR lpMultiByteStr,
                                                    int cbMultiByte,
                                                    LPCSTR lpDefaultChar,
                                                    BOOL* lpUsedDefaultChar);

/** Fills the calendar form of a time, with the day of the week. FALSE: ERROR_INVALID_PARAMETER for
 * times of 2^63 and above. */
QX_MUST_USE QX_PLATFORM_API BOOL FileTimeToSystemTime(const FILETIME* lpFileTime,
                                                      SYSTEMTIME* lpSystemTime);

/** The reverse; wDayOfWeek is not read. FALSE: ERROR_INVALID_PARAMETER for a date that does not exist
 * or a year outside 1601 to 30827. */
QX_MUST_USE QX_PLATFORM_API BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime,
                                                      FILETIME* lpFileTime);

QX_PLATFORM_END

#endif
