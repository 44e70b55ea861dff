#ifndef QX_PROVIDER_NAME_NAME_TEXT_H_
#define QX_PROVIDER_NAME_NAME_TEXT_H_

#include <string>

#include "platform/types.h"

#include "provider/der/tag.h"
#include "provider/result.h"

namespace qx {

/// nameText renders an encoded name as CertNameToStrW does, without the NUL. `stringType` is
/// CERT_SIMPLE_NAME_STR, CERT_OID_NAME_STR or CERT_X500_NAME_STR with its flags (CERT_NAME_STR_...).
///
/// A value that holds a NUL, a backslash before a quote (its own or the closing one) or before a u (the
/// escape \uXXXX), or that is no valid text is rendered as # and upper-case hex digits of its octets:
/// whoever reads the text back cannot take it for another value or for several. Errors: E_INVALIDARG for another type,
/// CRYPT_E_ASN1_... for a name that cannot be decoded.
Result<std::wstring> nameText(der::Bytes name, DWORD stringType);

}  // namespace qx

#endif
