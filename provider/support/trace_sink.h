#ifndef QX_PROVIDER_SUPPORT_TRACE_SINK_H_
#define QX_PROVIDER_SUPPORT_TRACE_SINK_H_

#include <string>

#include "provider/support/config.h"
#include "provider/support/files.h"

namespace qx {

/// TraceSink is where trace lines end up. Each line is one write; lines of several processes may stand
/// in one file. Lines that cannot be written are lost without a word.
class TraceSink {
 public:
  /// Opens what is configured. A file is made with mode 0600; one that is there must be a regular file,
  /// not a link, and is appended to.
  explicit TraceSink(const Configuration& configuration);

  bool isOpen() const { return output_ != TraceOutput::None; }

  /// `line` ends in a newline.
  void write(const std::string& line) const;

 private:
  TraceOutput output_;
  Fd file_;
};

}  // namespace qx

#endif
