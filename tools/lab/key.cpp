#include <string>

#include <openssl/ec.h>
#include <openssl/rsa.h>

#include "provider/openssl/engine.h"
#include "tools/lab/error.h"
#include "tools/lab/pki.h"

namespace qx::lab {
namespace {

struct Kind {
  KeyKind kind;
  const char* name;
  int nid;
  // A parameter set of the engine, or a curve.
  const char* set;
};

constexpr Kind kKinds[] = {
    {.kind = KeyKind::Gost2001, .name = "gost2001", .nid = NID_id_GostR3410_2001, .set = "A"},
    {.kind = KeyKind::Gost2012_256,
     .name = "gost2012-256",
     .nid = NID_id_GostR3410_2012_256,
     .set = "TCA"},
    {.kind = KeyKind::Gost2012_512,
     .name = "gost2012-512",
     .nid = NID_id_GostR3410_2012_512,
     .set = "A"},
    {.kind = KeyKind::Rsa2048, .name = "rsa2048", .nid = NID_rsaEncryption, .set = nullptr},
    {.kind = KeyKind::EcP256, .name = "p256", .nid = NID_X9_62_id_ecPublicKey, .set = "P-256"},
    {.kind = KeyKind::EcP384, .name = "p384", .nid = NID_X9_62_id_ecPublicKey, .set = "P-384"},
};

ENGINE* engine() {
  const Result<ENGINE*> loaded = gostEngine();
  if (!loaded) {
    throwError("the GOST engine cannot be loaded");
  }
  return *loaded;
}

const Kind& rowOf(KeyKind kind) {
  for (const Kind& row : kKinds) {
    if (row.kind == kind) {
      return row;
    }
  }
  throwError("unknown kind of key");
}

EvpPkeyPtr generate(int nid, ENGINE* engine, const char* option, const std::string& value) {
  const auto context =
      owned<EvpPkeyCtxPtr>(EVP_PKEY_CTX_new_id(nid, engine), "this kind of key is not supported");
  check(EVP_PKEY_keygen_init(context.get()), "key generation");
  check(EVP_PKEY_CTX_ctrl_str(context.get(), option, value.c_str()), value.c_str());
  EVP_PKEY* key = nullptr;
  check(EVP_PKEY_generate(context.get(), &key), "key generation");
  return EvpPkeyPtr(key);
}

}  // namespace

const char* kindName(KeyKind kind) {
  return rowOf(kind).name;
}

EvpPkeyPtr generateGostKey(KeyKind kind, const std::string& parameterSet) {
  return generate(rowOf(kind).nid, engine(), "paramset", parameterSet);
}

EvpPkeyPtr generateKey(KeyKind kind) {
  const Kind& row = rowOf(kind);
  switch (kind) {
    case KeyKind::Rsa2048:
      return generate(row.nid, nullptr, "rsa_keygen_bits", "2048");
    case KeyKind::EcP256:
    case KeyKind::EcP384:
      return generate(row.nid, nullptr, "group", row.set);
    default:
      return generateGostKey(kind, row.set);
  }
}

const EVP_MD* usualDigest(EVP_PKEY* key) {
  switch (EVP_PKEY_get_base_id(key)) {
    case NID_id_GostR3410_2001:
      return gostDigest(NID_id_GostR3411_94);
    case NID_id_GostR3410_2012_256:
      return gostDigest(NID_id_GostR3411_2012_256);
    case NID_id_GostR3410_2012_512:
      return gostDigest(NID_id_GostR3411_2012_512);
    case EVP_PKEY_EC:
      return EVP_PKEY_get_bits(key) == 384 ? EVP_sha384() : EVP_sha256();
    default:
      return EVP_sha256();
  }
}

}  // namespace qx::lab
