#ifndef QX_PROVIDER_KEY_HELPER_PROGRAM_H_
#define QX_PROVIDER_KEY_HELPER_PROGRAM_H_

#include <sys/types.h>

#include <string>

#include "provider/support/files.h"

namespace qx {

/// HelperProgram is a program that runs beside us, its standard input and output one socket to us. It
/// inherits nothing else: no descriptor, no blocked signal. When the object dies, the program gets the
/// end of its input, half a second to leave, and SIGKILL; it is gone then.
class HelperProgram {
 public:
  HelperProgram() = default;
  ~HelperProgram();
  HelperProgram(const HelperProgram&) = delete;
  HelperProgram& operator=(const HelperProgram&) = delete;
  HelperProgram(HelperProgram&&) = delete;
  HelperProgram& operator=(HelperProgram&&) = delete;

  /// start runs the program at an absolute path, without arguments and without a shell.
  bool start(const std::string& program);

  /// socket is our end, borrowed.
  int socket() const { return socket_.get(); }

 private:
  Fd socket_;
  Fd handle_;
  pid_t child_ = -1;
};

}  // namespace qx

#endif
