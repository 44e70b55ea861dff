#include <algorithm>
#include <thread>
#include <vector>

#include "provider/store/certificate_context.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::certificate_api_test {
namespace {

class CertificateContextTest : public StoreTest {};

TEST_F(CertificateContextTest, ShowsACopyOfTheBytes) {
  Bytes der = makeDer("Copy");
  const Bytes original = der;
  const ContextHandle context = makeContext(der);
  std::ranges::fill(der, std::uint8_t{0});
  ASSERT_NE(nullptr, context);
  EXPECT_EQ(X509_ASN_ENCODING, context->dwCertEncodingType);
  EXPECT_EQ(original, bytesOf(context.get()));
  EXPECT_NE(nullptr, context->pCertInfo);
  EXPECT_EQ("Copy", commonNameOf(context.get()));
}

TEST_F(CertificateContextTest, LeavesTheLastErrorAloneWhenItIsMadeAndFreed) {
  const Bytes der = makeDer("Quiet");
  SetLastError(kUntouched);
  makeContext(der).reset();
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(CertificateContextTest, WantsTheX509Encoding) {
  const Bytes der = makeDer("Encoding");
  const auto size = static_cast<DWORD>(der.size());
  for (const DWORD encoding : {0U, PKCS_7_ASN_ENCODING, 2U}) {
    EXPECT_EQ(nullptr, CertCreateCertificateContext(encoding, der.data(), size));
    EXPECT_EQ(E_INVALIDARG, GetLastError());
  }
  const ContextHandle context(CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), size));
  EXPECT_NE(nullptr, context);
}

TEST_F(CertificateContextTest, IsNotMadeOfNothing) {
  EXPECT_EQ(nullptr, CertCreateCertificateContext(kX509, nullptr, 0));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
  EXPECT_EQ(nullptr, CertCreateCertificateContext(kX509, nullptr, 10));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
  const Bytes der = makeDer("Short");
  EXPECT_EQ(nullptr, CertCreateCertificateContext(kX509, der.data(), 0));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
  EXPECT_EQ(nullptr, CertCreateCertificateContext(kX509, der.data(), 30));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, GetLastError());
}

TEST_F(CertificateContextTest, IsNotMadeOfOtherThings) {
  EXPECT_EQ(nullptr, makeContext({0x05, 0x00}));
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, GetLastError());
  EXPECT_EQ(nullptr, makeContext(lab::toDer(authority().crl().get())));
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, GetLastError());
}

TEST_F(CertificateContextTest, BelongsToOneEmptyStoreThatAllShare) {
  const ContextHandle first = makeContext(makeDer("First"));
  const ContextHandle second = makeContext(makeDer("Second"));
  EXPECT_NE(nullptr, first->hCertStore);
  EXPECT_EQ(first->hCertStore, second->hCertStore);
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(first->hCertStore, nullptr));
  EXPECT_EQ(CRYPT_E_NOT_FOUND, GetLastError());
}

TEST_F(CertificateContextTest, LeavesTheSharedStoreOpenAndEmpty) {
  const Bytes der = makeDer("Dummy");
  const ContextHandle context = makeContext(der);
  EXPECT_EQ(TRUE, CertCloseStore(context->hCertStore, 0));
  EXPECT_EQ(TRUE, CertCloseStore(context->hCertStore, CERT_CLOSE_STORE_CHECK_FLAG));
  EXPECT_EQ(FALSE,
            CertAddEncodedCertificateToStore(context->hCertStore,
                                             kX509,
                                             der.data(),
                                             static_cast<DWORD>(der.size()),
                                             CERT_STORE_ADD_ALWAYS,
                                             nullptr));
  EXPECT_EQ(E_ACCESSDENIED, GetLastError());
  EXPECT_EQ(nullptr, CertEnumCertificatesInStore(context->hCertStore, nullptr));
}

TEST_F(CertificateContextTest, IsDuplicatedByCounting) {
  ContextHandle context = makeContext(makeDer("Counted"));
  const ContextHandle second(CertDuplicateCertificateContext(context.get()));
  EXPECT_EQ(context.get(), second.get());
  context.reset();
  EXPECT_EQ("Counted", commonNameOf(second.get()));
}

TEST_F(CertificateContextTest, TakesNothingForNothing) {
  EXPECT_EQ(nullptr, CertDuplicateCertificateContext(nullptr));
  EXPECT_EQ(TRUE, CertFreeCertificateContext(nullptr));
  EXPECT_EQ(kUntouched, GetLastError());
}

TEST_F(CertificateContextTest, CountsInManyThreads) {
  const ContextHandle context = makeContext(makeDer("Threads"));
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&context] {
      for (int turn = 0; turn < 1000; ++turn) {
        CertFreeCertificateContext(CertDuplicateCertificateContext(context.get()));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ("Threads", commonNameOf(context.get()));
}

TEST_F(CertificateContextTest, TellsWhereItCameFrom) {
  const Bytes der = makeDer("Location");
  const ContextHandle free = makeContext(der);
  EXPECT_EQ(std::nullopt, CertificateContext::from(free.get())->location());
  const StoreHandle memory = openMemory();
  const ContextHandle inMemory = addTo(memory, der);
  EXPECT_EQ(std::nullopt, CertificateContext::from(inMemory.get())->location());
  const StoreHandle user = openSystem(L"My");
  const ContextHandle ofUser = addTo(user, der);
  EXPECT_EQ(Location::CurrentUser, CertificateContext::from(ofUser.get())->location());
  const StoreHandle machine = openSystem(L"My", kMachine);
  const ContextHandle ofMachine = addTo(machine, der);
  EXPECT_EQ(Location::LocalMachine, CertificateContext::from(ofMachine.get())->location());
}

TEST_F(CertificateContextTest, IsRecognisedByItsMark) {
  const ContextHandle context = makeContext(makeDer("Mark"));
  EXPECT_EQ(context.get(), CertificateContext::from(context.get()));
  EXPECT_EQ(nullptr, CertificateContext::from(nullptr));

  // The mark stands behind the published record.
  const struct {
    CERT_CONTEXT record{};
    std::uint64_t behind[4] = {};
  } foreign;

  EXPECT_EQ(nullptr, CertificateContext::from(&foreign.record));
  EXPECT_EQ(TRUE, CertFreeCertificateContext(&foreign.record));
}

}  // namespace
}  // namespace qx::test::certificate_api_test
