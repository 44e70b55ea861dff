#ifndef QX_PROVIDER_MESSAGE_DECODED_H_
#define QX_PROVIDER_MESSAGE_DECODED_H_

#include <memory>
#include <string_view>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/message/param_output.h"
#include "provider/result.h"

namespace qx {

/// Decoded is what a decoder found: one type of message.
class Decoded {
 public:
  Decoded() = default;
  virtual ~Decoded() = default;
  Decoded(const Decoded&) = delete;
  Decoded& operator=(const Decoded&) = delete;
  Decoded(Decoded&&) = delete;
  Decoded& operator=(Decoded&&) = delete;

  /// The dotted OID of the type.
  virtual std::string_view type() const = 0;

  /// The parameters of the type; CRYPT_E_INVALID_MSG_TYPE for others.
  virtual Result<void> param(DWORD type, DWORD index, ParamOutput& output) = 0;

  /// The controls of the type; CRYPT_E_INVALID_MSG_TYPE for others.
  virtual Result<void> control(DWORD type, const void* para) = 0;

  /// Takes a part of detached content.
  virtual Result<void> addContent(der::Bytes part, bool final) = 0;

  /// Whether controls have changed the message.
  virtual bool isChanged() const { return false; }

  /// The message as it is now, without the ContentInfo around it.
  virtual der::Encoding bare() const = 0;
};

/// decode reads the bare content of a message of this type, which may be detached.
/// CRYPT_E_INVALID_MSG_TYPE for types that we do not know, CRYPT_E_ASN1_..., CRYPT_E_MSG_ERROR for a
/// detached message that has its content inside.
Result<std::unique_ptr<Decoded>> decode(DWORD number, const der::Element& bare, bool detached);

/// typeByOid gives the published number of a content type, or 0.
DWORD typeByOid(std::string_view dotted);

}  // namespace qx

#endif
