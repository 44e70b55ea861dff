#include "provider/chain/path_search.h"

#include <algorithm>
#include <tuple>

#include <openssl/x509v3.h>

#include "provider/chain/limits.h"

namespace qx {
namespace {

struct Candidate {
  CertificatePtr certificate;
  bool maySign = false;  // its key usage allows it to issue
  bool isRoot = false;
  bool isValid = false;
  bool isStored = false;  // not only in the caller's material
  std::size_t position = 0;
};

bool isLikelier(const Candidate& left, const Candidate& right) {
  return std::tie(left.maySign, left.isRoot, left.isValid, left.isStored, right.position) >
         std::tie(right.maySign, right.isRoot, right.isValid, right.isStored, left.position);
}

bool isSelfSigned(const CertificateData& certificate) {
  return X509_self_signed(certificate.x509(), /*verify_signature=*/0) > 0;
}

bool sameSubjectAndKey(const CertificateData& left, const CertificateData& right) {
  return std::ranges::equal(left.spki(), right.spki()) &&
         X509_NAME_cmp(X509_get_subject_name(left.x509()), X509_get_subject_name(right.x509())) ==
             0;
}

class PathSearch {
 public:
  PathSearch(const ChainRequest& request,
             TimeWindow& window,
             const std::function<bool(const Path&)>& visit)
      : request_(request),
        extra_(request.certificates),
        window_(window),
        visit_(visit),
        path_{.certificates = {request.certificate}} {}

  ~PathSearch() = default;
  PathSearch(const PathSearch&) = delete;
  PathSearch& operator=(const PathSearch&) = delete;
  PathSearch(PathSearch&&) = delete;
  PathSearch& operator=(PathSearch&&) = delete;

  void run() {
    noteDates(*request_.certificate);
    extend();
  }

 private:
  const CertificateData& last() const { return *path_.certificates.back(); }

  void extend();
  void extendBy(const CertificatePtr& issuer);
  void finish(bool cyclic);
  std::vector<Candidate> issuers(bool& cyclic);
  void collect(std::span<const CertificatePtr> from, bool stored, std::vector<Candidate>& into);
  bool isInPath(const CertificateData& certificate) const;
  bool fitsSignature(const CertificateData& issuer);
  void noteDates(const CertificateData& certificate);

  const ChainRequest& request_;
  const CertificateIndex extra_;
  TimeWindow& window_;
  const std::function<bool(const Path&)>& visit_;
  Path path_;
  bool done_ = false;
  std::size_t paths_ = 0;
  std::size_t signatureChecks_ = 0;
};

void PathSearch::noteDates(const CertificateData& certificate) {
  if (!request_.time) {
    window_.narrow(secondsOf(certificate.info().NotBefore));
    window_.narrow(secondsOf(certificate.info().NotAfter) + 1);
  }
}

void PathSearch::finish(bool cyclic) {
  path_.trusted = isSelfSigned(last()) && request_.trust->isRoot(last());
  path_.cyclic = cyclic;
  ++paths_;
  done_ = !visit_(path_) || paths_ >= kMaxPaths;
}

// A certificate of the same name and key is the same authority: to meet it twice leads nowhere new.
bool PathSearch::isInPath(const CertificateData& certificate) const {
  return std::ranges::any_of(path_.certificates, [&](const CertificatePtr& member) {
    return sameSubjectAndKey(*member, certificate);
  });
}

void PathSearch::collect(std::span<const CertificatePtr> from,
                         bool stored,
                         std::vector<Candidate>& into) {
  for (const CertificatePtr& issuer : from.first(std::min(from.size(), kMaxCandidates))) {
    // Asked first: to decode a certificate takes as long as to verify a signature.
    const bool known = std::ranges::any_of(
        into, [&](const Candidate& other) { return sameCertificate(*other.certificate, *issuer); });
    X509* decoded = known ? nullptr : issuer->x509();
    const int linked =
        decoded == nullptr ? X509_V_ERR_UNSPECIFIED : X509_check_issued(decoded, last().x509());
    if (linked != X509_V_OK && linked != X509_V_ERR_KEYUSAGE_NO_CERTSIGN) {
      continue;
    }
    noteDates(*issuer);
    into.push_back({.certificate = issuer,
                    .maySign = linked == X509_V_OK,
                    .isRoot = isSelfSigned(*issuer) && request_.trust->isRoot(*issuer),
                    .isValid = isValidAt(*issuer, request_.time.value_or(request_.now)),
                    .isStored = stored,
                    .position = into.size()});
  }
}

std::vector<Candidate> PathSearch::issuers(bool& cyclic) {
  const X509_NAME* name = X509_get_issuer_name(last().x509());
  std::vector<Candidate> found;
  collect(request_.trust->withSubject(name), /*stored=*/true, found);
  collect(extra_.find(name), /*stored=*/false, found);
  const std::size_t all = found.size();
  std::erase_if(found,
                [&](const Candidate& candidate) { return isInPath(*candidate.certificate); });
  cyclic = found.empty() && all > 0;
  std::ranges::sort(found, isLikelier);
  return found;
}

bool PathSearch::fitsSignature(const CertificateData& issuer) {
  EVP_PKEY* key = X509_get0_pubkey(issuer.x509());
  return key != nullptr && ++signatureChecks_ <= kMaxSignatureChecks &&
         X509_verify(last().x509(), key) == 1;
}

// NOLINTNEXTLINE(misc-no-recursion): as deep as the longest chain
void PathSearch::extendBy(const CertificatePtr& issuer) {
  path_.certificates.push_back(issuer);
  extend();
  path_.certificates.pop_back();
}

// A lone candidate is taken as it is: its signature is checked with the path.
// NOLINTNEXTLINE(misc-no-recursion): as deep as the longest chain
void PathSearch::extend() {
  bool cyclic = false;
  std::vector<Candidate> candidates;
  if (!isSelfSigned(last()) && path_.certificates.size() < kMaxChainLength) {
    candidates = issuers(cyclic);
  }
  if (candidates.empty()) {
    finish(cyclic);
    return;
  }
  bool fits = false;
  for (const Candidate& candidate : candidates) {
    if (!done_ && candidates.size() > 1 && fitsSignature(*candidate.certificate)) {
      fits = true;
      extendBy(candidate.certificate);
    }
  }
  if (!done_ && !fits) {
    extendBy(candidates.front().certificate);
  }
}

}  // namespace

void searchPaths(const ChainRequest& request,
                 TimeWindow& window,
                 const std::function<bool(const Path&)>& visit) {
  PathSearch(request, window, visit).run();
}

bool isValidAt(const CertificateData& certificate, std::time_t time) {
  return secondsOf(certificate.info().NotBefore) <= time &&
         time <= secondsOf(certificate.info().NotAfter);
}

}  // namespace qx
