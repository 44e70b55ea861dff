#ifndef QX_TESTS_PROVIDER_MESSAGE_ENCODE_RECORDS_H_
#define QX_TESTS_PROVIDER_MESSAGE_ENCODE_RECORDS_H_

#include <string>
#include <vector>

#include "tests/provider/message/signers.h"

namespace qx::test {

/// contains tells whether the bytes, as hex, have this hex text in them.
bool contains(const Octets& bytes, const std::string& hexText);

/// openError tells why a message cannot be opened for these records, or ERROR_SUCCESS.
DWORD openError(std::vector<CMSG_SIGNER_ENCODE_INFO> signers,
                const std::vector<Octets>& certificates = {},
                const SignOptions& options = {});

/// A record of the long form over the short one of a signer.
CMSG_SIGNER_ENCODE_INFO_LONG longForm(Signer& one);

/// openLong opens a message for records of the long form.
MessageHandle openLong(std::vector<CMSG_SIGNER_ENCODE_INFO_LONG> signers);

/// An attribute with values that are whole elements.
struct AttributeRecord {
  AttributeRecord(const char* oid, std::vector<Octets> elements);

  std::vector<Octets> values;
  std::vector<CRYPT_ATTR_BLOB> blobs;
  CRYPT_ATTRIBUTE record{};
};

}  // namespace qx::test

#endif
