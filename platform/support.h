#ifndef QX_PLATFORM_SUPPORT_H_
#define QX_PLATFORM_SUPPORT_H_

/* Tracing and charset conversions. None of these functions changes the last error. */

#include "platform/types.h"

QX_PLATFORM_BEGIN

/** One component's trace. The first byte is the mask of the levels that are on; what follows it
 * belongs to the provider. The levels are the bits 1, 2, 4 and 8; the SSF library writes everything
 * at level 8 and tells severities apart in the text. */
typedef struct QX_TRACE_CONTEXT {
  uint8_t bLevelMask;
} QX_TRACE_CONTEXT;

QX_PIN(QX_TRACE_CONTEXT, bLevelMask, 0);

/** Makes a trace context under a name (which every line shows) and stores it in *context; NULL when
 * tracing is off or memory is short, and NULL is a context that all functions accept. */
QX_PLATFORM_API void qxsup_trace_register(const char* name, QX_TRACE_CONTEXT** context);

/** Removes a context and sets *context to NULL. */
QX_PLATFORM_API void qxsup_trace_unregister(QX_TRACE_CONTEXT** context);

/** Non-zero when lines of this level (one bit) are written. */
QX_PLATFORM_API int qxsup_trace_enabled(const QX_TRACE_CONTEXT* context, unsigned level);

/** Writes one line: time, process, thread, name, function and source line, then the text that format
 * and the arguments give. The format is printf's and usually ends in a newline; control characters
 * in the arguments come out escaped, so that one call is one line. file may be empty. The caller has
 * asked qxsup_trace_enabled before. */
QX_PLATFORM_API __attribute__((format(printf, 2, 6))) void qxsup_trace_print(
    QX_TRACE_CONTEXT* context,
    const char* format,
    const char* file,
    int line,
    const char* function,
    ...);

/** Converts a NUL-terminated Windows-1251 string to UTF-16LE. capacity counts 16-bit units, the NUL
 * among them. Returns the units written without the NUL; with out NULL the units needed with the
 * NUL; 0 when the conversion failed or the buffer is too small. */
QX_PLATFORM_API size_t qxsup_cp1251_to_utf16le(const char* text, uint16_t* out, size_t capacity);

/** Converts length units of UTF-16LE to a charset that iconv knows by name. capacity counts bytes,
 * the NUL among them. Returns the bytes written without the NUL; with out NULL the bytes needed with
 * the NUL; 0 when the conversion failed or the buffer is too small. */
QX_PLATFORM_API size_t qxsup_utf16le_to_charset(
    const uint16_t* text, size_t length, const char* charset, char* out, size_t capacity);

/** mbsrtowcs of the C library, made safe: what it stores always ends in NUL, also when the text did
 * not fit (*text then stands at the rest, else it is NULL); a NULL state is a fresh one; with out NULL
 * nothing is stored, *text stays, and the characters needed are counted. capacity counts wide
 * characters, the NUL among them; results do not count it. (size_t)-1 for a sequence that the locale
 * cannot convert. */
QX_PLATFORM_API size_t qxsup_mbsrtowcs(wchar_t* out,
                                       const char** text,
                                       size_t capacity,
                                       mbstate_t* state);

QX_PLATFORM_END

#endif
