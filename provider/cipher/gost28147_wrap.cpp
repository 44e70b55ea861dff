#include "provider/cipher/gost28147_wrap.h"

#include <array>

#include <openssl/crypto.h>

namespace qx {
namespace {

std::uint32_t readWord(const std::uint8_t* octets) {
  return octets[0] | static_cast<std::uint32_t>(octets[1]) << 8U |
         static_cast<std::uint32_t>(octets[2]) << 16U |
         static_cast<std::uint32_t>(octets[3]) << 24U;
}

void writeWord(std::uint32_t word, std::uint8_t* octets) {
  for (unsigned i = 0; i < 4; ++i) {
    octets[i] = static_cast<std::uint8_t>(word >> (8 * i));
  }
}

/// The initial value of one round: the key's words that the octet chooses, and the others, summed up.
std::array<std::uint8_t, kGost28147BlockSize> roundValue(der::Bytes key, std::uint8_t choice) {
  std::uint32_t chosen = 0;
  std::uint32_t others = 0;
  for (unsigned i = 0; i < 8; ++i) {
    const std::uint32_t word = readWord(key.data() + (std::size_t{4} * i));
    ((choice >> i) & 1U) != 0 ? chosen += word : others += word;
  }
  std::array<std::uint8_t, kGost28147BlockSize> value{};
  writeWord(chosen, value.data());
  writeWord(others, value.data() + 4);
  return value;
}

Result<SecretBytes> wrappingKey(Gost28147Wrap wrap,
                                std::string_view set,
                                der::Bytes key,
                                der::Bytes ukm) {
  if (key.size() != kGostKeySize || ukm.size() != kVkoUkmSize) {
    return fail(NTE_BAD_DATA);
  }
  return wrap == Gost28147Wrap::Diversified ? diversifyKey(set, key, ukm)
                                            : Result<SecretBytes>(SecretBytes(key));
}

}  // namespace

Result<SecretBytes> diversifyKey(std::string_view set, der::Bytes key, der::Bytes ukm) {
  SecretBytes diversified(key);
  for (const std::uint8_t octet : ukm) {
    const auto iv = roundValue(diversified.bytes(), octet);
    auto stream = gost28147Cfb(set, Direction::Encrypt, diversified.bytes(), iv);
    if (!stream) {
      return stream.failure();
    }
    if (const auto done = stream->update(diversified.bytes(), diversified.data()); !done) {
      return done.failure();
    }
  }
  return diversified;
}

Result<WrappedKey> wrapKey(Gost28147Wrap wrap,
                           std::string_view set,
                           der::Bytes keyEncryptionKey,
                           der::Bytes ukm,
                           der::Bytes key) {
  const auto kek = wrappingKey(wrap, set, keyEncryptionKey, ukm);
  if (!kek) {
    return kek.failure();
  }
  const auto encrypted = gost28147Encrypt(set, kek->bytes(), key);
  if (!encrypted) {
    return encrypted.failure();
  }
  const auto mac = gost28147Mac(set, ukm, kek->bytes(), key);
  if (!mac) {
    return mac.failure();
  }
  return WrappedKey{.encrypted = {encrypted->bytes().begin(), encrypted->bytes().end()},
                    .mac = {mac->begin(), mac->end()}};
}

Result<SecretBytes> unwrapKey(Gost28147Wrap wrap,
                              std::string_view set,
                              der::Bytes keyEncryptionKey,
                              der::Bytes ukm,
                              const WrappedKey& wrapped) {
  if (wrapped.encrypted.size() != kGostKeySize || wrapped.mac.size() != kGost28147MacSize) {
    return fail(NTE_BAD_DATA);
  }
  const auto kek = wrappingKey(wrap, set, keyEncryptionKey, ukm);
  if (!kek) {
    return kek.failure();
  }
  auto key = gost28147Decrypt(set, kek->bytes(), wrapped.encrypted);
  if (!key) {
    return key.failure();
  }
  const auto mac = gost28147Mac(set, ukm, kek->bytes(), key->bytes());
  if (!mac) {
    return mac.failure();
  }
  if (CRYPTO_memcmp(mac->data(), wrapped.mac.data(), mac->size()) != 0) {
    return fail(NTE_BAD_DATA);
  }
  return key;
}

}  // namespace qx
