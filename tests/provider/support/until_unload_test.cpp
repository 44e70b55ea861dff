#include "provider/support/until_unload.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace qx::until_unload_test {
namespace {

// Not a static object: what ends late would find it gone.
std::vector<int>& ended() {
  static auto& numbers = *new std::vector<int>;
  return numbers;
}

void note(void* number) {
  ended().push_back(*static_cast<int*>(number));
}

void cry(void* /*object*/) {
  constexpr char kText[] = "ended";
  if (write(STDERR_FILENO, kText, sizeof kText - 1) < 0) {
    std::abort();
  }
}

using Keep = void(void*, void (*)(void*));

class Module {
 public:
  Module() : handle_(dlopen(QX_UNLOADED_MODULE, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }

  ~Module() { EXPECT_EQ(dlclose(handle_), 0); }

  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  Module(Module&&) = delete;
  Module& operator=(Module&&) = delete;

  void keep(void* object, void (*end)(void*)) const {
    reinterpret_cast<Keep*>(dlsym(handle_, "keepUntilUnload"))(object, end);
  }

 private:
  void* handle_;
};

TEST(UntilUnload, EndsWhatIsKeptLastOnesFirst) {
  ended().clear();
  int first = 1;
  int second = 2;
  {
    const Module module;
    module.keep(&first, note);
    module.keep(&second, note);
    EXPECT_TRUE(ended().empty());
  }
  EXPECT_EQ(ended(), (std::vector{2, 1}));
}

TEST(UntilUnload, BeginsAnewWithEachLoad) {
  ended().clear();
  int number = 7;
  for (int round = 0; round < 3; ++round) {
    const Module module;
    module.keep(&number, note);
  }
  EXPECT_EQ(ended(), (std::vector{7, 7, 7}));
}

// The module is unloaded here, too, only later and by nobody who asks for it.
TEST(UntilUnload, LeavesTheEndOfTheProcessAlone) {
  EXPECT_EXIT(
      {
        auto* const module = new Module;
        module->keep(nullptr, cry);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0),
      "^$");
}

TEST(UntilUnload, LeavesTheEndOfAProcessAloneThatIsLinkedWithIt) {
  EXPECT_EXIT(
      {
        endAtUnload(nullptr, cry);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0),
      "^$");
}

TEST(UntilUnload, GivesTheObjectItself) {
  auto object = std::make_unique<int>(5);
  const int* const address = object.get();
  EXPECT_EQ(&untilUnload(std::move(object)), address);
}

}  // namespace
}  // namespace qx::until_unload_test
