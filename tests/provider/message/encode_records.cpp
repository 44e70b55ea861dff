#include "tests/provider/message/encode_records.h"

#include <cstring>
#include <utility>

#include "tests/provider/der/hex.h"

namespace qx::test {

bool contains(const Octets& bytes, const std::string& hexText) {
  return toHex(bytes).find(hexText) != std::string::npos;
}

DWORD openError(std::vector<CMSG_SIGNER_ENCODE_INFO> signers,
                const std::vector<Octets>& certificates,
                const SignOptions& options) {
  SetLastError(0);
  const MessageHandle message = openEncoder(std::move(signers), options, certificates);
  return message ? ERROR_SUCCESS : GetLastError();
}

CMSG_SIGNER_ENCODE_INFO_LONG longForm(Signer& one) {
  CMSG_SIGNER_ENCODE_INFO_LONG info{};
  const CMSG_SIGNER_ENCODE_INFO shortForm = one.encodeInfo();
  std::memcpy(&info, &shortForm, sizeof shortForm);
  info.cbSize = sizeof info;
  return info;
}

MessageHandle openLong(std::vector<CMSG_SIGNER_ENCODE_INFO_LONG> signers) {
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.cSigners = static_cast<DWORD>(signers.size());
  info.rgSigners = reinterpret_cast<CMSG_SIGNER_ENCODE_INFO*>(signers.data());
  return MessageHandle(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr));
}

AttributeRecord::AttributeRecord(const char* oid, std::vector<Octets> elements)
    : values(std::move(elements)) {
  for (const Octets& value : values) {
    blobs.push_back(blob(value));
  }
  record = {.pszObjId = writable(oid),
            .cValue = static_cast<DWORD>(blobs.size()),
            .rgValue = blobs.data()};
}

}  // namespace qx::test
