// CertGetCertificateChain as its callers see it.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cert_chain.h"
#include "platform/cert_store.h"
#include "platform/errors.h"

#include "provider/store/folder_store.h"
#include "tests/provider/chain/listening_world.h"

namespace qx::test::api_test {
namespace {

using lab::Authority;
using lab::KeyKind;

constexpr DWORD kWithoutRoot = CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT;
constexpr DWORD kUnknown = CERT_TRUST_REVOCATION_STATUS_UNKNOWN | CERT_TRUST_IS_OFFLINE_REVOCATION;

struct ContextFree {
  void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};

struct ChainFree {
  void operator()(PCCERT_CHAIN_CONTEXT chain) const { CertFreeCertificateChain(chain); }
};

struct StoreClose {
  void operator()(HCERTSTORE store) const { EXPECT_TRUE(CertCloseStore(store, 0)); }
};

using Store = std::unique_ptr<void, StoreClose>;
using Context = std::unique_ptr<const CERT_CONTEXT, ContextFree>;
using Chain = std::unique_ptr<const CERT_CHAIN_CONTEXT, ChainFree>;

Context contextOf(const X509* certificate) {
  const lab::Bytes der = lab::toDer(certificate);
  return Context(
      CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), static_cast<DWORD>(der.size())));
}

void addTo(const Store& store, const X509* certificate) {
  const lab::Bytes der = lab::toDer(certificate);
  EXPECT_TRUE(CertAddEncodedCertificateToStore(store.get(),
                                               X509_ASN_ENCODING,
                                               der.data(),
                                               static_cast<DWORD>(der.size()),
                                               CERT_STORE_ADD_ALWAYS,
                                               nullptr));
}

class GetCertificateChain : public ::testing::Test {
 protected:
  GetCertificateChain()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, named("Middle"))),
        end(middle.issue(sampleKey(), named("End"))),
        context(contextOf(end.get())) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
    folder.addCertificate("CA", middle.certificate());
  }

  Chain get(DWORD flags = 0, HCERTSTORE additional = nullptr, LPFILETIME time = nullptr) {
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    EXPECT_TRUE(CertGetCertificateChain(
        HCCE_CURRENT_USER, context.get(), time, additional, &para, flags, nullptr, &chain))
        << std::hex << GetLastError();
    return Chain(chain);
  }

  DWORD errorsWith(DWORD flags) { return get(flags)->TrustStatus.dwErrorStatus; }

  static const CERT_CHAIN_ELEMENT& element(const Chain& chain, std::size_t i) {
    return *chain->rgpChain[0]->rgpElement[i];
  }

  const ProviderFolder folder;
  const Authority root;
  const Authority middle;
  const X509Ptr end;
  Context context;
  CERT_CHAIN_PARA para{.cbSize = sizeof(CERT_CHAIN_PARA)};
};

TEST_F(GetCertificateChain, HasOneSimpleChain) {
  const Chain chain = get();
  EXPECT_EQ(chain->cbSize, 72U);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
  EXPECT_EQ(chain->cChain, 1U);
  EXPECT_EQ(chain->cLowerQualityChainContext, 0U);
  EXPECT_EQ(chain->rgpLowerQualityChainContext, nullptr);
  EXPECT_EQ(chain->fHasRevocationFreshnessTime, FALSE);
}

