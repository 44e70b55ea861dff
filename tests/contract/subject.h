#ifndef QX_TESTS_CONTRACT_SUBJECT_H_
#define QX_TESTS_CONTRACT_SUBJECT_H_

#include <cstdint>
#include <vector>

namespace qx::test {

/// Subject is what a provider must find for the suite. Certificates are DER.
struct Subject {
  /// Stands in the current user's store "MY" with a key that needs no PIN, for SHA-256 signatures. Its
  /// subject is "C=RU, O=Bank, CN=Signer"; its issuer stands in "Root".
  std::vector<std::uint8_t> signer;
  /// The issuer: self-signed, its subject "CN=Root".
  std::vector<std::uint8_t> root;
  /// Of the same issuer, younger than the signer; in no store.
  std::vector<std::uint8_t> stranger;
};

/// subject makes it at its first use. Each provider brings its own implementation.
const Subject& subject();

}  // namespace qx::test

#endif
