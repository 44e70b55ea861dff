// Whose folders are believed, and how soon a change is seen.
#include "provider/chain/trust_stores.h"

#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "provider/chain/revocation_cache.h"
#include "provider/store/folder_store.h"
#include "tests/provider/chain/chain_world.h"
#include "tests/support/provider_folder.h"
#include "tests/support/temp_dir.h"

namespace qx::test::trust_stores_test {
namespace {

using lab::Authority;
using lab::KeyKind;

constexpr Location kUser = Location::CurrentUser;
constexpr Location kMachine = Location::LocalMachine;

class TrustStores : public ::testing::Test {
 protected:
  TrustStores()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        middle(root.subordinate(KeyKind::EcP256, named("Middle"))),
        end(middle.issue(sampleKey(), named("End"))) {
    forgetSnapshots();
  }

  void put(const std::string& file, const std::string& pem) const {
    const std::string path = folder.path() + "/" + file;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, pem);
  }

  DWORD errorsFor(Location location, RevocationScope revocation = RevocationScope::None) const {
    const TrustSourcePtr trust = trustOf(location);
    const Result<ChainVerdict> verdict = evaluate({.certificate = dataOf(end.get()),
                                                   .trust = trust.get(),
                                                   .now = std::time(nullptr),
                                                   .revocation = revocation});
    return verdict ? verdict->errors : ~0U;
  }

  const ProviderFolder folder;
  const Authority root;
  const Authority middle;
  const X509Ptr end;
};

TEST_F(TrustStores, HoldNothingWithoutFolders) {
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_IS_PARTIAL_CHAIN);
  EXPECT_EQ(errorsFor(kMachine), CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(TrustStores, TrustTheUsersRootsForTheUserOnly) {
  put("stores/Root/root.pem", lab::toPem(root.certificate()));
  put("stores/CA/middle.pem", lab::toPem(middle.certificate()));
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsFor(kMachine), CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(TrustStores, TrustTheMachinesRootsForBoth) {
  put("machine/stores/Root/root.pem", lab::toPem(root.certificate()));
  put("machine/stores/CA/middle.pem", lab::toPem(middle.certificate()));
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsFor(kMachine), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStores, DoNotTrustWhatStandsAmongTheIntermediates) {
  put("stores/CA/root.pem", lab::toPem(root.certificate()));
  put("stores/CA/middle.pem", lab::toPem(middle.certificate()));
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_IS_UNTRUSTED_ROOT);
}

TEST_F(TrustStores, DoNotBuildFromOtherStores) {
  put("stores/Root/root.pem", lab::toPem(root.certificate()));
  put("stores/My/middle.pem", lab::toPem(middle.certificate()));
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_IS_PARTIAL_CHAIN);
}

class TrustStoresCrls : public TrustStores {
 protected:
  TrustStoresCrls() {
    put("machine/stores/Root/root.pem", lab::toPem(root.certificate()));
    put("machine/stores/CA/middle.pem", lab::toPem(middle.certificate()));
  }

  DWORD revocationFor(Location location) const {
    return errorsFor(location, RevocationScope::ChainWithoutRoot);
  }

