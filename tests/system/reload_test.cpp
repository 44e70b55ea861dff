#include <dlfcn.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include "qxsapssf/ssf.h"
#include "tests/provider/support/scoped_environment.h"
#include "tests/support/system_world.h"

// A host that loads the library, works with it, and lets it go, again and again, with the default
// provider beneath. The program itself is not linked with the library.

namespace qx::test::reload_test {
namespace {

SAP_B8* bytes(const std::string& text) {
  return text.empty() ? nullptr : const_cast<SAP_B8*>(reinterpret_cast<const SAP_B8*>(text.data()));
}

SsfOctetlen length(const std::string& text) {
  return static_cast<SsfOctetlen>(text.size());
}

/// The library while it is loaded.
class LoadedLibrary {
 public:
  LoadedLibrary() : handle_(dlopen(QX_LIBRARY_UNDER_TEST, RTLD_NOW | RTLD_LOCAL)) {
    EXPECT_NE(handle_, nullptr) << dlerror();
  }

  ~LoadedLibrary() {
    EXPECT_EQ(dlclose(handle_), 0);
    EXPECT_EQ(dlopen(QX_LIBRARY_UNDER_TEST, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  }

  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  LoadedLibrary(LoadedLibrary&&) = delete;
  LoadedLibrary& operator=(LoadedLibrary&&) = delete;

  /// Signs as one person; empty when that failed.
  std::string sign(const std::string& content,
                   const std::string& id,
                   const std::string& pin) const {
    SigRcpSsfInformation* signer = nullptr;
    SigRcpSsfInformationListStruct* list = nullptr;
    symbol<decltype(SsfNEWSigRcpSsfInfo)>("SsfNEWSigRcpSsfInfo")(
        bytes(id), length(id), nullptr, 0, nullptr, 0, bytes(pin), length(pin), 0, &signer);
    symbol<decltype(SsfINSSigRcpSsfInfo)>("SsfINSSigRcpSsfInfo")(signer, &list);
    SAP_B8* output = nullptr;
    SsfOctetlen size = 0;
    symbol<decltype(SsfSign)>("SsfSign")(bytes(kFormat),
                                         length(kFormat),
                                         nullptr,
                                         0,
                                         1,
                                         0,
                                         bytes(content),
                                         length(content),
                                         list,
                                         &output,
                                         &size);
    symbol<decltype(SsfDELSigRcpSsfInfoList)>("SsfDELSigRcpSsfInfoList")(&list);
    return take(output, size);
  }

  /// Verifies; the signer's identity as the library tells it, empty when the message is not good.
  std::string signerOf(const std::string& message, const std::string& content) const {
    SigRcpSsfInformationListStruct* list = nullptr;
    SAP_B8* output = nullptr;
    SsfOctetlen size = 0;
    const SAPRETURN code = symbol<decltype(SsfVerify)>("SsfVerify")(bytes(kFormat),
                                                                    length(kFormat),
                                                                    nullptr,
                                                                    bytes(message),
                                                                    length(message),
                                                                    nullptr,
                                                                    0,
                                                                    nullptr,
                                                                    0,
                                                                    nullptr,
                                                                    0,
                                                                    &list,
                                                                    &output,
                                                                    &size);
    std::string signer;
    if (take(output, size) == content && code == SSF_API_OK && list != nullptr) {
      const SigRcpSsfInformation& record = *list->info;
      signer.assign(record.id, record.id + record.idLength);
    }
    symbol<decltype(SsfDELSigRcpSsfInfoList)>("SsfDELSigRcpSsfInfoList")(&list);
    return signer;
  }

 private:
  inline static const std::string kFormat = "PKCS7";

  template <class T>
  T* symbol(const char* name) const {
    return reinterpret_cast<T*>(dlsym(handle_, name));
  }

  std::string take(SAP_B8* output, SsfOctetlen size) const {
    const std::string text(output, output + size);
    symbol<decltype(SsfDELSsfOctetstring)>("SsfDELSsfOctetstring")(&output, &size);
    return text;
  }

  void* handle_;
};

// The address sanitizer has a heap of its own.
std::size_t allocatedBytes() {
  void* const ask = dlsym(RTLD_DEFAULT, "__sanitizer_get_current_allocated_bytes");
  return ask != nullptr ? reinterpret_cast<std::size_t (*)()>(ask)() : mallinfo2().uordblks;
}

// libcrypto keeps the provider's library context for whoever is loaded next, and forgets it at its own end,
// before leaks are looked for.
class KeepsWhatLibcryptoKeeps : public ::testing::Environment {
 public:
  void TearDown() override {
    static auto& kept = *new std::vector<OBJ_NAME>;
    OBJ_NAME_do_all(
        OBJ_NAME_TYPE_UNDEF,
        [](const OBJ_NAME* name, void* all) {
          static_cast<std::vector<OBJ_NAME>*>(all)->push_back(*name);
        },
        &kept);
    EXPECT_LE(kept.size(), 1U);
  }
};

// NOLINTNEXTLINE(cert-err58-cpp): what it throws ends the test
const auto* const keeper = ::testing::AddGlobalTestEnvironment(new KeepsWhatLibcryptoKeeps);

auto openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

const std::string kContent = "a document";

TEST(SystemReload, SignsAndVerifiesInEachOfAHundredRounds) {
  constexpr int kRounds = 100;
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  const auto round = [&] {
    const LoadedLibrary library;
    const std::string message = library.sign(kContent, ivan.thumbprint, "plum-1234");
    EXPECT_EQ(library.signerOf(message, kContent), "CN=Ivan, O=Bank, C=RU");
    EXPECT_EQ(library.sign(kContent, ivan.thumbprint, "plum-4321"), "");
  };

  round();
  const auto descriptors = openDescriptors();
  for (int i = 1; i < kRounds; ++i) {
    round();
  }
  EXPECT_EQ(openDescriptors(), descriptors);
}

TEST(SystemReload, NeedsNoMoreMemoryEachTime) {
  constexpr std::size_t kRounds = 20;
  constexpr std::size_t kMostPerRound = 2048;  // a store of one certificate needs ten times as much
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan", "plum-1234");
  const auto rounds = [&] {
    for (std::size_t i = 0; i < kRounds; ++i) {
      const LoadedLibrary library;
      const std::string message = library.sign(kContent, ivan.thumbprint, "plum-1234");
      EXPECT_NE(library.signerOf(message, kContent), "");
    }
  };

  rounds();
  const std::size_t before = allocatedBytes();
  rounds();
  EXPECT_LT(allocatedBytes(), before + kRounds * kMostPerRound);
}

// What a thread keeps for itself is the library's, too, and must not outlive it.
TEST(SystemReload, ComesAndGoesAroundThreadsThatGoOn) {
  constexpr int kRounds = 10;
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  for (int i = 0; i < kRounds; ++i) {
    const LoadedLibrary library;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([&] {
        const std::string message = library.sign(kContent, ivan.thumbprint, {});
        EXPECT_NE(library.signerOf(message, kContent), "");
      });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }
}

TEST(SystemReload, HeedsTheEnvironmentOfItsLoadAndNoLaterOne) {
  const SystemWorld world;
  const Person ivan = world.enrol("Ivan");
  ScopedEnvironment environment{{"QX_SSF_USERID", ""}};
  std::string message;
  {
    const LoadedLibrary library;
    environment.set("QX_SSF_USERID", "CERT_HASH");
    message = library.sign(kContent, ivan.thumbprint, {});
    EXPECT_EQ(library.signerOf(message, kContent), "CN=Ivan, O=Bank, C=RU");
  }
  const LoadedLibrary library;
  environment.set("QX_SSF_USERID", "");
  const std::string signer = library.signerOf(message, kContent);
  EXPECT_EQ(signer.find("CN="), std::string::npos) << signer;
  EXPECT_NE(signer, "");
}

// Folders are looked up at each call: a host may set them after it loaded the library.
TEST(SystemReload, FindsTheStoresOfAFolderThatIsNamedAfterItsLoad) {
  const LoadedLibrary library;
  std::string thumbprint;
  {
    const SystemWorld world;
    thumbprint = world.enrol("Ivan").thumbprint;
    EXPECT_NE(library.sign(kContent, thumbprint, {}), "");
  }
  const SystemWorld other;
  EXPECT_EQ(library.sign(kContent, thumbprint, {}), "");
  EXPECT_NE(library.sign(kContent, other.enrol("Anna").thumbprint, {}), "");
}

}  // namespace
}  // namespace qx::test::reload_test
