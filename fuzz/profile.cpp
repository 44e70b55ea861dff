// A profile: the name of a store, with or without its place.

#include "qxsapssf/identity/profile.h"

#include <filesystem>

#include "platform/cert_store.h"

#include "fuzz/input.h"
#include "fuzz/world.h"

namespace {

std::ptrdiff_t countStores(const std::string& folder) {
  const std::filesystem::directory_iterator stores(folder + "/stores");
  return std::distance(begin(stores), end(stores));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& folder = qx::fuzz::enterWorld();
  static const std::ptrdiff_t stores = countStores(folder);
  qx::fuzz::Input input(data, size);
  const std::string profile = input.rest();
  const qx::Store store = qx::openProfileStore(profile, qx::StoreMy);
  if (store) {
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store.get(), certificate)) != nullptr) {
      qx::fuzz::expect(certificate->cbCertEncoded > 0, "a certificate has bytes");
    }
  }
  qx::fuzz::expect(countStores(folder) == stores, "no store is made by asking for it");
  return 0;
}
