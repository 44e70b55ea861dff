#ifndef QX_QXSAPSSF_TRACE_H_
#define QX_QXSAPSSF_TRACE_H_

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/support.h"

#include "qxsapssf/ssf.h"

namespace qx {

/// The one level of the library. A line's severity is part of its text.
inline constexpr unsigned kLibraryTraceLevel = 8;

inline bool isTraceOn() {
  return qxsapssf_db_ctx != nullptr && (qxsapssf_db_ctx->bLevelMask & kLibraryTraceLevel) != 0 &&
         qxsup_trace_enabled(qxsapssf_db_ctx, kLibraryTraceLevel) != 0;
}

/// TraceText makes counted bytes of a caller fit for "%s": at most 256 bytes, up to the first NUL. Used
/// as a macro argument it costs nothing while tracing is off. It lives until the end of its statement.
class TraceText {
 public:
  TraceText(const void* bytes, SsfOctetlen length) {
    if (bytes != nullptr && length > 0) {
      std::memcpy(
          text_.data(), bytes, std::min<std::size_t>(static_cast<std::size_t>(length), kLimit));
    }
  }

  const char* c_str() const { return text_.data(); }

 private:
  static constexpr std::size_t kLimit = 256;
  std::array<char, kLimit + 1> text_{};
};

}  // namespace qx

// NOLINTBEGIN(cppcoreguidelines-macro-usage): a function would evaluate its arguments
/// QX_TRACE(function, format, ...) writes one line under the name of the operation, which need not be
/// the C++ function that runs. The arguments are evaluated only when the line is written.
#define QX_TRACE(function, format, ...) \
  QX_TRACE_AT(__LINE__, function, format __VA_OPT__(, ) __VA_ARGS__)

/// The same for a line that tells another source line than its own.
#define QX_TRACE_AT(line, function, format, ...)                                                  \
  (qx::isTraceOn() ? static_cast<void>(qxsup_trace_print(                                         \
                         qxsapssf_db_ctx, format, "", line, function __VA_OPT__(, ) __VA_ARGS__)) \
                   : static_cast<void>(0))
// NOLINTEND(cppcoreguidelines-macro-usage)

#endif
