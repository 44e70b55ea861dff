#include "provider/cipher/gost3412.h"

#include <algorithm>
#include <array>
#include <string>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>

#include "provider/cipher/gost28147.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/library_context.h"

namespace qx {
namespace {

struct Engine {
  int counter;
  int acpkm;
  const char* chaining;  // its name in libcrypto
  int section;           // octets
};

const Engine& engineOf(BlockCipher cipher) {
  static constexpr Engine kMagma{.counter = NID_magma_ctr,
                                 .acpkm = NID_magma_ctr_acpkm,
                                 .chaining = SN_magma_cbc,
                                 .section = 8 * 1024};
  static constexpr Engine kKuznyechik{.counter = NID_kuznyechik_ctr,
                                      .acpkm = NID_kuznyechik_ctr_acpkm,
                                      .chaining = SN_kuznyechik_cbc,
                                      .section = 256 * 1024};
  return cipher == BlockCipher::Magma ? kMagma : kKuznyechik;
}

Result<CipherStream> open(BlockCipher cipher, int nid, der::Bytes key, der::Bytes iv) {
  if (key.size() != kGostKeySize || iv.size() != blockSize(cipher) / 2) {
    return fail(NTE_FAIL);
  }
  // The engine reads a whole block: the counter begins behind the initial value.
  std::array<std::uint8_t, 16> counter{};
  std::ranges::copy(iv, counter.begin());
  return CipherStream::open(gostCipher(nid), Direction::Encrypt, key, counter);
}

}  // namespace

Result<CipherStream> counterMode(BlockCipher cipher, der::Bytes key, der::Bytes iv) {
  return open(cipher, engineOf(cipher).counter, key, iv);
}

Result<CipherStream> counterAcpkm(BlockCipher cipher, der::Bytes key, der::Bytes iv) {
  auto stream = open(cipher, engineOf(cipher).acpkm, key, iv);
  // Keying sets the engine back to sections of its own, so they are told after it.
  if (stream && EVP_CIPHER_CTX_ctrl(
                    stream->context(), EVP_CTRL_KEY_MESH, engineOf(cipher).section, nullptr) <= 0) {
    return fail(NTE_FAIL);
  }
  return stream;
}

Result<Omac> Omac::open(BlockCipher cipher, der::Bytes key) {
  if (!gostEngine()) {
    return fail(NTE_FAIL);
  }
  // The engine's own MAC hands out what lay on its stack when it fails, and says that all is well.
  const EvpMacPtr mac(EVP_MAC_fetch(libraryContext(), "CMAC", nullptr));
  EvpMacCtxPtr context(mac == nullptr ? nullptr : EVP_MAC_CTX_new(mac.get()));
  std::string name = engineOf(cipher).chaining;
  const OSSL_PARAM parameters[] = {
      OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_CIPHER, name.data(), 0),
      OSSL_PARAM_construct_end()};
  if (context == nullptr || EVP_MAC_init(context.get(), key.data(), key.size(), parameters) != 1) {
    return fail(NTE_FAIL);
  }
  return Omac(cipher, std::move(context));
}

Result<void> Omac::update(der::Bytes bytes) {
  const bool done =
      bytes.empty() || EVP_MAC_update(context_.get(), bytes.data(), bytes.size()) == 1;
  return done ? Result<void>{} : fail(NTE_FAIL);
}

Result<std::vector<std::uint8_t>> Omac::finish() {
  std::vector<std::uint8_t> mac(blockSize(cipher_));
  std::size_t length = mac.size();
  if (EVP_MAC_final(context_.get(), mac.data(), &length, mac.size()) != 1 || length != mac.size()) {
    return fail(NTE_FAIL);
  }
  return mac;
}

}  // namespace qx
