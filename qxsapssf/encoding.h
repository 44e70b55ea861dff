#ifndef QX_QXSAPSSF_ENCODING_H_
#define QX_QXSAPSSF_ENCODING_H_

#include "platform/types.h"

namespace qx {

/// The encodings that every call on certificates and messages names.
inline constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

}  // namespace qx

#endif
