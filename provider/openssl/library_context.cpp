#include "provider/openssl/library_context.h"

#include <new>

#include <openssl/crypto.h>
#include <openssl/objects.h>
#include <openssl/provider.h>

namespace qx {
namespace {

// In libcrypto's table of named objects, which lives as long as libcrypto.
constexpr char kName[] = "qxprovider: library context";

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

// Failing that, the next one who is loaded makes a context of his own.
void leaveForTheNext(OSSL_LIB_CTX* context) {
  // The table keeps the name's address, which must outlast us, and libcrypto's end frees the table alone: we hold
  // the name, too, so that whoever looks for leaks finds it in use.
  static char* const name = OPENSSL_strdup(kName);
  if (name != nullptr) {
    OBJ_NAME_add(name, OBJ_NAME_TYPE_UNDEF, reinterpret_cast<const char*>(context));
  }
}

// It cannot end with us: libcrypto may be gone by then, and what it keeps for each thread that ever drew
// random bytes here refers to the context until that thread ends. So whoever is loaded after us finds it.
OSSL_LIB_CTX* findOrMakeContext() {
  const char* left = OBJ_NAME_get(kName, OBJ_NAME_TYPE_UNDEF);
  if (left != nullptr) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the table knows no other pointers
    return reinterpret_cast<OSSL_LIB_CTX*>(const_cast<char*>(left));
  }
  OSSL_LIB_CTX* context = makeContext();
  leaveForTheNext(context);
  return context;
}

}  // namespace

OSSL_LIB_CTX* libraryContext() {
  static OSSL_LIB_CTX* const context = findOrMakeContext();
  return context;
}

}  // namespace qx
