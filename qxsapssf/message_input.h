#ifndef QX_QXSAPSSF_MESSAGE_INPUT_H_
#define QX_QXSAPSSF_MESSAGE_INPUT_H_

#include <source_location>

#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// openDecoder opens a message of any type to be decoded. `flags` is 0 or CMSG_DETACHED_FLAG. What was
/// in `message` is closed first. A failure is reported under `function` with the caller's line.
bool openDecoder(const char* function,
                 DWORD flags,
                 Message& message,
                 std::source_location where = std::source_location::current()) noexcept;

/// feedMessage gives an encoder all of its content, or a decoder all bytes of a message or of its detached
/// content; the handle reads them until it is closed. A failure is reported under `function` with the caller's line.
bool feedMessage(const char* function,
                 const Message& message,
                 const SAP_B8* bytes,
                 SsfOctetlen length,
                 std::source_location where = std::source_location::current()) noexcept;

}  // namespace qx

#endif
