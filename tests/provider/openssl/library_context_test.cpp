#include "provider/openssl/library_context.h"

#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include "provider/openssl/owned.h"

namespace qx::library_context_test {
namespace {

TEST(LibraryContext, IsOneForAllThreads) {
  constexpr std::size_t kThreads = 8;
  std::vector<OSSL_LIB_CTX*> seen(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&seen, i] { seen[i] = libraryContext(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_NE(seen[0], nullptr);
  for (OSSL_LIB_CTX* context : seen) {
    EXPECT_EQ(context, seen[0]);
  }
}

TEST(LibraryContext, IsNotTheHosts) {
  EXPECT_NE(libraryContext(), OSSL_LIB_CTX_get0_global_default());
  OSSL_LIB_CTX* inUse = OSSL_LIB_CTX_set0_default(nullptr);
  EXPECT_NE(inUse, libraryContext());
}

TEST(LibraryContext, HoldsTheDefaultProvider) {
  EXPECT_EQ(OSSL_PROVIDER_available(libraryContext(), "default"), 1);
  EXPECT_EQ(OSSL_PROVIDER_available(libraryContext(), "legacy"), 0);
}

TEST(LibraryContext, WorksWhenTheHostAllowsItselfNothing) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EVP_set_default_properties(nullptr, "fips=yes");
        const EvpMdPtr theirs(EVP_MD_fetch(nullptr, "SHA256", nullptr));
        const EvpMdPtr ours(EVP_MD_fetch(libraryContext(), "SHA256", nullptr));
        std::exit(theirs == nullptr && ours != nullptr ? 0 : 1);
      },
      ::testing::ExitedWithCode(0),
      "");
}

}  // namespace
}  // namespace qx::library_context_test
