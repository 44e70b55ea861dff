#include "tests/interop/interop_world.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace qx::test {
namespace {

std::vector<EvpPkeyPtr> generateKeys(const std::vector<lab::KeyKind>& kinds) {
  std::vector<EvpPkeyPtr> keys;
  keys.reserve(kinds.size());
  for (const lab::KeyKind kind : kinds) {
    keys.push_back(lab::generateKey(kind));
  }
  return keys;
}

}  // namespace

InteropWorld::InteropWorld(lab::KeyKind kind)
    : InteropWorld(std::vector<lab::KeyKind>(std::size_t{3}, kind)) {}

InteropWorld::InteropWorld(const std::vector<lab::KeyKind>& kinds)
    : InteropWorld(kinds.front(), generateKeys(kinds)) {}

InteropWorld::InteropWorld(lab::KeyKind authorityKind, std::vector<EvpPkeyPtr> keys) {
  const lab::Authority authority = addAuthority(authorityKind);
  std::string all;
  for (EvpPkeyPtr& key : keys) {
    addSigner(authority, std::move(key), "signer" + std::to_string(signers_.size()));
    all += lab::toPem(signers_.back().certificate.get());
  }
  certificatesFile_ = files_.write("signers.pem", all);
}

lab::Authority InteropWorld::addAuthority(lab::KeyKind kind) {
  lab::Authority authority =
      lab::Authority::selfSigned(kind, {.subject = {{"C", "RU"}, {"CN", "Interop Root"}}});
  folder_.addCertificate("Root", authority.certificate());
  folder_.addCrl("Root", authority.crl().get(), "root.crl");
  rootFile_ = files_.write("root.pem", lab::toPem(authority.certificate()));
  return authority;
}

void InteropWorld::addSigner(const lab::Authority& authority,
                             EvpPkeyPtr key,
                             const std::string& name) {
  Signer signer;
  signer.name = name;
  signer.key = std::move(key);
  signer.certificate =
      authority.issue(signer.key.get(),
                      {.subject = {{"C", "RU"}, {"CN", name}},
                       .keyUsage = "digitalSignature,nonRepudiation,keyEncipherment"});
  signer.thumbprint = lab::thumbprint(signer.certificate.get());
  signer.certificateFile = files_.write(name + ".pem", lab::toPem(signer.certificate.get()));
  signer.keyFile = files_.write(name + ".key", lab::toPem(signer.key.get()));
  folder_.addCertificate("My", signer.certificate.get());
  folder_.addCertificate("Addressbook", signer.certificate.get());
  folder_.addKey(signer.key.get());
  signers_.push_back(std::move(signer));
}

std::vector<SsfRecord> InteropWorld::records(std::size_t count) const {
  std::vector<SsfRecord> records;
  for (std::size_t i = 0; i < count; ++i) {
    records.push_back({.id = signers_.at(i).thumbprint});
  }
  return records;
}

std::string InteropWorld::write(const std::string& name, const std::string& bytes) const {
  return files_.write(name, bytes);
}

CommandResult openssl(const std::string& command, std::vector<std::string> arguments) {
  std::vector<std::string> line = {"openssl", command, "-engine", "gost"};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return run(std::move(line));
}

std::vector<EvpPkeyPtr> widelyKnownKeys(const std::vector<lab::KeyKind>& kinds) {
  std::vector<EvpPkeyPtr> keys;
  keys.reserve(kinds.size());
  for (const lab::KeyKind kind : kinds) {
    keys.push_back(kind == lab::KeyKind::Gost2012_256 ? lab::generateGostKey(kind, "A")
                                                      : lab::generateKey(kind));
  }
  return keys;
}

}  // namespace qx::test
