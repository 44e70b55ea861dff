#include "provider/openssl/library_context.h"

#include <new>

#include <openssl/crypto.h>
#include <openssl/provider.h>

namespace qx {
namespace {

OSSL_LIB_CTX* makeContext() {
  OSSL_LIB_CTX* context = OSSL_LIB_CTX_new();
  if (context != nullptr && OSSL_PROVIDER_load(context, "default") == nullptr) {
    OSSL_LIB_CTX_free(context);
    context = nullptr;
  }
  if (context == nullptr) {
    throw std::bad_alloc();
  }
  return context;
}

}  // namespace

OSSL_LIB_CTX* libraryContext() {
  // Kept for good: libcrypto may be gone before our static objects are.
  static OSSL_LIB_CTX* const context = makeContext();
  return context;
}

}  // namespace qx
