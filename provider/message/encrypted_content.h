#ifndef QX_PROVIDER_MESSAGE_ENCRYPTED_CONTENT_H_
#define QX_PROVIDER_MESSAGE_ENCRYPTED_CONTENT_H_

#include <cstddef>
#include <cstdint>
#include <optional>

#include "provider/cipher/content_cipher.h"
#include "provider/der/reader.h"
#include "provider/result.h"
#include "provider/support/wipe.h"

namespace qx {

/// EncryptedContent is the ciphertext of a message, borrowed from the caller: inside the message, in any
/// number of segments (BER), or given beside it.
class EncryptedContent {
 public:
  /// The encryptedContent of the message. CRYPT_E_ASN1_...
  Result<void> setElement(const der::Element& element);

  /// What was given beside the message, in one piece.
  void setOctets(der::Bytes octets);

  /// The number of its octets; 0 when there is none.
  std::size_t size() const { return size_; }

  /// Writes size() octets.
  void writeTo(std::uint8_t* out) const;

  /// decrypt gives the content. `cipher` is used up. NTE_BAD_DATA, NTE_FAIL.
  Result<SecretBytes> decrypt(ContentDecryption& cipher) const;

 private:
  template <class Visitor>
  void visit(const Visitor& visitor) const;

  std::optional<der::Element> element_;
  der::Bytes octets_;
  std::size_t size_ = 0;
};

}  // namespace qx

#endif
