#ifndef QX_PROVIDER_KEY_PROVIDER_TYPES_H_
#define QX_PROVIDER_KEY_PROVIDER_TYPES_H_

#include <span>
#include <string_view>

#include "platform/crypt_prov.h"

namespace qx {

/// A kind of provider that can be asked for by its number or its name.
struct ProviderType {
  DWORD type;
  const char* name;
};

/// The row of a number or a name, or null.
const ProviderType* findProviderType(DWORD type);
const ProviderType* findProviderType(std::string_view name);

/// One algorithm that every provider of ours offers. Lengths in bits; names end in NUL.
struct OfferedAlgorithm {
  ALG_ID id;
  DWORD defaultBits;
  DWORD minBits;
  DWORD maxBits;
  std::string_view name;
  std::string_view longName;
};

/// In the order of PP_ENUMALGS. Whoever looks for a hash that fits a key takes the first that does:
/// SHA-256 leads, the broken ones come last.
std::span<const OfferedAlgorithm> offeredAlgorithms();

}  // namespace qx

#endif