TEST_F(GetCertificateChain, HasThreeElementsInItsSimpleChain) {
  const Chain chain = get();
  const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
  EXPECT_EQ(simple.cbSize, 40U);
  EXPECT_EQ(simple.TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
  EXPECT_EQ(simple.pTrustListInfo, nullptr);
  EXPECT_EQ(simple.cElement, 3U);
}

TEST_F(GetCertificateChain, SaysNothingOfRevocationAndUsageUnlessAsked) {
  const Chain chain = get();
  for (std::size_t i = 0; i < 3; ++i) {
    const CERT_CHAIN_ELEMENT& one = element(chain, i);
    EXPECT_EQ(one.cbSize, 56U);
    const std::array<const void*, 4> absent = {
        one.pRevocationInfo, one.pIssuanceUsage, one.pApplicationUsage, one.pwszExtendedErrorInfo};
    EXPECT_THAT(absent, ::testing::Each(nullptr));
  }
}

TEST_F(GetCertificateChain, BeginsWithTheVeryContext) {
  const Chain chain = get();
  EXPECT_EQ(element(chain, 0).pCertContext, context.get());
  const lab::Bytes der = lab::toDer(middle.certificate());
  const CERT_CONTEXT& issuer = *element(chain, 1).pCertContext;
  EXPECT_EQ(lab::Bytes(issuer.pbCertEncoded, issuer.pbCertEncoded + issuer.cbCertEncoded), der);
  EXPECT_NE(element(chain, 2).TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED, 0U);
}

TEST_F(GetCertificateChain, KeepsTheContextAliveByItself) {
  const Chain chain = get();
  const PCCERT_CONTEXT kept = context.release();
  CertFreeCertificateContext(kept);
  EXPECT_EQ(element(chain, 0).pCertContext, kept);
  EXPECT_EQ(kept->cbCertEncoded, lab::toDer(end.get()).size());
}

TEST_F(GetCertificateChain, LeavesItsContextsToWhoDuplicatedThem) {
  Chain chain = get();
  const Context kept(CertDuplicateCertificateContext(element(chain, 1).pCertContext));
  chain.reset();
  EXPECT_EQ(kept->cbCertEncoded, lab::toDer(middle.certificate()).size());
}

TEST_F(GetCertificateChain, IsMadeForAnUntrustedCertificateToo) {
  const X509Ptr strange = lab::selfSigned(sampleKey(), named("Strange"));
  context = contextOf(strange.get());
  const Chain chain = get();
  ASSERT_NE(chain, nullptr);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, CERT_TRUST_IS_UNTRUSTED_ROOT);
  EXPECT_EQ(chain->rgpChain[0]->TrustStatus.dwErrorStatus, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(GetCertificateChain, TellsARevocationInItsOwnRecord) {
  folder.addCrl("CA", root.crl().get(), "root.crl");
  folder.addCrl(
      "CA", middle.crl({.revoked = {{.serial = lab::serialOf(end.get())}}}).get(), "middle.crl");
  const Chain chain = get(kWithoutRoot);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, CERT_TRUST_IS_REVOKED);
  EXPECT_EQ(chain->dwCreateFlags, kWithoutRoot);
  ASSERT_NE(element(chain, 0).pRevocationInfo, nullptr);
  EXPECT_EQ(element(chain, 0).pRevocationInfo->cbSize, 40U);
  EXPECT_EQ(element(chain, 0).pRevocationInfo->dwRevocationResult,
            static_cast<DWORD>(CRYPT_E_REVOKED));
  ASSERT_NE(element(chain, 1).pRevocationInfo, nullptr);
  EXPECT_EQ(element(chain, 1).pRevocationInfo->dwRevocationResult, 0U);
  EXPECT_EQ(element(chain, 2).pRevocationInfo, nullptr);
}

TEST_F(GetCertificateChain, TellsWhenTheRevocationIsUnknown) {
  const Chain chain = get(CERT_CHAIN_REVOCATION_CHECK_CHAIN);
  EXPECT_EQ(chain->TrustStatus.dwErrorStatus, kUnknown);
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_NE(element(chain, i).pRevocationInfo, nullptr);
    EXPECT_EQ(element(chain, i).pRevocationInfo->dwRevocationResult,
              static_cast<DWORD>(CRYPT_E_REVOCATION_OFFLINE));
  }
}

TEST_F(GetCertificateChain, FollowsTheRevocationFlags) {
  folder.addCrl("CA", middle.crl().get(), "middle.crl");
  EXPECT_EQ(errorsWith(0), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(CERT_CHAIN_REVOCATION_CHECK_END_CERT), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(kWithoutRoot), kUnknown);
  folder.addCrl("CA",
                root.crl({.revoked = {{.serial = lab::serialOf(root.certificate())}}}).get(),
                "root.crl");
  EXPECT_EQ(errorsWith(kWithoutRoot), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(CERT_CHAIN_REVOCATION_CHECK_CHAIN), CERT_TRUST_IS_REVOKED);
  EXPECT_EQ(errorsWith(CERT_CHAIN_REVOCATION_CHECK_CHAIN | CERT_CHAIN_REVOCATION_CHECK_END_CERT),
            CERT_TRUST_IS_REVOKED);
}

TEST_F(GetCertificateChain, SeesANewCrlAtOnce) {
  folder.addCrl("Root", root.crl().get(), "root.crl");
  folder.addCrl("CA", middle.crl({.thisUpdate = -std::chrono::hours(2)}).get(), "1.crl");
  EXPECT_EQ(errorsWith(kWithoutRoot), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(kWithoutRoot), CERT_TRUST_NO_ERROR);
  folder.addCrl("CA",
                middle
                    .crl({.revoked = {{.serial = lab::serialOf(end.get())}},
                          .thisUpdate = -std::chrono::hours(1)})
                    .get(),
                "2.crl");
  EXPECT_EQ(errorsWith(kWithoutRoot), CERT_TRUST_IS_REVOKED);
}

