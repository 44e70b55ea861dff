#include "bench/store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

#include "platform/cert_store.h"

#include "bench/ssf_side.h"

namespace qx::bench {
namespace {

constexpr int kBigStore = 10000;
constexpr int kRounds = 301;

double microseconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
      .count();
}

double medianMicroseconds(const std::function<void()>& work) {
  std::vector<double> times;
  times.reserve(kRounds);
  for (int i = 0; i < kRounds; ++i) {
    times.push_back(microseconds(work));
  }
  std::nth_element(times.begin(), times.begin() + kRounds / 2, times.end());
  return times[kRounds / 2];
}

void openAndClose(const wchar_t* name) {
  HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W,
                                   0,
                                   0,
                                   CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_OPEN_EXISTING_FLAG,
                                   name);
  CertCloseStore(store, 0);
}

double signTime(const std::string& identity, std::size_t contentSize) {
  const std::string content(contentSize, 'x');
  return medianMicroseconds([&] {
    SsfString out;
    if (ssfSign(content, identity, World::kPin, false, out) != 0) {
      std::printf("signing as %s failed\n", identity.c_str());
    }
  });
}

}  // namespace

void reportStores(const World& world) {
  world.addFillers("Big", kBigStore);
  const double first = microseconds([] { openAndClose(L"Big"); });
  const double again = medianMicroseconds([] { openAndClose(L"Big"); });
  std::printf("open a store of %d certificates: first %.0f us, again %.1f us, first/again %.0f\n",
              kBigStore,
              first,
              again,
              first / again);

  const Signer& signer = world.signer(lab::KeyKind::Gost2012_256);
  constexpr int kWalked = 1000;
  constexpr std::size_t kContent = 1024;
  const double byHash = signTime(signer.thumbprint, kContent);
  const double byName = signTime("CN=Signer gost2012-256, O=Bench, C=RU", kContent);
  std::printf(
      "sign 1 KB: by thumbprint %.1f us, by name over a store of %d %.1f us, "
      "%.2f us more for each certificate walked\n",
      byHash,
      kWalked,
      byName,
      (byName - byHash) / kWalked);
}

}  // namespace qx::bench
