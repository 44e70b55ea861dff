// The provider's configuration file.

#include <cstdlib>

#include "fuzz/input.h"
#include "provider/support/config.h"
#include "tests/support/temp_dir.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qx::test::TempDir folder;
  qx::fuzz::Input input(data, size);
  const std::string file = folder.write("provider.conf", input.rest());
  setenv("QXPROVIDER_CONF", file.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): there is one thread
  const qx::Configuration read = qx::readConfiguration();
  qx::fuzz::expect(read.http.caFile.starts_with('/') || read.http.caFile.empty(),
                   "an absolute path");
  qx::fuzz::expect(read.pin.kdfRounds > 0, "a key is never derived in no rounds");
  for (const std::string& problem : read.problems) {
    qx::fuzz::expect(!problem.empty(), "a problem is a sentence");
  }
  return 0;
}
