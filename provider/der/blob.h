#ifndef QX_PROVIDER_DER_BLOB_H_
#define QX_PROVIDER_DER_BLOB_H_

#include "platform/types.h"

#include "provider/der/reader.h"

namespace qx {

/// bytesOf gives a caller's counted bytes; none when the pointer is null.
inline der::Bytes bytesOf(const CRYPT_DATA_BLOB& blob) {
  return blob.pbData == nullptr ? der::Bytes{} : der::Bytes(blob.pbData, blob.cbData);
}

/// isOneElement tells whether the bytes are one element and nothing else.
inline bool isOneElement(der::Bytes bytes) {
  der::Reader reader(bytes);
  return reader.next() && reader.atEnd();
}

}  // namespace qx

#endif
