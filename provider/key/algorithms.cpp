#include "provider/key/algorithms.h"

#include <algorithm>
#include <iterator>

#include <openssl/evp.h>
#include <openssl/obj_mac.h>

namespace qx {
namespace {

// In the order of KeyType.
constexpr KeyTypeInfo kKeyTypes[] = {
    {.type = KeyType::Gost2001,
     .nid = NID_id_GostR3410_2001,
     .oid = "1.2.643.2.2.19",
     .onlyHash = HashAlgorithm::Gost94,
     .signatureLength = 64,
     .providerType = PROV_GOST_2001_DH,
     .keySpec = AT_KEYEXCHANGE},
    {.type = KeyType::Gost2012_256,
     .nid = NID_id_GostR3410_2012_256,
     .oid = "1.2.643.7.1.1.1.1",
     .onlyHash = HashAlgorithm::Streebog256,
     .signatureLength = 64,
     .providerType = kProviderGost2012_256,
     .keySpec = AT_KEYEXCHANGE},
    {.type = KeyType::Gost2012_512,
     .nid = NID_id_GostR3410_2012_512,
     .oid = "1.2.643.7.1.1.1.2",
     .onlyHash = HashAlgorithm::Streebog512,
     .signatureLength = 128,
     .providerType = kProviderGost2012_512,
     .keySpec = AT_KEYEXCHANGE},
    {.type = KeyType::Rsa,
     .nid = EVP_PKEY_RSA,
     .oid = "1.2.840.113549.1.1.1",
     .onlyHash = std::nullopt,
     .signatureLength = 0,
     .providerType = PROV_RSA_AES,
     .keySpec = AT_KEYEXCHANGE},
    {.type = KeyType::Ec,
     .nid = EVP_PKEY_EC,
     .oid = "1.2.840.10045.2.1",
     .onlyHash = std::nullopt,
     .signatureLength = 0,
     .providerType = PROV_RSA_AES,
     .keySpec = AT_SIGNATURE},
};

template <class Predicate>
const KeyTypeInfo* findKeyType(Predicate matches) {
  const auto* const found = std::ranges::find_if(kKeyTypes, matches);
  return found != std::end(kKeyTypes) ? found : nullptr;
}

}  // namespace

const KeyTypeInfo& keyTypeInfo(KeyType type) {
  return kKeyTypes[static_cast<std::size_t>(type)];
}

const KeyTypeInfo* keyTypeByOid(std::string_view oid) {
  return findKeyType([oid](const KeyTypeInfo& row) { return oid == row.oid; });
}

const KeyTypeInfo* keyTypeByNid(int nid) {
  return findKeyType([nid](const KeyTypeInfo& row) { return nid == row.nid; });
}

bool mayBeSigned(const KeyTypeInfo& key, HashAlgorithm hash) {
  if (key.onlyHash) {
    return hash == *key.onlyHash;
  }
  switch (hash) {
    case HashAlgorithm::Sha1:
    case HashAlgorithm::Sha256:
    case HashAlgorithm::Sha384:
    case HashAlgorithm::Sha512:
      return true;
    default:
      return false;
  }
}

}  // namespace qx
