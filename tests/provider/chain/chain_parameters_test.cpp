// What CertGetCertificateChain reads of the long form of its parameters.
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/cert_chain.h"
#include "platform/errors.h"

#include "provider/chain/faults.h"
#include "tests/provider/chain/listening_world.h"

namespace qx::test::chain_parameters_test {
namespace {

using lab::Authority;
using lab::KeyKind;

constexpr DWORD kCheckEnd = CERT_CHAIN_REVOCATION_CHECK_END_CERT;
constexpr DWORD kWrongUsage = CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
constexpr DWORD kHour = 3600;

lab::CertificateOptions withPolicies(const std::string& name, const std::string& policies) {
  lab::CertificateOptions options = named(name);
  if (!policies.empty()) {
    options.extensions = {{.name = "certificatePolicies", .value = policies}};
  }
  return options;
}

class ChainParameters : public ::testing::Test {
 protected:
  ChainParameters() : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))) {
    forgetSnapshots();
    folder.addCertificate("Root", root.certificate());
  }

  DWORD errorsOf(const X509* certificate, DWORD flags = 0) {
    return errorsFor(certificate, flags, reinterpret_cast<PCERT_CHAIN_PARA>(&para));
  }

  /// Asks for policies of which all, or any, are wanted.
  void want(const std::vector<std::string>& policies, DWORD match = USAGE_MATCH_TYPE_AND) {
    wanted_ = policies;
    pointers_.clear();
    for (std::string& policy : wanted_) {
      pointers_.push_back(policy.data());
    }
    para.RequestedIssuancePolicy = {
        .dwType = match,
        .Usage = {.cUsageIdentifier = static_cast<DWORD>(pointers_.size()),
                  .rgpszUsageIdentifier = pointers_.data()}};
  }

  const ProviderFolder folder;
  const Authority root;
  CERT_CHAIN_PARA_LONG para{.cbSize = sizeof(CERT_CHAIN_PARA_LONG)};

 private:
  std::vector<std::string> wanted_;
  std::vector<LPSTR> pointers_;
};

// Root, an authority with some policies, and an end certificate with some.
class ChainPolicies : public ChainParameters {
 protected:
  DWORD errorsWith(const lab::CertificateOptions& middleOptions, const std::string& endPolicies) {
    const Authority middle = root.subordinate(KeyKind::EcP256, middleOptions);
    folder.addCertificate("CA", middle.certificate());
    forgetSnapshots();
    return errorsOf(middle.issue(sampleKey(), withPolicies("End", endPolicies)).get());
  }

  DWORD errorsWith(const std::string& middlePolicies, const std::string& endPolicies) {
    return errorsWith(withPolicies("Middle", middlePolicies), endPolicies);
  }
};

TEST_F(ChainPolicies, AreNotAskedForByDefault) {
  EXPECT_EQ(errorsWith("", ""), 0U);
  EXPECT_EQ(errorsWith("1.2.3.4", "1.2.3.5"), 0U);
}

TEST_F(ChainPolicies, MustStandInEveryCertificateBelowTheRoot) {
  want({"1.2.3.4"});
  EXPECT_EQ(errorsWith("1.2.3.4,1.2.3.5", "1.2.3.4"), 0U);
  EXPECT_EQ(errorsWith("1.2.3.5", "1.2.3.4"), kWrongUsage);
  EXPECT_EQ(errorsWith("1.2.3.4", "1.2.3.5"), kWrongUsage);
  EXPECT_EQ(errorsWith("1.2.3.4", ""), kWrongUsage);
  EXPECT_EQ(errorsWith("", "1.2.3.4"), kWrongUsage);
}

TEST_F(ChainPolicies, AreAllMetByAnyPolicy) {
  want({"1.2.3.4", "1.2.3.5"});
  EXPECT_EQ(errorsWith("2.5.29.32.0", "1.2.3.4,1.2.3.5"), 0U);
  EXPECT_EQ(errorsWith("2.5.29.32.0", "2.5.29.32.0"), 0U);
  EXPECT_EQ(errorsWith("2.5.29.32.0", "1.2.3.4"), kWrongUsage);
}

TEST_F(ChainPolicies, AreWantedAllOrAny) {
  want({"1.2.3.4", "1.2.3.5"});
  EXPECT_EQ(errorsWith("1.2.3.4,1.2.3.5", "1.2.3.5"), kWrongUsage);
  want({"1.2.3.4", "1.2.3.5"}, USAGE_MATCH_TYPE_OR);
  EXPECT_EQ(errorsWith("1.2.3.4,1.2.3.5", "1.2.3.5"), 0U);
  EXPECT_EQ(errorsWith("1.2.3.4,1.2.3.5", "1.2.3.6"), kWrongUsage);
}

