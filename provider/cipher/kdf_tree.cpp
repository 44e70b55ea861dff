#include "provider/cipher/kdf_tree.h"

#include <nettle/hmac.h>

namespace qx {
namespace {

constexpr std::size_t kStep = 32;
constexpr std::uint8_t kSeparator[] = {0x00};
constexpr std::uint8_t kBits[] = {0x02, 0x00};  // of both keys together

}  // namespace

SecretBytes kdfTree(der::Bytes key, der::Bytes label, der::Bytes seed) {
  SecretBytes keys(2 * kStep);
  hmac_streebog256_ctx context{};
  hmac_streebog256_set_key(&context, key.size(), key.data());
  for (std::uint8_t i = 1; i <= 2; ++i) {
    hmac_streebog256_update(&context, sizeof i, &i);
    hmac_streebog256_update(&context, label.size(), label.data());
    hmac_streebog256_update(&context, sizeof kSeparator, kSeparator);
    hmac_streebog256_update(&context, seed.size(), seed.data());
    hmac_streebog256_update(&context, sizeof kBits, kBits);
    hmac_streebog256_digest(&context, kStep, keys.data() + (kStep * (i - 1U)));
  }
  wipe(&context, sizeof context);
  return keys;
}

}  // namespace qx
