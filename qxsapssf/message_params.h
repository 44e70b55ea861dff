#ifndef QX_QXSAPSSF_MESSAGE_PARAMS_H_
#define QX_QXSAPSSF_MESSAGE_PARAMS_H_

#include <source_location>

#include "platform/crypt_msg.h"

#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// readParam reads a parameter of a message into `bytes`: asks its size, allocates, reads. Every failure
/// is reported under `function` with the caller's line. Answers SSF_API_OK; `failure` when a call
/// fails or the size is more than the interface can tell; SSF_API_NO_MEMORY. On failure `bytes` is
/// empty.
SAPRETURN readParam(const char* function,
                    HCRYPTMSG message,
                    DWORD param,
                    DWORD index,
                    SAPRETURN failure,
                    OwnedBytes& bytes,
                    std::source_location where = std::source_location::current()) noexcept;

/// readSizedParam is readParam when the size is known already.
SAPRETURN readSizedParam(const char* function,
                         HCRYPTMSG message,
                         DWORD param,
                         DWORD index,
                         DWORD size,
                         SAPRETURN failure,
                         OwnedBytes& bytes,
                         std::source_location where = std::source_location::current()) noexcept;

/// fetchParam is readParam for those who tell failures themselves, or not at all: false, with the last
/// error of the failed call, and `bytes` empty.
bool fetchParam(HCRYPTMSG message, DWORD param, DWORD index, OwnedBytes& bytes) noexcept;

}  // namespace qx

#endif
