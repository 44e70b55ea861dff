// Every two faults at once: each must still show where it belongs, and the openssl command must refuse
// the chain too.
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::fault_pairs_test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::CrlOptions;
using lab::KeyKind;

constexpr std::size_t kEnd = 0;
constexpr std::size_t kMiddle = 1;
constexpr std::size_t kRoot = 2;
constexpr std::chrono::hours kHour(1);

/// What a chain of three is made of.
struct Parts {
  std::vector<CertificateOptions> options = {named("End"), named("Middle"), named("Root")};
  bool rootIsTrusted = true;
  bool endIsBroken = false;
  bool middleIsBroken = false;
  bool endIsRevoked = false;
  bool middleIsRevoked = false;
  bool middleCrlIsBroken = false;
  CrlOptions middleCrl;
};

void addUnknownExtension(CertificateOptions& options) {
  options.extensions.push_back({.name = "1.2.3.4", .value = "critical,DER:0500"});
}

/// A fault: how the parts are spoilt, whose it is, and what is said about it.
struct Fault {
  const char* name;
  void (*spoil)(Parts& parts);
  std::size_t element;
  DWORD bits;
};

const std::vector<Fault>& faults() {
  static const std::vector<Fault> all = {
      {"EndExpired",
       [](Parts& parts) { parts.options[kEnd].notAfter = -kHour; },
       kEnd,
       CERT_TRUST_IS_NOT_TIME_VALID},
      {"MiddleNotYetValid",
       [](Parts& parts) { parts.options[kMiddle].notBefore = kHour; },
       kMiddle,
       CERT_TRUST_IS_NOT_TIME_VALID},
      {"RootExpired",
       [](Parts& parts) { parts.options[kRoot].notAfter = -kHour; },
       kRoot,
       CERT_TRUST_IS_NOT_TIME_VALID},
      {"EndBroken",
       [](Parts& parts) { parts.endIsBroken = true; },
       kEnd,
       CERT_TRUST_IS_NOT_SIGNATURE_VALID},
      {"MiddleBroken",
       [](Parts& parts) { parts.middleIsBroken = true; },
       kMiddle,
       CERT_TRUST_IS_NOT_SIGNATURE_VALID},
      {"EndUnknownExtension",
       [](Parts& parts) { addUnknownExtension(parts.options[kEnd]); },
       kEnd,
       kUnknownCriticalExtension},
      {"RootUnknownExtension",
       [](Parts& parts) { addUnknownExtension(parts.options[kRoot]); },
       kRoot,
       kUnknownCriticalExtension},
      {"RootPathLength",
       [](Parts& parts) { parts.options[kRoot].pathLength = 0; },
       kRoot,
       CERT_TRUST_INVALID_BASIC_CONSTRAINTS},
      {"MiddleMayNotSign",
       [](Parts& parts) { parts.options[kMiddle].keyUsage = "cRLSign"; },
       kMiddle,
       CERT_TRUST_IS_NOT_VALID_FOR_USAGE | CERT_TRUST_INVALID_BASIC_CONSTRAINTS},
      {"EndNameExcluded",
       [](Parts& parts) {
         parts.options[kRoot].extensions.push_back(
             {.name = "nameConstraints", .value = "critical,excluded;DNS:example.org"});
         parts.options[kEnd].subjectAltName = "DNS:example.org";
       },
       kEnd,
       CERT_TRUST_HAS_EXCLUDED_NAME_CONSTRAINT},
      {"EndNameNotPermitted",
       [](Parts& parts) {
         parts.options[kMiddle].extensions.push_back(
             {.name = "nameConstraints", .value = "critical,permitted;DNS:example.net"});
         parts.options[kEnd].subjectAltName = "DNS:example.org";
       },
       kEnd,
       CERT_TRUST_HAS_NOT_PERMITTED_NAME_CONSTRAINT},
      {"RootUntrusted",
       [](Parts& parts) { parts.rootIsTrusted = false; },
       kRoot,
       CERT_TRUST_IS_UNTRUSTED_ROOT},
      {"PolicyMissing",
       [](Parts& parts) {
         // OpenSSL before 3.0.22 leaks constraints that stand there without a policy.
         parts.options[kMiddle].extensions.push_back(
             {.name = "certificatePolicies", .value = "1.2.3.4"});
         parts.options[kMiddle].extensions.push_back(
             {.name = "policyConstraints", .value = "critical,requireExplicitPolicy:0"});
       },
       kEnd,
       CERT_TRUST_INVALID_POLICY_CONSTRAINTS},
      {"EndRevoked", [](Parts& parts) { parts.endIsRevoked = true; }, kEnd, CERT_TRUST_IS_REVOKED},
      {"MiddleRevoked",
       [](Parts& parts) { parts.middleIsRevoked = true; },
       kMiddle,
       CERT_TRUST_IS_REVOKED},
      {"CrlExpired",
       [](Parts& parts) { parts.middleCrl.nextUpdate = -kHour; },
       kEnd,
       kRevocationUnknown},
      {"CrlBroken", [](Parts& parts) { parts.middleCrlIsBroken = true; }, kEnd, kRevocationUnknown},
  };
  return all;
}

