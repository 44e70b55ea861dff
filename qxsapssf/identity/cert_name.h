#ifndef QX_QXSAPSSF_IDENTITY_CERT_NAME_H_
#define QX_QXSAPSSF_IDENTITY_CERT_NAME_H_

#include <string>

#include "platform/cert.h"

namespace qx {

/// localCertNameToStr renders a name as narrow text. With a buffer: the bytes written, the NUL
/// included; 0 when the name cannot be rendered or the text needs more than `outSize` bytes. With
/// `out` NULL or `outSize` 0: an upper bound of the bytes needed, 0 on failure.
DWORD localCertNameToStr(
    DWORD encodingType, CRYPT_INTEGER_BLOB* name, DWORD stringType, char* out, DWORD outSize);

/// certNameText renders the name in `blob` with localCertNameToStr into a zero-filled buffer of the size asked
/// for before. What is returned has that size and ends in one NUL at least, or is empty.
std::string certNameText(const CRYPT_INTEGER_BLOB& blob, DWORD stringType);

}  // namespace qx

#endif
