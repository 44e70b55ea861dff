#ifndef QX_TESTS_SOAK_SERVICE_PROCESS_H_
#define QX_TESTS_SOAK_SERVICE_PROCESS_H_

#include <sys/types.h>

#include <memory>
#include <string>

#include "tools/lab/ocsp.h"
#include "tools/lab/pki.h"
#include "tools/lab/time_stamp.h"

namespace qx::soak {

/// In whose names is answered.
struct Answerers {
  std::shared_ptr<const lab::TimeStampAuthority> stamps;
  std::shared_ptr<const lab::OcspResponder> responder;
  /// Whose certificates the responder knows; borrowed.
  X509* issuer = nullptr;
};

/// ServiceProcess answers on loopback, from a process of its own: neither its memory nor its locks are
/// those of the processes that are watched. Of certificates it always tells, but of the time it makes
/// stamps three quarters of the time only: in between it fails, answers wrongly, does not answer, or
/// nobody listens.
class ServiceProcess {
 public:
  /// Forks, so it has to be made before this process has a second thread. Throws std::runtime_error
  /// when it does not begin to answer.
  explicit ServiceProcess(const Answerers& answerers);
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;
  ServiceProcess(ServiceProcess&&) = delete;
  ServiceProcess& operator=(ServiceProcess&&) = delete;

  const std::string& ocspUrl() const { return ocspUrl_; }

  const std::string& stampUrl() const { return stampUrl_; }

 private:
  pid_t process_ = -1;
  std::string ocspUrl_;
  std::string stampUrl_;
};

}  // namespace qx::soak

#endif
