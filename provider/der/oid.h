#ifndef QX_PROVIDER_DER_OID_H_
#define QX_PROVIDER_DER_OID_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "provider/der/tag.h"
#include "provider/result.h"

namespace qx::der {

/// oidToText turns the content octets of an OBJECT IDENTIFIER into dotted text. Arcs above 64 bits,
/// a padded or an unfinished arc: CRYPT_E_ASN1_CORRUPT.
Result<std::string> oidToText(Bytes content);

/// oidFromText turns dotted text into content octets; CRYPT_E_OID_FORMAT when it is not one.
Result<std::vector<std::uint8_t>> oidFromText(std::string_view dotted);

}  // namespace qx::der

#endif