  const std::string rootCrl = lab::toPem(root.crl().get());
  const std::string middleCrl = lab::toPem(middle.crl().get());
};

TEST_F(TrustStoresCrls, AreReadFromBothStores) {
  put("stores/Root/root.crl", rootCrl);
  put("stores/CA/middle.crl", middleCrl);
  EXPECT_EQ(revocationFor(kUser), CERT_TRUST_NO_ERROR);
  EXPECT_NE(revocationFor(kMachine), CERT_TRUST_NO_ERROR);
  put("machine/stores/CA/root.crl", rootCrl);
  put("machine/stores/CA/middle.crl", middleCrl);
  EXPECT_EQ(revocationFor(kMachine), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStoresCrls, AreReadFromTheUsersCacheForTheUserOnly) {
  put("cache/one.crl", rootCrl);
  put("cache/two.crl", middleCrl);
  EXPECT_EQ(revocationFor(kUser), CERT_TRUST_NO_ERROR);
  EXPECT_NE(revocationFor(kMachine), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStoresCrls, AreReadFromTheMachinesCacheForBoth) {
  put("machine/cache/one.crl", rootCrl);
  put("machine/cache/two.crl", middleCrl);
  EXPECT_EQ(revocationFor(kUser), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(revocationFor(kMachine), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStoresCrls, GiveNoTrustFromACacheFolder) {
  std::filesystem::remove_all(folder.path() + "/machine/stores");
  put("cache/root.pem", lab::toPem(root.certificate()));
  put("cache/middle.pem", lab::toPem(middle.certificate()));
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(TrustStoresCrls, StayTheSameObjectUntilSomethingChanges) {
  put("stores/CA/middle.crl", middleCrl);
  put("cache/one.crl", rootCrl);
  const TrustSourcePtr first = trustOf(kUser);
  EXPECT_EQ(trustOf(kUser), first);
  EXPECT_NE(trustOf(kMachine), first);
  EXPECT_EQ(trustOf(kUser), first) << "each location has its own";
  put("cache/two.crl", middleCrl);
  const TrustSourcePtr second = trustOf(kUser);
  EXPECT_NE(second, first);
  put("stores/Root/other.crl", rootCrl);
  EXPECT_NE(trustOf(kUser), second);
}

TEST_F(TrustStoresCrls, SeeARootThatGoes) {
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_NO_ERROR);
  std::filesystem::remove(folder.path() + "/machine/stores/Root/root.pem");
  EXPECT_EQ(errorsFor(kUser), CERT_TRUST_IS_PARTIAL_CHAIN);
}

TEST_F(TrustStoresCrls, AreLookedAtOnceWhileACallLooksOnce) {
  {
    const OneLook look;
    const TrustSourcePtr first = trustOf(kUser);
    EXPECT_EQ(revocationFor(kUser), kRevocationUnknown);
    put("stores/CA/root.crl", rootCrl);
    put("stores/CA/middle.crl", middleCrl);
    EXPECT_EQ(trustOf(kUser), first);
    EXPECT_EQ(revocationFor(kUser), kRevocationUnknown);
    EXPECT_NE(trustOf(kMachine), first) << "each location has its own";
  }
  EXPECT_EQ(revocationFor(kUser), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStoresCrls, AreLookedAtAgainByACallThatKeptSomethingInTheCache) {
  const OneLook look;
  EXPECT_EQ(revocationFor(kUser), kRevocationUnknown);
  const RevocationCache cache(kUser);
  cache.keep("http://localhost/root", *dataOf(root.crl().get()));
  cache.keep("http://localhost/middle", *dataOf(middle.crl().get()));
  EXPECT_EQ(revocationFor(kUser), CERT_TRUST_NO_ERROR);
}

TEST_F(TrustStoresCrls, AreLookedAtOnceByTheOutermostOfSeveralCalls) {
  const OneLook outer;
  const TrustSourcePtr first = trustOf(kUser);
  {
    const OneLook inner;
    put("stores/CA/root.crl", rootCrl);
    EXPECT_EQ(trustOf(kUser), first);
  }
  EXPECT_EQ(trustOf(kUser), first) << "the inner one ends nothing";
  lookAgain();
  EXPECT_NE(trustOf(kUser), first);
}

TEST_F(TrustStoresCrls, AreLookedAtByEachThreadForItself) {
  const OneLook look;
  const TrustSourcePtr mine = trustOf(kUser);
  put("stores/CA/root.crl", rootCrl);
  TrustSourcePtr others;
  std::thread([&others] { others = trustOf(kUser); }).join();
  EXPECT_NE(others, mine);
  EXPECT_EQ(trustOf(kUser), mine);
}

}  // namespace
}  // namespace qx::test::trust_stores_test