X509Ptr copyOf(const X509* certificate, bool broken) {
  return broken ? withBrokenSignature(certificate) : X509Ptr(X509_dup(certificate));
}

std::string revokeIf(bool wanted, const X509* certificate) {
  return wanted ? lab::serialOf(certificate) : "7F";
}

ChainVerdict judge(Parts& parts) {
  const Authority root = Authority::selfSigned(KeyKind::EcP256, parts.options[kRoot]);
  const Authority middle = root.subordinate(KeyKind::EcP256, parts.options[kMiddle]);
  const X509Ptr end =
      copyOf(middle.issue(sampleKey(), parts.options[kEnd]).get(), parts.endIsBroken);
  const X509Ptr shown = copyOf(middle.certificate(), parts.middleIsBroken);
  parts.middleCrl.revoked = {{.serial = revokeIf(parts.endIsRevoked, end.get())}};
  const X509CrlPtr crl = middle.crl(parts.middleCrl);
  ChainWorld world;
  if (parts.rootIsTrusted) {
    world.trust(root.certificate());
  } else {
    world.addIntermediate(root.certificate());
  }
  world.addIntermediate(shown.get());
  world.addCrl(
      root.crl({.revoked = {{.serial = revokeIf(parts.middleIsRevoked, shown.get())}}}).get());
  world.addCrl(parts.middleCrlIsBroken ? withBrokenSignature(crl.get()).get() : crl.get());
  world.revocation = RevocationScope::Chain;
  return world.judgeTwice(end.get());
}

class FaultPairs : public ::testing::TestWithParam<std::tuple<std::size_t, std::size_t>> {};

TEST_P(FaultPairs, ShowBoth) {
  const Fault& one = faults()[std::get<0>(GetParam())];
  const Fault& other = faults()[std::get<1>(GetParam())];
  Parts parts;
  one.spoil(parts);
  if (&one != &other) {
    other.spoil(parts);
  }
  std::vector<DWORD> expected(3);
  expected[one.element] |= one.bits;
  expected[other.element] |= other.bits;
  if (parts.endIsRevoked && parts.middleCrlIsBroken) {
    // What nobody signed says nothing, not even that something is bad.
    expected[kEnd] &= ~static_cast<DWORD>(CERT_TRUST_IS_REVOKED);
  }
  const ChainVerdict verdict = judge(parts);
  EXPECT_EQ(errorsOf(verdict), expected);
  EXPECT_EQ(verdict.errors, expected[kEnd] | expected[kMiddle] | expected[kRoot]);
}

std::vector<std::tuple<std::size_t, std::size_t>> pairs() {
  std::vector<std::tuple<std::size_t, std::size_t>> all;
  for (std::size_t one = 0; one < faults().size(); ++one) {
    for (std::size_t other = 0; other <= one; ++other) {
      all.emplace_back(one, other);
    }
  }
  return all;
}

std::string pairName(const ::testing::TestParamInfo<FaultPairs::ParamType>& info) {
  const auto& [one, other] = info.param;
  return faults()[one].name + std::string(one == other ? "" : "_") +
         (one == other ? "" : faults()[other].name);
}

INSTANTIATE_TEST_SUITE_P(All, FaultPairs, ::testing::ValuesIn(pairs()), pairName);

}  // namespace
}  // namespace qx::test::fault_pairs_test