TEST_F(GetCertificateChain, TakesMaterialButNoTrustFromTheAdditionalStore) {
  const Authority other = Authority::selfSigned(KeyKind::EcP256, named("Other"));
  const Authority below = root.subordinate(KeyKind::EcP256, named("Below"));
  const Store store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
  addTo(store, other.certificate());
  addTo(store, below.certificate());
  context = contextOf(below.issue(sampleKey(), named("End")).get());
  EXPECT_EQ(get()->TrustStatus.dwErrorStatus, CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_EQ(get(0, store.get())->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
  context = contextOf(other.issue(sampleKey(), named("End")).get());
  EXPECT_EQ(get(0, store.get())->TrustStatus.dwErrorStatus, CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(GetCertificateChain, JudgesTheDatesAtTheTimeThatIsGiven) {
  FILETIME time = context->pCertInfo->NotBefore;
  EXPECT_EQ(get(0, nullptr, &time)->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
  time = {.dwLowDateTime = 0, .dwHighDateTime = time.dwHighDateTime - 1};
  EXPECT_EQ(get(0, nullptr, &time)->TrustStatus.dwErrorStatus, CERT_TRUST_IS_NOT_TIME_VALID);
  time = {.dwLowDateTime = 0xFFFFFFFF, .dwHighDateTime = 0x7FFFFFFF};
  EXPECT_EQ(get(0, nullptr, &time)->TrustStatus.dwErrorStatus, CERT_TRUST_IS_NOT_TIME_VALID);
}

TEST_F(GetCertificateChain, ReadsTheUsageThatIsAskedFor) {
  lab::CertificateOptions options = named("End");
  options.extendedKeyUsage = "clientAuth";
  context = contextOf(middle.issue(sampleKey(), options).get());
  std::string client = "1.3.6.1.5.5.7.3.2";
  std::string server = "1.3.6.1.5.5.7.3.1";
  std::array<LPSTR, 2> usages = {client.data(), server.data()};
  para.RequestedUsage.Usage = {.cUsageIdentifier = 2, .rgpszUsageIdentifier = usages.data()};
  EXPECT_EQ(errorsWith(0), CERT_TRUST_IS_NOT_VALID_FOR_USAGE);
  para.RequestedUsage.dwType = USAGE_MATCH_TYPE_OR;
  EXPECT_EQ(errorsWith(0), CERT_TRUST_NO_ERROR);
  para.RequestedUsage.dwType = USAGE_MATCH_TYPE_AND;
  para.RequestedUsage.Usage.cUsageIdentifier = 1;
  EXPECT_EQ(errorsWith(0), CERT_TRUST_NO_ERROR);
}

TEST_F(GetCertificateChain, AcceptsParametersOfAnySize) {
  std::string server = "1.3.6.1.5.5.7.3.1";
  std::array<LPSTR, 1> usages = {server.data()};
  std::array<CERT_CHAIN_PARA_LONG, 2> longPara{};
  longPara[0].RequestedUsage.Usage = {.cUsageIdentifier = 1, .rgpszUsageIdentifier = usages.data()};
  lab::CertificateOptions options = named("End");
  options.extendedKeyUsage = "clientAuth";
  const X509Ptr certificate = middle.issue(sampleKey(), options);
  const auto errorsOfSize = [&](DWORD size) {
    longPara[0].cbSize = size;
    return errorsFor(certificate.get(), 0, reinterpret_cast<PCERT_CHAIN_PARA>(longPara.data()));
  };
  for (const DWORD size : {0U, 4U, 31U}) {
    EXPECT_EQ(errorsOfSize(size), CERT_TRUST_NO_ERROR) << size << " bytes hold no usage";
  }
  for (const DWORD size : {32U, 34U, 96U, 98U}) {
    EXPECT_EQ(errorsOfSize(size), CERT_TRUST_IS_NOT_VALID_FOR_USAGE) << size;
  }
}

TEST_F(GetCertificateChain, LeavesTheLastErrorAlone) {
  SetLastError(4711);
  Chain chain = get(kWithoutRoot);
  EXPECT_EQ(GetLastError(), 4711U);
  chain.reset();
  CertFreeCertificateChain(nullptr);
  EXPECT_EQ(GetLastError(), 4711U);
}

class ChainMisuse : public GetCertificateChain {
 protected:
  DWORD errorOf(HCERTCHAINENGINE engine,
                PCCERT_CONTEXT certificate,
                HCERTSTORE store,
                PCERT_CHAIN_PARA parameters,
                void* reserved) {
    PCCERT_CHAIN_CONTEXT chain = QX_NUMBER_AS(PCCERT_CHAIN_CONTEXT, 4711);
    SetLastError(0);
    EXPECT_FALSE(CertGetCertificateChain(
        engine, certificate, nullptr, store, parameters, 0, reserved, &chain));
    EXPECT_EQ(chain, nullptr);
    return GetLastError();
  }
};

TEST_F(ChainMisuse, IsRefused) {
  constexpr auto kInvalid = static_cast<DWORD>(E_INVALIDARG);
  EXPECT_EQ(errorOf(nullptr, nullptr, nullptr, &para, nullptr), kInvalid);
  EXPECT_EQ(errorOf(nullptr, context.get(), nullptr, nullptr, nullptr), kInvalid);
  EXPECT_EQ(errorOf(nullptr, context.get(), nullptr, &para, &para), kInvalid);
  EXPECT_EQ(errorOf(QX_NUMBER_AS(HCERTCHAINENGINE, 2), context.get(), nullptr, &para, nullptr),
            kInvalid);
  SetLastError(0);
  EXPECT_FALSE(CertGetCertificateChain(
      nullptr, context.get(), nullptr, nullptr, &para, 0, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), kInvalid);
}

TEST_F(ChainMisuse, WithUsagesThatAreNotThereIsRefused) {
  para.RequestedUsage.Usage.cUsageIdentifier = 1;
  EXPECT_EQ(errorOf(nullptr, context.get(), nullptr, &para, nullptr),
            static_cast<DWORD>(E_INVALIDARG));
  std::array<LPSTR, 1> usages = {nullptr};
  para.RequestedUsage.Usage.rgpszUsageIdentifier = usages.data();
  EXPECT_EQ(errorOf(nullptr, context.get(), nullptr, &para, nullptr),
            static_cast<DWORD>(E_INVALIDARG));
}

TEST_F(ChainMisuse, OfAStoreThatIsNoneIsRefused) {
  std::array<std::uint8_t, 256> zeros{};
  EXPECT_EQ(errorOf(nullptr, context.get(), zeros.data(), &para, nullptr),
            static_cast<DWORD>(ERROR_INVALID_HANDLE));
}

TEST_F(GetCertificateChain, TrustsForTheMachineOnlyWhatTheMachineTrusts) {
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  ASSERT_TRUE(CertGetCertificateChain(
      HCCE_LOCAL_MACHINE, context.get(), nullptr, nullptr, &para, 0, nullptr, &chain));
  EXPECT_EQ(Chain(chain)->TrustStatus.dwErrorStatus, CERT_TRUST_IS_PARTIAL_CHAIN);
}

/// A caller of its own thread. Every other one asks for many times, which makes verdicts of its own.
class Caller {
 public:
  Caller(const std::vector<Context>& contexts, bool manyTimes)
      : contexts_(&contexts), manyTimes_(manyTimes) {}

  void call(std::size_t round) const {
    const Context& context = (*contexts_)[round % contexts_->size()];
    FILETIME time = context->pCertInfo->NotBefore;
    time.dwHighDateTime += 100 + static_cast<DWORD>(round / 8);
    CERT_CHAIN_PARA para{.cbSize = sizeof(CERT_CHAIN_PARA)};
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    EXPECT_TRUE(CertGetCertificateChain(nullptr,
                                        context.get(),
                                        manyTimes_ ? &time : nullptr,
                                        nullptr,
                                        &para,
                                        kWithoutRoot,
                                        nullptr,
                                        &chain));
    EXPECT_EQ(Chain(chain)->TrustStatus.dwErrorStatus, CERT_TRUST_NO_ERROR);
  }

 private:
  const std::vector<Context>* contexts_;
  bool manyTimes_;
};

TEST_F(GetCertificateChain, WorksInManyThreadsWhileCrlsCome) {
  constexpr std::size_t kRounds = 60;
  folder.addCrl("Root", root.crl().get(), "root.crl");
  folder.addCrl("CA", middle.crl().get(), "middle.crl");
  std::vector<Context> contexts(4);
  std::ranges::generate(contexts,
                        [&] { return contextOf(middle.issue(sampleKey(), named("End")).get()); });
  std::vector<std::thread> threads;
  for (const bool manyTimes : {true, false, true, false}) {
    threads.emplace_back([caller = Caller(contexts, manyTimes)] {
      for (std::size_t round = 0; round < kRounds; ++round) {
        caller.call(round);
      }
    });
  }
  for (int i = 0; i < 10; ++i) {
    folder.addCrl("CA", middle.crl().get(), std::to_string(i) + ".crl");
  }
  std::ranges::for_each(threads, &std::thread::join);
}

TEST_F(GetCertificateChain, GoesOnInAChildProcess) {
  const Chain before = get(0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const bool good = get(0)->TrustStatus.dwErrorStatus == CERT_TRUST_NO_ERROR &&
                      errorsWith(kWithoutRoot) == kUnknown;
    _exit(good ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qx::test::api_test
