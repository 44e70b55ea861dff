#define OPENSSL_SUPPRESS_DEPRECATED

#include "tools/lab/engine.h"

#include <openssl/engine.h>

#include "tools/lab/error.h"

namespace qx::lab {
namespace {

ENGINE* load() {
  ENGINE_load_dynamic();
  ENGINE* engine = ENGINE_by_id("gost");
  check(ENGINE_init(engine), "the GOST engine cannot be loaded");
  ENGINE_register_pkey_meths(engine);
  ENGINE_register_pkey_asn1_meths(engine);
  ENGINE_register_digests(engine);
  ENGINE_register_ciphers(engine);
  return engine;
}

}  // namespace

ENGINE* loadedEngine() {
  static ENGINE* const engine = load();
  return engine;
}

}  // namespace qx::lab
