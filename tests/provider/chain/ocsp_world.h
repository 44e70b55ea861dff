#ifndef QX_TESTS_PROVIDER_CHAIN_OCSP_WORLD_H_
#define QX_TESTS_PROVIDER_CHAIN_OCSP_WORLD_H_

#include <chrono>

#include <gtest/gtest.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"
#include "tools/lab/ocsp.h"

namespace qx::test {

inline constexpr DWORD kGood = CERT_TRUST_NO_ERROR;
inline constexpr DWORD kUnknown = kRevocationUnknown;
inline constexpr DWORD kRevoked = CERT_TRUST_IS_REVOKED;
inline constexpr std::chrono::hours kHour(1);

/// OcspWorld is a root that certified an end certificate and answers for it through a responder. Only
/// the end certificate's revocation is looked up.
class OcspWorld : public ::testing::Test {
 protected:
  explicit OcspWorld(lab::KeyKind kind = lab::KeyKind::EcP256)
      : root(lab::Authority::selfSigned(kind, named("Root"))),
        end(root.issue(sampleKey(), named("End"))),
        responder(lab::OcspResponder::issuedBy(root, kind)) {
    world.trust(root.certificate());
    world.revocation = RevocationScope::EndCertificate;
  }

  /// What an answer would say about the end certificate.
  lab::OcspEntry entry(lab::OcspStatus status = lab::OcspStatus::Good) const {
    return {.certId = lab::ocspCertId(end.get(), root.certificate()), .status = status};
  }

  /// The end certificate's errors with this answer alone.
  DWORD endWith(const lab::Bytes& answer) {
    world.dropAnswers();
    world.addAnswer(answer);
    return judge();
  }

  DWORD judge() const { return world.judge(end.get()).elements.at(0).errors; }

  const lab::Authority root;
  const X509Ptr end;
  const lab::OcspResponder responder;
  ChainWorld world;
};

}  // namespace qx::test

#endif
