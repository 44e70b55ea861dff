#ifndef QX_PROVIDER_NAME_NAME_READER_H_
#define QX_PROVIDER_NAME_NAME_READER_H_

#include <cstddef>
#include <string>
#include <vector>

#include "platform/cert.h"

#include "provider/der/reader.h"

namespace qx {

/// NameAttribute is one attribute of a name, as spans over the encoded name.
struct NameAttribute {
  der::Bytes oid;         ///< content octets of the attribute's type
  DWORD valueType = 0;    ///< CERT_RDN_...; CERT_RDN_ENCODED_BLOB for what is no string
  der::Bytes value;       ///< content octets; the whole element for CERT_RDN_ENCODED_BLOB
  bool startsRdn = true;  ///< false for further attributes of one RDN
};

/// readName reads an encoded Name (RFC 5280, 4.1.2.4), attributes in the order of the encoding. Errors:
/// those of der::Reader, CRYPT_E_ASN1_CORRUPT for an RDN without attribute.
Result<std::vector<NameAttribute>> readName(der::Bytes name);

/// readNameElement is readName for an element that was read already.
Result<std::vector<NameAttribute>> readNameElement(const der::Element& name);

/// valueText gives an attribute's value as characters; CRYPT_E_NOT_CHAR_STRING when it is no string or
/// not a valid one of its type.
Result<std::wstring> valueText(const NameAttribute& attribute);

}  // namespace qx

#endif
