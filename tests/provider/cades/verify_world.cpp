#include "tests/provider/cades/verify_world.h"

#include <utility>

namespace qx::test {
namespace {

using lab::Authority;
using lab::CertificateOptions;
using lab::kDay;
using lab::TimeStampAuthority;

constexpr std::chrono::minutes kUntilRevocationData{1};
constexpr auto kLongAgo = -10 * 365 * kDay;

// Valid for long, before the world's moment and after now.
CertificateOptions lasting(const std::string& name) {
  return {.subject = {{.type = "CN", .value = name}}, .notBefore = kLongAgo};
}

X509Ptr signerOf(const Authority& issuer, EVP_PKEY* key, const WorldOptions& options) {
  return issuer.issue(key,
                      {.subject = {{.type = "CN", .value = "Signer"}},
                       .notBefore = options.when + options.signerFrom,
                       .notAfter = options.when + options.signerUntil,
                       .keyUsage = "digitalSignature,nonRepudiation"});
}

}  // namespace

VerifyWorld::VerifyWorld(const WorldOptions& options)
    : when_(options.when),
      root_(Authority::selfSigned(options.kind, lasting("Root"))),
      issuer_(root_.subordinate(options.kind, lasting("Issuer"))),
      signerKey_(lab::generateKey(options.kind)),
      signer_(signerOf(issuer_, signerKey_.get(), options)),
      firstAuthority_(
          TimeStampAuthority::issuedBy(root_, options.kind, lasting("First Time Stamps"))),
      lastAuthority_(
          TimeStampAuthority::issuedBy(root_, options.kind, lasting("Last Time Stamps"))) {
  folder_.addCertificate("Root", root_.certificate());
}

X509CrlPtr VerifyWorld::crl(const Authority& authority,
                            std::vector<lab::RevokedEntry> revoked,
                            bool isFresh) const {
  const std::chrono::seconds made =
      isFresh ? std::chrono::seconds(-kUntilRevocationData) : when_ + kUntilRevocationData;
  return authority.crl(
      {.revoked = std::move(revoked), .thisUpdate = made, .nextUpdate = made + kDay});
}

void VerifyWorld::storeCrls(const std::vector<lab::RevokedEntry>& revokedByIssuer,
                            const std::vector<lab::RevokedEntry>& revokedByRoot) const {
  folder_.addCrl("CA", crl(issuer_, revokedByIssuer, /*isFresh=*/true).get(), "issuer.crl");
  folder_.addCrl("CA", crl(root_, revokedByRoot, /*isFresh=*/true).get(), "root.crl");
}

}  // namespace qx::test
