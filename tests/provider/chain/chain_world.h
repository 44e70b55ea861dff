#ifndef QX_TESTS_PROVIDER_CHAIN_CHAIN_WORLD_H_
#define QX_TESTS_PROVIDER_CHAIN_CHAIN_WORLD_H_

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "provider/chain/verify.h"
#include "tests/provider/chain/lab_data.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// named makes options with this common name.
lab::CertificateOptions named(const std::string& commonName);

/// sampleKey is one key of a kind, the same in the whole process.
EVP_PKEY* sampleKey(lab::KeyKind kind = lab::KeyKind::EcP256);

/// withBrokenSignature is the same certificate with one bit of its signature turned.
X509Ptr withBrokenSignature(const X509* certificate);
X509CrlPtr withBrokenSignature(const X509_CRL* crl);

/// ChainWorld is what a chain is judged in: a store of roots, one of intermediates, further material
/// and CRLs.
class ChainWorld {
 public:
  RevocationScope revocation = RevocationScope::None;
  std::optional<std::time_t> time;
  std::time_t now = std::time(nullptr);
  RequestedUsage usage;
  RevocationSource* source = nullptr;
  IssuerSource* issuers = nullptr;
  bool givenRevocationOnly = false;
  bool revocationAsOfTime = false;

  void trust(const X509* root) { roots_.push_back(dataOf(root)); }

  void addIntermediate(const X509* certificate) { intermediates_.push_back(dataOf(certificate)); }

  void addMaterial(const X509* certificate) { material_.push_back(dataOf(certificate)); }

  void addCrl(const X509_CRL* crl) { crls_.push_back(dataOf(crl)); }

  void addLooseCrl(const X509_CRL* crl) { looseCrls_.push_back(dataOf(crl)); }

  void addAnswer(const lab::Bytes& der) { answers_.push_back(answerOf(der)); }

  void dropCrls() { crls_.clear(); }

  void dropAnswers() { answers_.clear(); }

  TrustSource trustSource() const { return {roots_, intermediates_, crls_}; }

  /// judge evaluates; a failure is a test failure and an empty verdict.
  ChainVerdict judge(const X509* certificate) const;

  /// judgeTwice evaluates and expects the openssl command to agree on good or bad. Its CRL checks are
  /// those of the end certificate or of the whole chain.
  ChainVerdict judgeTwice(const X509* certificate) const;

  /// What the openssl command says: "OK" or its first complaint.
  std::string askOpenssl(const X509* certificate) const;

 private:
  std::vector<CertificatePtr> roots_;
  std::vector<CertificatePtr> intermediates_;
  std::vector<CertificatePtr> material_;
  std::vector<CrlPtr> crls_;
  std::vector<CrlPtr> looseCrls_;
  std::vector<OcspPtr> answers_;
};

/// The error bits of the elements, from the end certificate upwards.
std::vector<DWORD> errorsOf(const ChainVerdict& verdict);

/// The common names of the chain, from the end certificate upwards.
std::vector<std::string> namesOf(const ChainVerdict& verdict);

}  // namespace qx::test

#endif
