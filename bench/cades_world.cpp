#include "bench/cades_world.h"

#include <cstdlib>

namespace qx::bench {

CadesWorld::CadesWorld() {
  // NOLINTBEGIN(concurrency-mt-unsafe): the services' thread reads no environment
  setenv("QXPROVIDER_TSP_DEFAULT_URL", stampUrl().c_str(), 1);
  setenv("QXPROVIDER_REVOCATION_ONLINE", "yes", 1);
  // NOLINTEND(concurrency-mt-unsafe)
}

Branch CadesWorld::addBranch(lab::KeyKind kind, Evidence evidence, int signers) {
  const std::string name = "Root " + std::to_string(++branches_);
  lab::Authority root =
      lab::Authority::selfSigned(kind, {.subject = {{.type = "CN", .value = name}}});
  folder_.addCertificate("Root", root.certificate());
  const std::string ocspUrl = addEvidence(root, kind, evidence);
  auto stamps = std::make_shared<const lab::TimeStampAuthority>(
      lab::TimeStampAuthority::issuedBy(root, kind, {.ocspUrl = ocspUrl}));
  Branch branch{.kind = kind, .root = std::move(root), .stamps = std::move(stamps), .signers = {}};
  const EvpPkeyPtr key = lab::generateKey(kind);
  folder_.addKey(key.get(), kPin);
  for (int i = 0; i < signers; ++i) {
    branch.signers.push_back(addSigner(branch, key.get(), ocspUrl, i));
  }
  return branch;
}

// The address for OCSP that certificates shall name; empty where the list is enough.
std::string CadesWorld::addEvidence(const lab::Authority& root,
                                    lab::KeyKind kind,
                                    Evidence evidence) {
  const std::string number = std::to_string(branches_);
  if (evidence == Evidence::RevocationList) {
    folder_.addCrl("Root", root.crl().get(), number + ".crl");
    return {};
  }
  const std::string path = "/ocsp" + number;
  services_.offerOcsp(
      path,
      std::make_shared<const lab::OcspResponder>(lab::OcspResponder::issuedBy(root, kind)),
      root.certificate());
  return services_.url(path);
}

std::string CadesWorld::addSigner(const Branch& branch,
                                  EVP_PKEY* key,
                                  const std::string& ocspUrl,
                                  int number) const {
  const X509Ptr certificate =
      branch.root.issue(key,
                        {.subject = {{.type = "C", .value = "RU"},
                                     {.type = "O", .value = "Bench"},
                                     {.type = "CN", .value = "Signer " + std::to_string(number)}},
                         .keyUsage = "digitalSignature,nonRepudiation",
                         .ocspUrl = ocspUrl});
  folder_.addCertificate("My", certificate.get());
  return lab::thumbprint(certificate.get());
}

}  // namespace qx::bench
