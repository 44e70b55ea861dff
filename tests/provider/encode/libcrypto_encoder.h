#ifndef QX_TESTS_PROVIDER_ENCODE_LIBCRYPTO_ENCODER_H_
#define QX_TESTS_PROVIDER_ENCODE_LIBCRYPTO_ENCODER_H_

#include <cstdint>
#include <ctime>
#include <vector>

namespace qx::test {

// DER that libcrypto wrote. Its headers stay out of the tests, where names of the platform would
// meet them.
std::vector<std::uint8_t> encodedInteger(const char* decimal);
std::vector<std::uint8_t> encodedOid(const char* dotted);
std::vector<std::uint8_t> encodedTime(std::time_t seconds);

/// An AlgorithmIdentifier of SHA-256 with NULL for its parameters.
std::vector<std::uint8_t> encodedSha256Algorithm();

}  // namespace qx::test

#endif
