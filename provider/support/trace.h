#ifndef QX_PROVIDER_SUPPORT_TRACE_H_
#define QX_PROVIDER_SUPPORT_TRACE_H_

#include <string>
#include <string_view>

#include "platform/support.h"

namespace qx {

/// The level of the provider's own lines.
inline constexpr unsigned kProviderTraceLevel = 4;

/// providerTrace is the provider's own context, "qxprovider"; null when tracing is off.
QX_TRACE_CONTEXT* providerTrace() noexcept;

/// escapeControls makes one line of a text: what a terminal or a log could take for a command (C0, C1,
/// DEL) and bytes that are not UTF-8 become \xNN, line ends \n and \r. A line end at the text's end,
/// LF or CR LF, is left out.
std::string escapeControls(std::string_view text);

}  // namespace qx

/// QX_TRACE(format, ...) writes one line of the provider's own; the arguments are evaluated only when
/// it is written. Never a secret among them.
// NOLINTBEGIN(cppcoreguidelines-macro-usage): the line, the function and lazy arguments need it
#define QX_TRACE(...)                                                        \
  do {                                                                       \
    QX_TRACE_CONTEXT* const qxTraceContext = qx::providerTrace();            \
    if (qxsup_trace_enabled(qxTraceContext, qx::kProviderTraceLevel) != 0) { \
      QX_TRACE_PRINT(qxTraceContext, __VA_ARGS__);                           \
    }                                                                        \
  } while (false)
#define QX_TRACE_PRINT(context, format, ...) \
  qxsup_trace_print(context,                 \
                    format,                  \
                    "",                      \
                    __LINE__,                \
                    static_cast<const char*>(__func__) __VA_OPT__(, ) __VA_ARGS__)

// NOLINTEND(cppcoreguidelines-macro-usage)

#endif
