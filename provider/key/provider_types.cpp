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

// clang-format off
constexpr OfferedAlgorithm kAlgorithms[] = {
    {CALG_SHA_256,   256,  256,   256, "SHA-256",         "Secure Hash Algorithm (SHA-256)"},
    {CALG_SHA_384,   384,  384,   384, "SHA-384",         "Secure Hash Algorithm (SHA-384)"},
    {CALG_SHA_512,   512,  512,   512, "SHA-512",         "Secure Hash Algorithm (SHA-512)"},
    {CALG_SHA1,      160,  160,   160, "SHA-1",           "Secure Hash Algorithm (SHA-1)"},
    {0x8021,         256,  256,   256, "GR 34.11-12 256", "GOST R 34.11-2012, 256 bits"},
    {0x8022,         512,  512,   512, "GR 34.11-12 512", "GOST R 34.11-2012, 512 bits"},
    {0x801E,         256,  256,   256, "GR 34.11-94",     "GOST R 34.11-94"},
    {CALG_MD5,       128,  128,   128, "MD5",             "Message Digest 5 (MD5)"},
    {CALG_MD2,       128,  128,   128, "MD2",             "Message Digest 2 (MD2)"},
    {0x2E02,         256,  256,   256, "GR 34.10-12 256", "GOST R 34.10-2012, 256 bits"},
    {0x2E03,         512,  512,   512, "GR 34.10-12 512", "GOST R 34.10-2012, 512 bits"},
    {0x2E01,         256,  256,   256, "GR 34.10-2001",   "GOST R 34.10-2001"},
    {CALG_RSA_SIGN, 2048, 1024, 16384, "RSA_SIGN",        "RSA signature"},
    {CALG_ECDSA,     256,  256,   521, "ECDSA",           "ECDSA signature"},
};
// clang-format on

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
