#include "tools/lab/error.h"

#include <stdexcept>

#include <openssl/err.h>

namespace qx::lab {

void throwError(const std::string& what) {
  const unsigned long error = ERR_peek_last_error();
  const char* reason = error == 0 ? nullptr : ERR_reason_error_string(error);
  ERR_clear_error();
  throw std::runtime_error(reason == nullptr ? what : what + ": " + reason);
}

}  // namespace qx::lab
