#include "tests/scripted_provider/scripted_provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cert_store.h"
#include "platform/crypt_prov.h"

namespace qx::scripted {
namespace {

TEST(ScriptedProvider, AllocationFailuresReachMallocAndNew) {
  bool mallocFailed = false;
  bool newFailed = false;
  {
    const AllocationFailure failure(1);
    void* memory = std::malloc(8);
    mallocFailed = memory == nullptr;
    std::free(memory);
  }
  {
    const AllocationFailure failure(1);
    try {
      const std::string text(100, 'a');
    } catch (const std::bad_alloc&) {
      newFailed = true;
    }
  }
  EXPECT_TRUE(mallocFailed);
  EXPECT_TRUE(newFailed);
}

}  // namespace
}  // namespace qx::scripted
