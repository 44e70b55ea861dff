#include "provider/cipher/gost28147.h"

#include <algorithm>
#include <iterator>
#include <new>

#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include "provider/openssl/engine.h"

namespace qx {
namespace {

struct Set {
  std::string_view oid;  // ends in NUL
  const char* name;      // the engine's
};

constexpr Set kSets[] = {
    {.oid = kGost28147SetA, .name = SN_id_Gost28147_89_CryptoPro_A_ParamSet},
    {.oid = "1.2.643.2.2.31.2", .name = SN_id_Gost28147_89_CryptoPro_B_ParamSet},
    {.oid = "1.2.643.2.2.31.3", .name = SN_id_Gost28147_89_CryptoPro_C_ParamSet},
    {.oid = "1.2.643.2.2.31.4", .name = SN_id_Gost28147_89_CryptoPro_D_ParamSet},
    {.oid = kGost28147SetZ, .name = SN_id_tc26_gost_28147_param_Z},
};

const Set* findSet(std::string_view oid) {
  const auto* found = std::ranges::find(kSets, oid, &Set::oid);
  return found == std::end(kSets) ? nullptr : found;
}

// Without a set of its own the engine asks the environment, and fails when that names none. It takes a
// context that has application data for one that has its set.
bool chooseSet(EVP_CIPHER_CTX* context, const EVP_CIPHER* cipher, const Set& set, Direction way) {
  EVP_CIPHER_CTX_set_app_data(context, context);
  std::string name(set.name);
  return EVP_CipherInit_ex(context, cipher, nullptr, nullptr, nullptr, static_cast<int>(way)) ==
             1 &&
         EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_SET_SBOX, 0, name.data()) == 1;
}

Result<CipherStream> open(
    int nid, std::string_view oid, Direction way, der::Bytes key, der::Bytes iv) {
  const Set* set = findSet(oid);
  if (set == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  const EVP_CIPHER* cipher = gostCipher(nid);
  EvpCipherCtxPtr context(EVP_CIPHER_CTX_new());
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  if (cipher == nullptr || key.size() != kGostKeySize || iv.size() != kGost28147BlockSize ||
      !chooseSet(context.get(), cipher, *set, way) ||
      EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
      EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_KEY_MESH, 1, nullptr) != 1 ||
      EVP_CipherInit_ex(context.get(), nullptr, nullptr, key.data(), iv.data(), -1) != 1) {
    return fail(NTE_FAIL);
  }
  return CipherStream(std::move(context));
}

constexpr std::uint8_t kZeroBlock[kGost28147BlockSize] = {};

void addBlock(std::uint8_t* block, const std::uint8_t* other) {
  for (std::size_t i = 0; i < kGost28147BlockSize; ++i) {
    block[i] ^= other[i];
  }
}

/// A MAC key of the engine, which takes its set by name only.
Result<EvpPkeyPtr> macKey(const Set& set, der::Bytes key) {
  const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_id(NID_id_Gost28147_89_MAC, nullptr));
  EVP_PKEY* made = nullptr;
  SecretBytes copy(key);
  if (context == nullptr || EVP_PKEY_keygen_init(context.get()) <= 0 ||
      EVP_PKEY_CTX_ctrl_str(context.get(), "paramset", set.name) <= 0 ||
      EVP_PKEY_CTX_ctrl(context.get(),
                        -1,
                        EVP_PKEY_OP_KEYGEN,
                        EVP_PKEY_CTRL_SET_MAC_KEY,
                        static_cast<int>(copy.size()),
                        copy.data()) <= 0 ||
      EVP_PKEY_keygen(context.get(), &made) <= 0) {
    return fail(NTE_FAIL);
  }
  return EvpPkeyPtr(made);
}

}  // namespace

bool isGost28147Set(std::string_view oid) {
  return findSet(oid) != nullptr;
}

Result<CipherStream> gost28147Cfb(std::string_view set,
                                  Direction direction,
                                  der::Bytes key,
                                  der::Bytes iv) {
  return open(NID_id_Gost28147_89, set, direction, key, iv);
}

// The engine has no mode without chaining; what CBC adds to each block is taken away again.

Result<SecretBytes> gost28147Encrypt(std::string_view set, der::Bytes key, der::Bytes in) {
  Result<CipherStream> stream = open(NID_gost89_cbc, set, Direction::Encrypt, key, kZeroBlock);
  if (!stream) {
    return stream.failure();
  }
  SecretBytes out(in);
  const std::uint8_t* last = kZeroBlock;
  for (std::size_t at = 0; at < in.size(); at += kGost28147BlockSize) {
    std::uint8_t* block = out.data() + at;
    addBlock(block, last);
    const auto done = stream->update({block, kGost28147BlockSize}, block);
    if (!done) {
      return done.failure();
    }
    last = block;
  }
  return out;
}

Result<SecretBytes> gost28147Decrypt(std::string_view set, der::Bytes key, der::Bytes in) {
  Result<CipherStream> stream = open(NID_gost89_cbc, set, Direction::Decrypt, key, kZeroBlock);
  if (!stream) {
    return stream.failure();
  }
  SecretBytes out(in.size());
  const auto done = stream->update(in, out.data());
  if (!done) {
    return done.failure();
  }
  for (std::size_t at = kGost28147BlockSize; at < in.size(); at += kGost28147BlockSize) {
    addBlock(out.data() + at, in.data() + at - kGost28147BlockSize);
  }
  return out;
}

Result<Gost28147Mac> gost28147Mac(std::string_view set,
                                  der::Bytes iv,
                                  der::Bytes key,
                                  der::Bytes in) {
  const Set* known = findSet(set);
  const EVP_MD* digest = gostDigest(NID_id_Gost28147_89_MAC);
  const EvpMdCtxPtr context(EVP_MD_CTX_new());
  if (known == nullptr) {
    return fail(NTE_BAD_ALGID);
  }
  if (digest == nullptr || context == nullptr || key.size() != kGostKeySize ||
      iv.size() != kGost28147BlockSize || in.size() < iv.size()) {
    return fail(NTE_FAIL);
  }
  const auto owned = macKey(*known, key);
  if (!owned) {
    return owned.failure();
  }
  // The engine begins at zero; the first block is where a beginning comes in.
  SecretBytes begun(in);
  addBlock(begun.data(), iv.data());
  Gost28147Mac mac{};
  std::size_t length = mac.size();
  if (EVP_DigestSignInit(context.get(), nullptr, digest, nullptr, owned->get()) != 1 ||
      EVP_DigestSignUpdate(context.get(), begun.data(), begun.size()) != 1 ||
      EVP_DigestSignFinal(context.get(), mac.data(), &length) != 1 || length != mac.size()) {
    return fail(NTE_FAIL);
  }
  return mac;
}

}  // namespace qx
