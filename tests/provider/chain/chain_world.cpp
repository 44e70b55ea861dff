#include "tests/provider/chain/chain_world.h"

#include <array>
#include <map>

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {
namespace {

lab::Bytes broken(lab::Bytes der) {
  der.back() ^= 1U;
  return der;
}

template <class Pointer>
std::string pemOf(const std::vector<Pointer>& objects) {
  std::string pem;
  for (const Pointer& object : objects) {
    if constexpr (std::is_same_v<Pointer, CrlPtr>) {
      pem += lab::toPem(object->crl());
    } else {
      pem += lab::toPem(object->x509());
    }
  }
  return pem;
}

}  // namespace

lab::CertificateOptions named(const std::string& commonName) {
  return {.subject = {{.type = "CN", .value = commonName}}};
}

EVP_PKEY* sampleKey(lab::KeyKind kind) {
  // Never destroyed: at the end of the process the engine of the GOST keys is gone before them.
  static auto& keys = *new std::map<lab::KeyKind, EvpPkeyPtr>;
  EvpPkeyPtr& key = keys[kind];
  if (key == nullptr) {
    key = lab::generateKey(kind);
  }
  return key.get();
}

X509Ptr withBrokenSignature(const X509* certificate) {
  return lab::readCertificate(broken(lab::toDer(certificate)));
}

X509CrlPtr withBrokenSignature(const X509_CRL* crl) {
  const lab::Bytes der = broken(lab::toDer(crl));
  const unsigned char* position = der.data();
  return X509CrlPtr(d2i_X509_CRL(nullptr, &position, static_cast<long>(der.size())));
}

ChainVerdict ChainWorld::judge(const X509* certificate) const {
  const TrustSource trust = trustSource();
  Result<ChainVerdict> verdict = evaluate({.certificate = dataOf(certificate),
                                           .trust = &trust,
                                           .now = now,
                                           .time = time,
                                           .certificates = material_,
                                           .crls = looseCrls_,
                                           .ocsp = answers_,
                                           .givenRevocationOnly = givenRevocationOnly,
                                           .revocationAsOfTime = revocationAsOfTime,
                                           .revocation = revocation,
                                           .usage = usage,
                                           .source = source,
                                           .issuers = issuers});
  if (!verdict) {
    ADD_FAILURE() << "evaluate failed with " << std::hex << verdict.error();
    return {.window = TimeWindow(now)};
  }
  return *std::move(verdict);
}

std::string ChainWorld::askOpenssl(const X509* certificate) const {
  const TempDir folder;
  std::vector<CertificatePtr> untrusted = intermediates_;
  untrusted.insert(untrusted.end(), material_.begin(), material_.end());
  std::vector<CrlPtr> crls = crls_;
  crls.insert(crls.end(), looseCrls_.begin(), looseCrls_.end());
  Command command;
  // libcrypto takes an absent set of policies for an empty one; any policy (2.5.29.32.0) is meant.
  command.arguments = {"openssl",
                       "verify",
                       "-no-CApath",
                       "-no-CAstore",
                       "-check_ss_sig",
                       "-engine",
                       "gost",
                       "-attime",
                       std::to_string(now),
                       "-policy",
                       "2.5.29.32.0"};
  if (roots_.empty()) {
    command.arguments.emplace_back("-no-CAfile");
  }
  const auto pass = [&](const char* option, const std::string& pem) {
    if (!pem.empty()) {
      command.arguments.insert(command.arguments.end(), {option, folder.write(option, pem)});
    }
  };
  pass("-CAfile", pemOf(roots_));
  pass("-untrusted", pemOf(untrusted));
  pass("-CRLfile", pemOf(crls));
  if (revocation != RevocationScope::None) {
    command.arguments.emplace_back(
        revocation == RevocationScope::EndCertificate ? "-crl_check" : "-crl_check_all");
  }
  command.arguments.push_back(folder.write("leaf.pem", lab::toPem(certificate)));
  const CommandResult result = run(command);
  return result.exitCode == 0 ? "OK" : result.err;
}

ChainVerdict ChainWorld::judgeTwice(const X509* certificate) const {
  ChainVerdict verdict = judge(certificate);
  const std::string other = askOpenssl(certificate);
  EXPECT_EQ(verdict.errors == 0, other == "OK")
      << "we say " << std::hex << verdict.errors << ", openssl says " << other;
  return verdict;
}

std::vector<DWORD> errorsOf(const ChainVerdict& verdict) {
  std::vector<DWORD> errors;
  errors.reserve(verdict.elements.size());
  for (const ChainElement& element : verdict.elements) {
    errors.push_back(element.errors);
  }
  return errors;
}

std::vector<std::string> namesOf(const ChainVerdict& verdict) {
  std::vector<std::string> names;
  names.reserve(verdict.elements.size());
  for (const ChainElement& element : verdict.elements) {
    std::array<char, 256> name{};
    X509_NAME_get_text_by_NID(X509_get_subject_name(element.certificate->x509()),
                              NID_commonName,
                              name.data(),
                              static_cast<int>(name.size()));
    names.emplace_back(name.data());
  }
  return names;
}

}  // namespace qx::test
