#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "provider/store/folder_store.h"
#include "provider/store/store_files.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::store_threads_test {
namespace {

constexpr int kThreads = 8;

class ThreadsTest : public StoreTest {
 protected:
  template <class Body>
  static void inThreads(const Body& body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&body, i] { body(i); });
    }
    for (std::thread& thread : threads) {
      thread.join();
    }
  }

  /// Until the process is ended by another.
  [[noreturn]] static void comeAndGo(
      const std::vector<std::shared_ptr<const CertificateData>>& certificates) {
    for (;;) {
      for (const auto& data : certificates) {
        if (const auto name = addCertificateFile(my(), *data, IfPresent::Keep); name) {
          static_cast<void>(removeCertificateFile(my(), *name, data->sha1()));
        }
      }
    }
  }

  static StoreName my() { return *StoreName::make(Location::CurrentUser, "My"); }
};

TEST_F(ThreadsTest, OpenAndWalkWhileAnotherProcessChangesTheStore) {
  constexpr std::size_t kStaying = 10;
  for (std::size_t i = 0; i < kStaying; ++i) {
    write("My", std::to_string(i) + ".cer", makeDer("Staying " + std::to_string(i)));
  }
  std::vector<std::shared_ptr<const CertificateData>> changing;
  for (int i = 0; i < 5; ++i) {
    changing.push_back(makeData("Changing " + std::to_string(i)));
  }
  const pid_t child = fork();
  if (child == 0) {
    comeAndGo(changing);
  }
  std::atomic<int> wrong = 0;
  inThreads([&](int) {
    for (int turn = 0; turn < 50; ++turn) {
      const StoreHandle store = openSystem(L"My", kUser | CERT_STORE_OPEN_EXISTING_FLAG);
      std::size_t staying = 0;
      PCCERT_CONTEXT context = nullptr;
      while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr) {
        staying += commonNameOf(context).starts_with("Staying") ? 1U : 0U;
      }
      wrong += staying == kStaying ? 0 : 1;
    }
  });
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(0, wrong);
}

TEST_F(ThreadsTest, AddAndDeleteThroughHandlesOfTheirOwn) {
  std::atomic<int> failures = 0;
  inThreads([&](int i) {
    for (int turn = 0; turn < 5; ++turn) {
      const StoreHandle store = openSystem(L"My");
      const Bytes der = makeDer("Thread " + std::to_string(i));
      ContextHandle added = addTo(store, der, CERT_STORE_ADD_NEW);
      failures += added == nullptr ? 1 : 0;
      failures += CertDeleteCertificateFromStore(added.release()) == TRUE ? 0 : 1;
    }
  });
  EXPECT_EQ(0, failures);
  EXPECT_TRUE(namesIn(openSystem(L"My")).empty());
}

TEST_F(ThreadsTest, ShareOneHandle) {
  const StoreHandle store = openMemory();
  for (int i = 0; i < 20; ++i) {
    addTo(store, makeDer("Shared " + std::to_string(i)));
  }
  std::vector<Bytes> own;
  for (int i = 0; i < kThreads; ++i) {
    own.push_back(makeDer("Own " + std::to_string(i)));
  }
  std::atomic<int> failures = 0;
  inThreads([&](int i) {
    for (int turn = 0; turn < 50; ++turn) {
      failures += namesIn(store).size() >= 20 ? 0 : 1;
      ContextHandle added = addTo(store, own[static_cast<std::size_t>(i)]);
      const Bytes value = {1};
      const CRYPT_DATA_BLOB blob = blobOf(value);
      EXPECT_EQ(TRUE, CertSetCertificateContextProperty(added.get(), 0x8000, 0, &blob));
      failures += CertDeleteCertificateFromStore(added.release()) == TRUE ? 0 : 1;
    }
  });
  EXPECT_EQ(0, failures);
  EXPECT_EQ(20U, namesIn(store).size());
}

TEST_F(ThreadsTest, FreeContextsWhileTheStoreIsClosed) {
  for (int turn = 0; turn < 20; ++turn) {
    StoreHandle store = openMemory();
    std::vector<ContextHandle> contexts;
    for (int i = 0; i < kThreads; ++i) {
      contexts.push_back(addTo(store, makeDer("Closing")));
    }
    inThreads([&](int i) {
      if (i == 0) {
        store.reset();
      }
      contexts[static_cast<std::size_t>(i)].reset();
    });
  }
}

TEST_F(ThreadsTest, SetAndReadPropertiesOfOneContext) {
  const ContextHandle context = makeContext(makeDer("Properties"));
  inThreads([&](int i) {
    const Bytes value(static_cast<std::size_t>(i + 1), static_cast<std::uint8_t>(i));
    const CRYPT_DATA_BLOB blob = blobOf(value);
    for (int turn = 0; turn < 200; ++turn) {
      EXPECT_EQ(TRUE, CertSetCertificateContextProperty(context.get(), 0x8000, 0, &blob));
      Bytes got(kThreads);
      auto size = static_cast<DWORD>(got.size());
      EXPECT_EQ(TRUE, CertGetCertificateContextProperty(context.get(), 0x8000, got.data(), &size));
      EXPECT_EQ(size, got[0] + 1U) << "one value, not pieces of two";
    }
  });
}

// A child takes over what its parent had open, also when other threads were busy at the fork.
TEST_F(ThreadsTest, GoOnInAChild) {
  write("My", "a.cer", makeDer("Parent's"));
  const StoreHandle store = openSystem(L"My");
  const ContextHandle context = findIn(store, CERT_FIND_ANY, nullptr);
  std::atomic<bool> stop = false;
  std::thread busy([&] {
    while (!stop) {
      namesIn(openSystem(L"My"));
      const Bytes value = {1};
      const CRYPT_DATA_BLOB blob = blobOf(value);
      EXPECT_EQ(TRUE, CertSetCertificateContextProperty(context.get(), 0x8000, 0, &blob));
    }
  });
  for (int turn = 0; turn < 20; ++turn) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(30);  // a lock that nobody holds would keep it for ever
      CertFreeCertificateContext(CertDuplicateCertificateContext(context.get()));
      DWORD size = 0;
      bool good = CertGetCertificateContextProperty(
                      context.get(), CERT_SHA1_HASH_PROP_ID, nullptr, &size) == TRUE;
      PCCERT_CONTEXT walked = nullptr;
      int count = 0;
      while ((walked = CertEnumCertificatesInStore(store.get(), walked)) != nullptr) {
        ++count;
      }
      const auto fresh = snapshot(my());
      good = good && count == 1 && fresh && (*fresh)->certificates().size() == 1;
      _exit(good ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
  }
  stop = true;
  busy.join();
}

}  // namespace
}  // namespace qx::test::store_threads_test
