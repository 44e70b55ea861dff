#include "provider/hash/libcrypto_hash.h"

#include <memory>
#include <new>
#include <utility>

#include <openssl/evp.h>

#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

void require(bool done) {
  // With a fetched digest and a fresh context these calls fail for want of memory only.
  if (!done) {
    throw std::bad_alloc();
  }
}

// For the process: fetching takes longer than hashing a certificate.
const EVP_MD* fetched(const char* name) {
  auto digest = std::make_unique<EvpMdPtr>(EVP_MD_fetch(libraryContext(), name, nullptr));
  require(*digest != nullptr);
  return untilUnload(std::move(digest)).get();
}

class LibcryptoHash final : public HashState {
 public:
  explicit LibcryptoHash(const EVP_MD* digest) : context_(EVP_MD_CTX_new()) {
    require(context_ != nullptr && EVP_DigestInit_ex2(context_.get(), digest, nullptr) == 1);
  }

  void update(der::Bytes bytes) override {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1);
  }

  void finish(std::uint8_t* out) override {
    require(EVP_DigestFinal_ex(context_.get(), out, nullptr) == 1);
  }

 private:
  EvpMdCtxPtr context_;
};

}  // namespace

std::unique_ptr<HashState> libcryptoMd5() {
  static const EVP_MD* const digest = fetched("MD5");
  return std::make_unique<LibcryptoHash>(digest);
}

std::unique_ptr<HashState> libcryptoSha1() {
  static const EVP_MD* const digest = fetched("SHA1");
  return std::make_unique<LibcryptoHash>(digest);
}

std::unique_ptr<HashState> libcryptoSha256() {
  static const EVP_MD* const digest = fetched("SHA256");
  return std::make_unique<LibcryptoHash>(digest);
}

std::unique_ptr<HashState> libcryptoSha384() {
  static const EVP_MD* const digest = fetched("SHA384");
  return std::make_unique<LibcryptoHash>(digest);
}

std::unique_ptr<HashState> libcryptoSha512() {
  static const EVP_MD* const digest = fetched("SHA512");
  return std::make_unique<LibcryptoHash>(digest);
}

}  // namespace qx
