#include "tests/provider/store/released_handles.h"

#include <map>
#include <mutex>

#include "platform/crypt_prov.h"

namespace {

struct Counter {
  std::mutex mutex;
  std::map<HCRYPTPROV, int> releases;

  static Counter& instance() {
    static Counter counter;
    return counter;
  }
};

}  // namespace

namespace qx::test {

int releasesOf(HCRYPTPROV handle) {
  Counter& counter = Counter::instance();
  const std::scoped_lock lock(counter.mutex);
  return counter.releases[handle];
}

}  // namespace qx::test

// NOLINTBEGIN(*-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's --wrap names them so
extern "C" {
BOOL __real_CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);
BOOL __wrap_CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags);
}

BOOL __wrap_CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  {
    Counter& counter = Counter::instance();
    const std::scoped_lock lock(counter.mutex);
    ++counter.releases[hProv];
  }
  return __real_CryptReleaseContext(hProv, dwFlags);
}

// NOLINTEND(*-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
