#ifndef QX_PROVIDER_MESSAGE_RECIPIENT_H_
#define QX_PROVIDER_MESSAGE_RECIPIENT_H_

#include <optional>
#include <vector>

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/message/signer_id.h"
#include "provider/result.h"

namespace qx {

/// KeyAgreement is what the recipients of one key agreement share (RFC 5652, 6.2.2).
struct KeyAgreement {
  der::Bytes originatorKey;         ///< content of OriginatorPublicKey, or empty
  SignerId originator;              ///< the certificate of one whose key is not there
  std::optional<der::Element> ukm;  ///< OCTET STRING
};

/// Recipient is one key of a message that a private key opens, over the bytes it was read from.
struct Recipient {
  SignerId id;
  der::AlgorithmIdentifier algorithm;  ///< key encryption algorithm
  std::vector<std::uint8_t> encryptedKey;
  std::optional<KeyAgreement> agreement;  ///< none: key transport
};

/// readRecipients reads the content of a SET OF RecipientInfo (RFC 5652, 6.2): key transport, and each
/// recipient of a key agreement, in the order of the message; other kinds are passed over. At most
/// kMaxRecipients, CRYPT_E_ASN1_LARGE; else CRYPT_E_ASN1_...
Result<std::vector<Recipient>> readRecipients(der::Bytes content);

}  // namespace qx

#endif
