#include "provider/hash/libcrypto_hash.h"

#include <new>

#include <openssl/evp.h>

#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"

namespace qx {
namespace {

void require(bool done) {
  // With a fetched digest and a fresh context these calls fail for want of memory only.
  if (!done) {
    throw std::bad_alloc();
  }
}

class LibcryptoHash final : public HashState {
 public:
  explicit LibcryptoHash(const char* name)
      : digest_(EVP_MD_fetch(libraryContext(), name, nullptr)), context_(EVP_MD_CTX_new()) {
    require(digest_ != nullptr && context_ != nullptr);
    require(EVP_DigestInit_ex2(context_.get(), digest_.get(), nullptr) == 1);
  }

  void update(der::Bytes bytes) override {
    require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1);
  }

  void finish(std::uint8_t* out) override {
    require(EVP_DigestFinal_ex(context_.get(), out, nullptr) == 1);
  }

 private:
  EvpMdPtr digest_;
  EvpMdCtxPtr context_;
};

}  // namespace

std::unique_ptr<HashState> libcryptoMd5() {
  return std::make_unique<LibcryptoHash>("MD5");
}

std::unique_ptr<HashState> libcryptoSha1() {
  return std::make_unique<LibcryptoHash>("SHA1");
}

std::unique_ptr<HashState> libcryptoSha256() {
  return std::make_unique<LibcryptoHash>("SHA256");
}

std::unique_ptr<HashState> libcryptoSha384() {
  return std::make_unique<LibcryptoHash>("SHA384");
}

std::unique_ptr<HashState> libcryptoSha512() {
  return std::make_unique<LibcryptoHash>("SHA512");
}

}  // namespace qx
