#ifndef QX_PROVIDER_DER_VALUES_H_
#define QX_PROVIDER_DER_VALUES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

#include "provider/der/reader.h"

namespace qx::der {

/// readUnsigned reads a non-negative INTEGER that fits 64 bits: CRYPT_E_ASN1_LARGE when it does not,
/// CRYPT_E_ASN1_CORRUPT for a negative or empty one.
Result<std::uint64_t> readUnsigned(const Element& integer);

/// The same for the reader's next element, which must be an INTEGER.
Result<std::uint64_t> readUnsigned(Reader& reader);

/// readOctets collects the octets of the reader's next element, which must be an OCTET STRING.
Result<std::vector<std::uint8_t>> readOctets(Reader& reader);

/// readBoolean reads a BOOLEAN (BER: every value but 0 is true).
Result<bool> readBoolean(const Element& boolean);

/// readOid reads an OBJECT IDENTIFIER as dotted text.
Result<std::string> readOid(const Element& oid);

/// The same for the reader's next element, which must be an OBJECT IDENTIFIER.
Result<std::string> readOid(Reader& reader);

/// BitString is the octets of a BIT STRING in their order, and how many low bits of the last one
/// are not part of it (0 to 7).
struct BitString {
  Bytes octets;
  unsigned unusedBits = 0;
};

/// readBitString reads a primitive BIT STRING.
Result<BitString> readBitString(const Element& bits);

/// readTime reads UTCTime (years 1950 to 2049) or GeneralizedTime. Seconds may be missing; fractions
/// count to the 100 ns; a time without a zone is taken as UTC.
Result<FILETIME> readTime(const Element& element);

/// littleEndian gives the content octets of an INTEGER as the published interface wants serial
/// numbers: reversed.
std::vector<std::uint8_t> littleEndian(Bytes content);

/// AlgorithmIdentifier (RFC 5280, 4.1.1.2): the parameters are one whole element, or empty.
struct AlgorithmIdentifier {
  std::string oid;
  Bytes parameters;
};

Result<AlgorithmIdentifier> readAlgorithm(const Element& sequence);

/// The same for the reader's next element, which must be a SEQUENCE.
Result<AlgorithmIdentifier> readAlgorithm(Reader& reader);

}  // namespace qx::der

#endif
