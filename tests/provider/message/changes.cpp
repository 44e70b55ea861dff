#include "tests/provider/message/changes.h"

namespace qx::test {

Octets changedMessage(const MessageHandle& message) {
  return bytesParam(message, CMSG_ENCODED_MESSAGE);
}

DWORD addSigner(const MessageHandle& message, Signer& one) {
  const CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  return control(message, CMSG_CTRL_ADD_SIGNER, &info);
}

DWORD addBlob(const MessageHandle& message, DWORD type, const Octets& bytes) {
  const CRYPT_INTEGER_BLOB value = blob(bytes);
  return control(message, type, &value);
}

DWORD removeAt(const MessageHandle& message, DWORD type, DWORD index) {
  return control(message, type, &index);
}

DWORD addUnsigned(const MessageHandle& message, DWORD signerIndex, const Octets& attribute) {
  const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = signerIndex, .blob = blob(attribute)};
  return control(message, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para);
}

DWORD removeUnsigned(const MessageHandle& message, DWORD signerIndex, DWORD attribute) {
  const CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = signerIndex, .dwUnauthAttrIndex = attribute};
  return control(message, CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &para);
}

}  // namespace qx::test
