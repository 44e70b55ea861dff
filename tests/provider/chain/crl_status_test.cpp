// What CRLs say about a certificate when there is more in their entries than a serial number.
#include <string>

#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include "provider/chain/faults.h"
#include "tests/provider/chain/chain_world.h"

namespace qx::test::crl_status_test {
namespace {

using lab::Authority;
using lab::KeyKind;

class CrlStatus : public ::testing::Test {
 protected:
  CrlStatus()
      : root(Authority::selfSigned(KeyKind::EcP256, named("Root"))),
        end(root.issue(sampleKey(), named("End"))) {}

  /// A CRL with one entry, which has this extension.
  X509CrlPtr crlWith(const std::string& serial, const char* extension, const char* value) const {
    X509CrlPtr crl = root.crl({.revoked = {{.serial = serial}}});
    const X509ExtensionPtr made(X509V3_EXT_nconf(nullptr, nullptr, extension, value));
    X509_REVOKED* entry = sk_X509_REVOKED_value(X509_CRL_get_REVOKED(crl.get()), 0);
    EXPECT_EQ(X509_REVOKED_add_ext(entry, made.get(), /*loc=*/-1), 1);
    EXPECT_GT(X509_CRL_sign(crl.get(), root.key(), EVP_sha256()), 0);
    return crl;
  }

  /// We and the openssl command must agree on whether the CRL is good for anything.
  DWORD errorsWith(const X509CrlPtr& crl) const {
    ChainWorld world;
    world.trust(root.certificate());
    world.addCrl(crl.get());
    world.revocation = RevocationScope::EndCertificate;
    return world.judgeTwice(end.get()).errors;
  }

  const Authority root;
  const X509Ptr end;
};

TEST_F(CrlStatus, IsUnknownWhenAnEntryHasACriticalExtensionThatNobodyKnows) {
  EXPECT_EQ(errorsWith(crlWith("99", "1.2.3.4.5", "DER:0500")), CERT_TRUST_NO_ERROR);
  EXPECT_EQ(errorsWith(crlWith("99", "1.2.3.4.5", "critical,DER:0500")), kRevocationUnknown);
}

TEST_F(CrlStatus, IsRevokedAlsoInAnEntryWithSuchAnExtension) {
  const std::string serial = lab::serialOf(end.get());
  EXPECT_EQ(errorsWith(crlWith(serial, "1.2.3.4.5", "DER:0500")), CERT_TRUST_IS_REVOKED);
  EXPECT_EQ(errorsWith(crlWith(serial, "1.2.3.4.5", "critical,DER:0500")),
            kRevocationUnknown | CERT_TRUST_IS_REVOKED);
}

}  // namespace
}  // namespace qx::test::crl_status_test
