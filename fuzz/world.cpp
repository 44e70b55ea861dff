#include "fuzz/world.h"

#include <cstdlib>
#include <filesystem>

#include "tests/support/temp_dir.h"

namespace qx::fuzz {
namespace {

namespace fs = std::filesystem;

class World {
 public:
  World() {
    fs::copy(QX_FUZZ_WORLD, user_, fs::copy_options::recursive);
    // A key that others may read is refused, and a checkout lets them.
    for (const fs::directory_entry& key : fs::directory_iterator(user_ + "/keys")) {
      fs::permissions(key, fs::perms::owner_read | fs::perms::owner_write);
    }
    set("QXPROVIDER_USER_DIR", user_);
    set("QXPROVIDER_MACHINE_DIR", folder_.file("machine"));
    const std::string nothing = folder_.write("provider.conf", "");
    set("QXPROVIDER_CONF", nothing);
  }

  const std::string& path() const { return user_; }

 private:
  static void set(const char* name, const std::string& value) {
    setenv(name, value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe): a target has one thread
  }

  test::TempDir folder_;
  std::string user_ = folder_.file("user");
};

}  // namespace

const std::string& enterWorld() {
  static const World world;
  return world.path();
}

}  // namespace qx::fuzz
