#include "bench/world.h"

#include <iterator>

namespace qx::bench {
namespace {

constexpr lab::KeyKind kKinds[] = {lab::KeyKind::Gost2012_256,
                                   lab::KeyKind::Gost2001,
                                   lab::KeyKind::Rsa2048,
                                   lab::KeyKind::EcP256};

X509StorePtr trustIn(const lab::Authority& authority, X509_CRL* crl) {
  X509StorePtr store(X509_STORE_new());
  X509_STORE_add_cert(store.get(), authority.certificate());
  X509_STORE_add_crl(store.get(), crl);
  X509_STORE_set_flags(store.get(), X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
  return store;
}

}  // namespace

World::World(int storeSize) {
  addFillers("My", storeSize - static_cast<int>(std::size(kKinds)));
  for (const lab::KeyKind kind : kKinds) {
    addSigner(kind);
  }
}

void World::addFillers(const std::string& store, int count) const {
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const lab::Authority authority = lab::Authority::selfSigned(
      lab::KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Filler Root"}}});
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const X509Ptr certificate =
        authority.issue(key.get(),
                        {.subject = {{.type = "C", .value = "RU"},
                                     {.type = "O", .value = "Filler Company"},
                                     {.type = "CN", .value = "Filler " + number}}});
    folder_.addCertificate(store, certificate.get(), "filler" + number + ".pem");
  }
}

Signer World::newSigner(const lab::Authority& authority,
                        lab::KeyKind kind,
                        const std::string& name) const {
  Signer signer;
  signer.key = lab::generateKey(kind);
  signer.certificate = authority.issue(
      signer.key.get(),
      {.subject = {{.type = "C", .value = "RU"},
                   {.type = "O", .value = "Bench"},
                   {.type = "CN", .value = name}},
       // Older than the fillers, so that a search by name walks over all of them first.
       .notBefore = -2 * lab::kDay,
       .keyUsage = "digitalSignature,nonRepudiation,keyEncipherment"});
  signer.thumbprint = lab::thumbprint(signer.certificate.get());
  folder_.addCertificate("My", signer.certificate.get());
  folder_.addCertificate("Addressbook", signer.certificate.get());
  folder_.addKey(signer.key.get(), kPin);
  return signer;
}

void World::addSigner(lab::KeyKind kind) {
  const std::string name = lab::kindName(kind);
  const lab::Authority authority =
      lab::Authority::selfSigned(kind, {.subject = {{.type = "CN", .value = "Root " + name}}});
  Signer signer = newSigner(authority, kind, "Signer " + name);
  const X509CrlPtr crl = authority.crl();
  signer.trust = trustIn(authority, crl.get());
  folder_.addCertificate("Root", authority.certificate());
  folder_.addCrl("Root", crl.get(), name + ".crl");
  signers_[kind] = std::move(signer);
}

std::vector<Signer> World::addRecipients(lab::KeyKind kind, int count) const {
  const lab::Authority authority =
      lab::Authority::selfSigned(kind, {.subject = {{.type = "CN", .value = "Recipients' Root"}}});
  std::vector<Signer> recipients;
  recipients.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    recipients.push_back(newSigner(authority, kind, "Recipient " + std::to_string(i)));
  }
  return recipients;
}

}  // namespace qx::bench
