#include "provider/support/trace_sink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace qx {
namespace {

Fd openTraceFile(const std::string& path) {
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  Fd file(open(path.c_str(), kFlags, S_IRUSR | S_IWUSR));
  struct stat status{};
  const bool good = file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
  // Lines name people and their certificates: a file of ours that others may read is closed to them.
  if (good && status.st_uid == geteuid()) {
    static_cast<void>(fchmod(file.get(), S_IRUSR | S_IWUSR));
  }
  return good ? std::move(file) : Fd();
}

}  // namespace

TraceSink::TraceSink(const Configuration& configuration) : output_(configuration.trace.output) {
  if (output_ == TraceOutput::File) {
    file_ = openTraceFile(configuration.trace.file);
    if (!file_) {
      output_ = TraceOutput::None;
    }
  }
}

void TraceSink::write(const std::string& line) const {
  if (output_ == TraceOutput::Syslog) {
    syslog(LOG_USER | LOG_INFO, "%.*s", static_cast<int>(line.size() - 1), line.c_str());
    return;
  }
  const int fd = output_ == TraceOutput::File ? file_.get() : STDERR_FILENO;
  // One write keeps a line whole among those of other threads and processes.
  if (::write(fd, line.data(), line.size()) < 0) {
    return;
  }
}

}  // namespace qx