// An authority may say that the policies of those below it are its own under other names.
TEST_F(ChainPolicies, AreNamedAsTheFirstAuthorityNamesThem) {
  lab::CertificateOptions mapping = withPolicies("Middle", "1.2.3.4");
  mapping.extensions.push_back({.name = "policyMappings", .value = "1.2.3.4:1.2.9.9"});
  want({"1.2.3.4"});
  EXPECT_EQ(errorsWith(mapping, "1.2.9.9"), 0U);
  want({"1.2.9.9"});
  EXPECT_EQ(errorsWith(mapping, "1.2.9.9"), kWrongUsage);
}

TEST_F(ChainPolicies, AreReadWhenTheRecordHoldsThem) {
  want({"1.2.3.4"});
  constexpr DWORD kEnd = offsetof(CERT_CHAIN_PARA_LONG, dwUrlRetrievalTimeout);
  para.cbSize = kEnd - 1;
  EXPECT_EQ(errorsWith("", ""), 0U);
  para.cbSize = kEnd;
  EXPECT_EQ(errorsWith("", ""), kWrongUsage);
}

TEST_F(ChainPolicies, AreRefusedWithoutTheirNames) {
  const PCCERT_CONTEXT context = CertificateContext::createFree(dataOf(root.certificate()));
  para.RequestedIssuancePolicy.Usage.cUsageIdentifier = 1;
  PCCERT_CHAIN_CONTEXT chain = nullptr;
  EXPECT_FALSE(CertGetCertificateChain(HCCE_CURRENT_USER,
                                       context,
                                       nullptr,
                                       nullptr,
                                       reinterpret_cast<PCERT_CHAIN_PARA>(&para),
                                       0,
                                       nullptr,
                                       &chain));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_INVALIDARG));
  EXPECT_EQ(chain, nullptr);
  CertFreeCertificateContext(context);
}

// A list that was made two hours ago.
class ChainFreshness : public ChainParameters {
 protected:
  ChainFreshness() : end(root.issue(sampleKey(), named("End"))) { store({}); }

  void store(std::vector<lab::RevokedEntry> revoked) {
    folder.addCrl(
        "Root",
        root.crl({.revoked = std::move(revoked), .thisUpdate = -std::chrono::hours(2)}).get(),
        "root.crl");
    forgetSnapshots();
  }

  DWORD errorsWithin(DWORD seconds) {
    para.fCheckRevocationFreshnessTime = TRUE;
    para.dwRevocationFreshnessTime = seconds;
    return errorsOf(end.get(), kCheckEnd);
  }

  const X509Ptr end;
};

TEST_F(ChainFreshness, RefusesAListThatIsOlder) {
  EXPECT_EQ(errorsWithin(3 * kHour), 0U);
  EXPECT_EQ(errorsWithin(kHour), kRevocationUnknown);
  EXPECT_EQ(errorsWithin(0), kRevocationUnknown);
  EXPECT_EQ(errorsWithin(0xFFFF'FFFF), 0U);
}

TEST_F(ChainFreshness, IsNotAskedForByTheNumberAlone) {
  errorsWithin(kHour);
  para.fCheckRevocationFreshnessTime = FALSE;
  EXPECT_EQ(errorsOf(end.get(), kCheckEnd), 0U);
}

TEST_F(ChainFreshness, IsReadWhenTheRecordHoldsIt) {
  constexpr DWORD kEnd = offsetof(CERT_CHAIN_PARA_LONG, dwRevocationFreshnessTime) + sizeof(DWORD);
  para.cbSize = kEnd - 1;
  EXPECT_EQ(errorsWithin(kHour), 0U);
  para.cbSize = kEnd;
  EXPECT_EQ(errorsWithin(kHour), kRevocationUnknown);
}

// Nobody is unrevoked by the age of the list that says so.
TEST_F(ChainFreshness, BelievesAnOldListThatSomebodyIsRevoked) {
  store({{.serial = lab::serialOf(end.get())}});
  EXPECT_EQ(errorsWithin(3 * kHour), CERT_TRUST_IS_REVOKED);
  EXPECT_EQ(errorsWithin(kHour), CERT_TRUST_IS_REVOKED | kRevocationUnknown);
}

}  // namespace
}  // namespace qx::test::chain_parameters_test
