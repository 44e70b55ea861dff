// The ENGINE interface is deprecated in OpenSSL 3 without a successor for GOST: this file alone uses it.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "provider/openssl/engine.h"

#include <atomic>
#include <mutex>

#include <openssl/crypto.h>
#include <openssl/engine.h>
#include <openssl/evp.h>

#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
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

struct ParameterSet {
  int kind;
  const char* name;
};

// Those of R 34.10-2001 are among the first kind's.
constexpr ParameterSet kParameterSets[] = {{NID_id_GostR3410_2012_256, "A"},
                                           {NID_id_GostR3410_2012_256, "B"},
                                           {NID_id_GostR3410_2012_256, "C"},
                                           {NID_id_GostR3410_2012_256, "XA"},
                                           {NID_id_GostR3410_2012_256, "XB"},
                                           {NID_id_GostR3410_2012_256, "TCA"},
                                           {NID_id_GostR3410_2012_256, "TCB"},
                                           {NID_id_GostR3410_2012_256, "TCC"},
                                           {NID_id_GostR3410_2012_256, "TCD"},
                                           {NID_id_GostR3410_2012_512, "A"},
                                           {NID_id_GostR3410_2012_512, "B"},
                                           {NID_id_GostR3410_2012_512, "C"}};

// The engine makes the group of a parameter set at its first use and keeps it, without a lock: of two threads
// that come at once one would lose what it made. So each is used here, where there is one thread.
void makeGroups(ENGINE* engine) {
  for (const ParameterSet& set : kParameterSets) {
    const EvpPkeyCtxPtr context(EVP_PKEY_CTX_new_id(set.kind, engine));
    EVP_PKEY* parameters = nullptr;
    if (context != nullptr && EVP_PKEY_paramgen_init(context.get()) == 1 &&
        EVP_PKEY_CTX_ctrl_str(context.get(), "paramset", set.name) == 1) {
      EVP_PKEY_paramgen(context.get(), &parameters);
    }
    EVP_PKEY_free(parameters);
  }
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
  makeGroups(engine);
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
