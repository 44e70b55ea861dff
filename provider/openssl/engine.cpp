// The ENGINE interface is deprecated in OpenSSL 3 without a successor for GOST: this file alone uses it.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "provider/openssl/engine.h"

#include <atomic>
#include <mutex>

#include <openssl/crypto.h>
#include <openssl/engine.h>
#include <openssl/evp.h>

#include "provider/openssl/errors.h"
#include "provider/support/fork.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

ENGINE* findEngine() {
  OPENSSL_init_crypto(OPENSSL_INIT_ENGINE_DYNAMIC, nullptr);
  ENGINE* engine = ENGINE_by_id("gost");
  // A host that reads its own configuration in another thread may have added it between our look-up
  // and our load: then it is there now.
  return engine != nullptr ? engine : ENGINE_by_id("gost");
}

/// Both references are kept for good: keys and contexts of any age use the engine.
ENGINE* loadEngine() {
  const ErrorQueueGuard queue;
  ENGINE* engine = findEngine();
  if (engine == nullptr) {
    return nullptr;
  }
  // Registered, not made default: each table then knows who serves the GOST identifiers, which
  // nobody else serves, and every other algorithm stays with whom the host gave it to.
  if (ENGINE_init(engine) != 1 || ENGINE_register_pkey_asn1_meths(engine) != 1 ||
      ENGINE_register_pkey_meths(engine) != 1 || ENGINE_register_digests(engine) != 1 ||
      ENGINE_register_ciphers(engine) != 1) {
    ENGINE_free(engine);
    return nullptr;
  }
  return engine;
}

}  // namespace

Result<ENGINE*> gostEngine() {
  static std::atomic<ENGINE*> loaded{nullptr};
  static ForkSafeMutex mutex;
  if (ENGINE* engine = loaded.load(std::memory_order_acquire); engine != nullptr) {
    return engine;
  }
  const std::lock_guard lock(mutex);
  if (loaded.load(std::memory_order_relaxed) == nullptr) {
    loaded.store(loadEngine(), std::memory_order_release);
  }
  ENGINE* engine = loaded.load(std::memory_order_relaxed);
  if (engine == nullptr) {
    QX_TRACE("the GOST engine of OpenSSL cannot be loaded (package libengine-gost-openssl)");
    return fail(NTE_PROV_DLL_NOT_FOUND);
  }
  return engine;
}

const EVP_MD* gostDigest(int nid) {
  return gostEngine() ? EVP_get_digestbynid(nid) : nullptr;
}

const EVP_CIPHER* gostCipher(int nid) {
  return gostEngine() ? EVP_get_cipherbynid(nid) : nullptr;
}

}  // namespace qx
