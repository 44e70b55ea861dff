#include "provider/key/provider_types.h"

#include <algorithm>
#include <iterator>

#include "provider/key/algorithms.h"

namespace qx {
namespace {

constexpr ProviderType kProviderTypes[] = {
    {.type = PROV_GOST_2001_DH, .name = "qxprovider GOST R 34.10-2001"},
    {.type = kProviderGost2012_256, .name = "qxprovider GOST R 34.10-2012 256"},
    {.type = kProviderGost2012_512, .name = "qxprovider GOST R 34.10-2012 512"},
    {.type = PROV_RSA_FULL, .name = "qxprovider RSA"},
    {.type = PROV_RSA_AES, .name = "qxprovider RSA and ECDSA"},
};

constexpr OfferedAlgorithm kAlgorithms[] = {
    {.id = CALG_SHA_256,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 256,
     .name = "SHA-256",
     .longName = "Secure Hash Algorithm (SHA-256)"},
    {.id = CALG_SHA_384,
     .defaultBits = 384,
     .minBits = 384,
     .maxBits = 384,
     .name = "SHA-384",
     .longName = "Secure Hash Algorithm (SHA-384)"},
    {.id = CALG_SHA_512,
     .defaultBits = 512,
     .minBits = 512,
     .maxBits = 512,
     .name = "SHA-512",
     .longName = "Secure Hash Algorithm (SHA-512)"},
    {.id = CALG_SHA1,
     .defaultBits = 160,
     .minBits = 160,
     .maxBits = 160,
     .name = "SHA-1",
     .longName = "Secure Hash Algorithm (SHA-1)"},
    {.id = 0x8021,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 256,
     .name = "GR 34.11-12 256",
     .longName = "GOST R 34.11-2012, 256 bits"},
    {.id = 0x8022,
     .defaultBits = 512,
     .minBits = 512,
     .maxBits = 512,
     .name = "GR 34.11-12 512",
     .longName = "GOST R 34.11-2012, 512 bits"},
    {.id = 0x801E,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 256,
     .name = "GR 34.11-94",
     .longName = "GOST R 34.11-94"},
    {.id = CALG_MD5,
     .defaultBits = 128,
     .minBits = 128,
     .maxBits = 128,
     .name = "MD5",
     .longName = "Message Digest 5 (MD5)"},
    {.id = CALG_MD2,
     .defaultBits = 128,
     .minBits = 128,
     .maxBits = 128,
     .name = "MD2",
     .longName = "Message Digest 2 (MD2)"},
    {.id = 0x2E02,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 256,
     .name = "GR 34.10-12 256",
     .longName = "GOST R 34.10-2012, 256 bits"},
    {.id = 0x2E03,
     .defaultBits = 512,
     .minBits = 512,
     .maxBits = 512,
     .name = "GR 34.10-12 512",
     .longName = "GOST R 34.10-2012, 512 bits"},
    {.id = 0x2E01,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 256,
     .name = "GR 34.10-2001",
     .longName = "GOST R 34.10-2001"},
    {.id = CALG_RSA_SIGN,
     .defaultBits = 2048,
     .minBits = 1024,
     .maxBits = 16384,
     .name = "RSA_SIGN",
     .longName = "RSA signature"},
    {.id = CALG_ECDSA,
     .defaultBits = 256,
     .minBits = 256,
     .maxBits = 521,
     .name = "ECDSA",
     .longName = "ECDSA signature"},
};

constexpr bool namesFit() {
  return std::ranges::all_of(kAlgorithms, [](const auto& row) {
    return row.name.size() < sizeof(PROV_ENUMALGS::szName) &&
           row.longName.size() < sizeof(PROV_ENUMALGS_EX::szLongName);
  });
}

static_assert(namesFit(), "an algorithm's name is longer than the published record holds");

template <class Predicate>
const ProviderType* findRow(Predicate matches) {
  const auto* const found = std::ranges::find_if(kProviderTypes, matches);
  return found != std::end(kProviderTypes) ? found : nullptr;
}

}  // namespace

const ProviderType* findProviderType(DWORD type) {
  return findRow([type](const ProviderType& row) { return row.type == type; });
}

const ProviderType* findProviderType(std::string_view name) {
  return findRow([name](const ProviderType& row) { return name == row.name; });
}

std::span<const OfferedAlgorithm> offeredAlgorithms() {
  return kAlgorithms;
}

}  // namespace qx
