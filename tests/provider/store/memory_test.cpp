#include <functional>
#include <string>
#include <vector>

#include "platform/crypt_prov.h"

#include "provider/store/folder_store.h"
#include "provider/store/store_files.h"
#include "tests/provider/message/heap.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::memory_test {
namespace {

// Each test lets every allocation of one call fail once. Leaks are the sanitizer's business.
class MemoryTest : public StoreTest {
 protected:
  // `attempt` gives whether the call succeeded. How many allocations had to be failed until it did.
  static std::size_t failEachAllocation(const std::function<bool()>& attempt) {
    for (std::size_t n = 1; n < kMaxAllocations; ++n) {
      SetLastError(kUntouched);
      bool succeeded = false;
      bool failed = false;
      {
        const HeapFailure failure(n);
        succeeded = attempt();
        failed = failure.hasHappened();
      }
      if (!failed) {
        EXPECT_TRUE(succeeded) << "without any failure";
        return n - 1;
      }
      if (!succeeded) {
        EXPECT_EQ(E_OUTOFMEMORY, GetLastError()) << "allocation " << n;
      }
    }
    ADD_FAILURE() << "there is no end to it";
    return 0;
  }

 private:
  static constexpr std::size_t kMaxAllocations = 2000;
};

TEST_F(MemoryTest, MakesNoContext) {
  const Bytes der = makeDer("Context");
  const auto size = static_cast<DWORD>(der.size());
  EXPECT_LT(3U, failEachAllocation([&] {
              return ContextHandle(CertCreateCertificateContext(kX509, der.data(), size)) !=
                     nullptr;
            }));
}

TEST_F(MemoryTest, OpensNoMemoryStore) {
  EXPECT_LT(0U, failEachAllocation([] { return openMemory() != nullptr; }));
}

TEST_F(MemoryTest, OpensNoSystemStoreAndReadsItAnewThen) {
  for (int i = 0; i < 3; ++i) {
    write("My",
          std::to_string(i) + ".pem",
          lab::toPem(makeCertificate("Store " + std::to_string(i)).get()));
  }
  write("My", "a.crl", lab::toDer(authority().crl().get()));
  forgetSnapshots();
  EXPECT_LT(20U, failEachAllocation([] {
              forgetSnapshots();
              return openSystem(L"My", kUser | CERT_STORE_OPEN_EXISTING_FLAG) != nullptr;
            }));
  EXPECT_EQ(3U, namesIn(openSystem(L"My")).size());
}

TEST_F(MemoryTest, OpensNoStoreThatWasReadBefore) {
  write("Root", "user.cer", makeDer("User"));
  const auto name = StoreName::make(Location::LocalMachine, "Root");
  ASSERT_TRUE(addCertificateFile(*name, *makeData("Machine"), IfPresent::Keep));
  ASSERT_NE(nullptr, openSystem(L"Root"));
  EXPECT_LT(0U, failEachAllocation([] { return openSystem(L"Root") != nullptr; }));
  EXPECT_EQ(2U, namesIn(openSystem(L"Root")).size());
}

TEST_F(MemoryTest, AddsNothingToAMemoryStore) {
  const Bytes der = makeDer("Added");
  const auto size = static_cast<DWORD>(der.size());
  const StoreHandle store = openMemory();
  EXPECT_LT(5U, failEachAllocation([&] {
              PCCERT_CONTEXT context = nullptr;
              const BOOL added = CertAddEncodedCertificateToStore(
                  store.get(), kX509, der.data(), size, CERT_STORE_ADD_NEW, &context);
              const ContextHandle owner(context);
              return added == TRUE;
            }));
  EXPECT_EQ(1U, namesIn(store).size()) << "and not one for each failure";
}

TEST_F(MemoryTest, AddsToASystemStoreAtMostOnce) {
  const Bytes der = makeDer("Added");
  const auto size = static_cast<DWORD>(der.size());
  const StoreHandle store = openSystem(L"My");
  EXPECT_LT(
      10U, failEachAllocation([&] {
        return CertAddEncodedCertificateToStore(
                   store.get(), kX509, der.data(), size, CERT_STORE_ADD_USE_EXISTING, nullptr) ==
               TRUE;
      }));
  EXPECT_EQ(1U, namesIn(store).size());
  EXPECT_EQ(1U, namesIn(openSystem(L"My")).size());
}

TEST_F(MemoryTest, FindsNothingAndFreesThePreviousContext) {
  StoreHandle store = openMemory();
  addTo(store, makeDer("First"));
  addTo(store, makeDer("Second"));
  const std::wstring wanted = L"a text that is too long for a string's own room, and found nowhere";
  for (const wchar_t* text : {L"first", wanted.c_str()}) {
    failEachAllocation([&] {
      PCCERT_CONTEXT previous = CertEnumCertificatesInStore(store.get(), nullptr);
      const ContextHandle found(CertFindCertificateInStore(
          store.get(), kX509, 0, CERT_FIND_SUBJECT_STR_W, text, previous));
      return found != nullptr || GetLastError() == CRYPT_E_NOT_FOUND;
    });
  }
  EXPECT_EQ(TRUE, CertCloseStore(store.release(), CERT_CLOSE_STORE_CHECK_FLAG));
}

TEST_F(MemoryTest, KeepsThePropertyThatWasThere) {
  const ContextHandle context = makeContext(makeDer("Properties"));
  std::wstring container = L"a container with a name";
  Bytes data(100, 1);
  CRYPT_KEY_PROV_PARAM parameter{.dwParam = 1, .pbData = data.data(), .cbData = 100};
  CRYPT_KEY_PROV_INFO info{.pwszContainerName = container.data(),
                           .dwProvType = 1,
                           .cProvParam = 1,
                           .rgProvParam = &parameter};
  const auto set = [&] {
    return CertSetCertificateContextProperty(context.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info) ==
           TRUE;
  };
  const auto size = [&] {
    DWORD bytes = 0;
    const BOOL read = CertGetCertificateContextProperty(
        context.get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &bytes);
    return read == TRUE ? bytes : 0;
  };
  ASSERT_TRUE(set());
  const DWORD before = size();
  info.cProvParam = 0;
  std::size_t failures = 0;
  for (bool done = false; !done; ++failures) {
    const HeapFailure failure(failures + 1);
    done = set();
    if (!done) {
      EXPECT_TRUE(failure.hasHappened());
      EXPECT_EQ(before, size());
    }
  }
  EXPECT_LT(1U, failures);
  EXPECT_LT(size(), before);
}

TEST_F(MemoryTest, ReadsNoProperty) {
  const ContextHandle context = makeContext(makeDer("Read"));
  const Bytes value(100, 7);
  const CRYPT_DATA_BLOB blob = blobOf(value);
  ASSERT_EQ(TRUE, CertSetCertificateContextProperty(context.get(), 0x8000, 0, &blob));
  Bytes got(100);
  for (const DWORD id : {0x8000U, CERT_SHA1_HASH_PROP_ID, CERT_KEY_IDENTIFIER_PROP_ID}) {
    const std::size_t failures = failEachAllocation([&] {
      auto size = static_cast<DWORD>(got.size());
      return CertGetCertificateContextProperty(context.get(), id, got.data(), &size) == TRUE;
    });
    EXPECT_LT(0U, failures) << id;
  }
}

TEST_F(MemoryTest, ClosesAndFreesWithoutMemory) {
  const Bytes value = {1};
  const CRYPT_DATA_BLOB blob = blobOf(value);
  StoreHandle store = openMemory();
  ContextHandle out = addTo(store, makeDer("Out"));
  const ContextHandle back = addTo(store, makeDer("Back"));
  ASSERT_EQ(TRUE, CertSetCertificateContextProperty(back.get(), 0x8000, 0, &blob));
  const HeapFailure failure(1);
  EXPECT_EQ(TRUE, CertCloseStore(store.release(), 0));
  out.reset();
  EXPECT_FALSE(failure.hasHappened());
}

TEST_F(MemoryTest, ComparesWithoutMemory) {
  const auto data = makeData("Compared");
  CERT_INFO left = data->info();
  CERT_INFO right = data->info();
  CRYPT_ATTRIBUTE none{};
  const HeapFailure failure(1);
  EXPECT_EQ(TRUE, CertCompareCertificate(kX509, &left, &right));
  EXPECT_EQ(TRUE, CertCompareCertificateName(kX509, &left.Subject, &right.Subject));
  EXPECT_EQ(TRUE, CertCompareIntegerBlob(&left.SerialNumber, &right.SerialNumber));
  EXPECT_EQ(nullptr, CertFindAttribute("1.2.3", 1, &none));
  EXPECT_FALSE(failure.hasHappened());
}

}  // namespace
}  // namespace qx::test::memory_test
