#ifndef QX_PROVIDER_MESSAGE_ENVELOPED_DATA_H_
#define QX_PROVIDER_MESSAGE_ENVELOPED_DATA_H_

#include <optional>
#include <string>
#include <vector>

#include "platform/types.h"

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/message/attributes.h"
#include "provider/message/recipient.h"
#include "provider/result.h"

namespace qx {

/// The identifier of encryptedContent in its primitive form.
inline constexpr std::uint8_t kEncryptedContentTag = der::contextTag(0);

/// EnvelopedData (RFC 5652, 6.1) over the bytes it was read from.
struct EnvelopedData {
  DWORD version = 0;
  std::vector<Recipient> recipients;
  std::string contentType;
  der::AlgorithmIdentifier algorithm;  ///< content encryption algorithm
  std::optional<der::Element> encrypted;
  Attributes unprotected;
};

/// readEnvelopedData: CRYPT_E_ASN1_...
Result<EnvelopedData> readEnvelopedData(const der::Element& bare);

}  // namespace qx

#endif
