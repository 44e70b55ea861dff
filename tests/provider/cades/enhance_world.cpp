#include "tests/provider/cades/enhance_world.h"

#include <filesystem>
#include <utility>

#include <openssl/objects.h>

#include "provider/cades/time_stamp_token.h"

namespace qx::test {
namespace {

using lab::Authority;
using lab::KeyKind;

int nextNumber() {
  static int number = 0;
  return number++;
}

}  // namespace

Result<TimeStamp> LabTimeStamps::stamp(HashAlgorithm algorithm,
                                       der::Bytes imprint,
                                       const Meanwhile& work) {
  imprints_.emplace_back(imprint.begin(), imprint.end());
  algorithms_.push_back(algorithm);
  if (imprints_.size() > failure_.first) {
    return fail(failure_.second);
  }
  const std::string oid(hashInfo(algorithm).oid);
  Octets octets = authority_->token({.digest = OBJ_txt2nid(oid.c_str()), .hash = imprints_.back()});
  if (requests() == spoiled_ + 1) {
    octets.back() ^= 1U;  // of the signature, which is last
  }
  if (const Result<void> done = work(); !done) {
    return done.failure();
  }
  Result<TimeStampToken> token = TimeStampToken::read(octets);
  Result<CertificatePtr> authority = token ? token->findAuthority() : token.failure();
  return authority ? TimeStamp(std::move(octets), *std::move(token), *std::move(authority), nullptr)
                   : Result<TimeStamp>(authority.failure());
}

EnhanceWorld::EnhanceWorld(const EnhanceOptions& options)
    : kind_(options.kind),
      number_(nextNumber()),
      root_(Authority::selfSigned(kind_, {.subject = {{.type = "CN", .value = name("Root")}}})),
      issuer_(root_.subordinate(kind_, {.subject = {{.type = "CN", .value = name("Issuer")}}})),
      authority_(std::make_shared<lab::TimeStampAuthority>(lab::TimeStampAuthority::issuedBy(
          root_, kind_, {.subject = {{.type = "CN", .value = name("Time Stamps")}}}))) {
  if (options.isTrusted) {
    testFolder().addCertificate("Root", root_.certificate());
  }
  testFolder().addCertificate("CA", issuer_.certificate());
  if (options.hasCrls) {
    storeCrl(root_);
    storeCrl(issuer_);
  }
}

std::string EnhanceWorld::name(const std::string& what) const {
  return what + " of world " + std::to_string(number_);
}

Signer& EnhanceWorld::signer(KeyKind kind, int number) {
  std::unique_ptr<Signer>& entry = signers_[{kind, number}];
  if (entry == nullptr) {
    EvpPkeyPtr key = lab::generateKey(kind);
    const std::string subject = name("Signer " + std::to_string(signers_.size()));
    X509Ptr certificate = issuer_.issue(
        key.get(), {.subject = {{.type = "CN", .value = subject}}, .keyUsage = "digitalSignature"});
    entry = std::make_unique<Signer>(kind, std::move(key), std::move(certificate));
  }
  return *entry;
}

void EnhanceWorld::storeCrl(const Authority& authority,
                            std::vector<lab::RevokedEntry> revoked) const {
  static std::uint64_t number = 0;
  const X509CrlPtr crl = authority.crl(
      {.revoked = std::move(revoked), .thisUpdate = -std::chrono::minutes(5), .number = ++number});
  const std::string file = authority.certificate() == root_.certificate() ? "root" : "issuer";
  crlFiles_.insert(testFolder().addCrl("CA", crl.get(), file + std::to_string(number_) + ".crl"));
  crls_[authority.certificate()] = lab::toDer(crl.get());
}

void EnhanceWorld::forgetCrls() const {
  for (const std::string& file : crlFiles_) {
    std::filesystem::remove(file);
  }
}

const Octets& EnhanceWorld::storedCrl(const Authority& authority) const {
  return crls_.at(authority.certificate());
}

EnhanceWorld& sharedWorld(KeyKind kind) {
  // Never destroyed: at exit libcrypto goes before static objects do.
  static auto& worlds = *new std::map<KeyKind, std::unique_ptr<EnhanceWorld>>;
  std::unique_ptr<EnhanceWorld>& entry = worlds[kind];
  if (entry == nullptr) {
    entry = std::make_unique<EnhanceWorld>(EnhanceOptions{.kind = kind});
  }
  return *entry;
}

SignedData& dataOf(const MessageHandle& message) {
  return (*decodedSigned(message.get()))->data();
}

}  // namespace qx::test
