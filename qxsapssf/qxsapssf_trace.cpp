#include "platform/support.h"

#include "qxsapssf/ssf.h"

// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): exported, written by the host or at load
unsigned char RusCodePage = 0;
int32_t NoRev = 0;
QX_TRACE_CONTEXT* qxsapssf_db_ctx = nullptr;

// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

namespace qx {
namespace {

/// The trace context lives as long as the library is loaded.
class TraceRegistration {
 public:
  TraceRegistration() noexcept { qxsup_trace_register("qxsapssf", &qxsapssf_db_ctx); }

  TraceRegistration(const TraceRegistration&) = delete;
  TraceRegistration& operator=(const TraceRegistration&) = delete;
  TraceRegistration(TraceRegistration&&) = delete;
  TraceRegistration& operator=(TraceRegistration&&) = delete;

  ~TraceRegistration() { qxsup_trace_unregister(&qxsapssf_db_ctx); }
};

const TraceRegistration kTraceRegistration;

}  // namespace
}  // namespace qx
