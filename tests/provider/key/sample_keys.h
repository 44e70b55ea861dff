#ifndef QX_TESTS_PROVIDER_KEY_SAMPLE_KEYS_H_
#define QX_TESTS_PROVIDER_KEY_SAMPLE_KEYS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "provider/key/private_key.h"
#include "provider/key/public_key.h"
#include "tests/provider/der/hex.h"
#include "tests/support/kind_name.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// The hash that each kind of key is mostly used with.
HashAlgorithm usualHash(lab::KeyKind kind);

/// A new key of ours; the test stops with an exception when there is none.
std::shared_ptr<const PrivateKey> makeKey(lab::KeyKind kind);
std::shared_ptr<const PrivateKey> toOurs(EVP_PKEY* key);

/// The public half, read from its SubjectPublicKeyInfo.
PublicKey publicHalf(const PrivateKey& key);

/// The key's own OID as a signature algorithm.
SignatureAlgorithm plainAlgorithm(const PrivateKey& key);

/// Bytes that look like a digest of the hash: its length, filled with `fill`.
std::vector<std::uint8_t> someDigest(HashAlgorithm hash, std::uint8_t fill = 0x5A);

/// As fromHex, in the opposite order.
std::vector<std::uint8_t> reversedHex(std::string_view text);

}  // namespace qx::test

#endif
