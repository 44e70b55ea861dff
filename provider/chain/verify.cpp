#include "provider/chain/verify.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include <openssl/x509v3.h>

#include "provider/chain/faults.h"
#include "provider/chain/path_check.h"
#include "provider/chain/path_search.h"
#include "provider/chain/revocation.h"
#include "provider/chain/signature_length.h"
#include "provider/chain/usage.h"
#include "provider/chain/weak_digest.h"
#include "provider/openssl/errors.h"

namespace qx {
namespace {

/// Faults from the worst to the least; of two chains the one is better whose worst fault is less bad.
constexpr DWORD kSeverity[] = {
    CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_IS_CYCLIC,
    CERT_TRUST_IS_PARTIAL_CHAIN,
    CERT_TRUST_IS_UNTRUSTED_ROOT,
    CERT_TRUST_IS_REVOKED,
    ~(kRevocationUnknown | CERT_TRUST_IS_NOT_TIME_VALID),
    CERT_TRUST_IS_NOT_TIME_VALID,
    kRevocationUnknown,
};

// Authorities stand three or four deep; who leads us from address to address has more.
constexpr std::size_t kMaxFetchedIssuers = 4;

constexpr DWORD kNotTrusted = CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_IS_CYCLIC |
                              CERT_TRUST_IS_PARTIAL_CHAIN | CERT_TRUST_IS_UNTRUSTED_ROOT;

unsigned badness(DWORD errors) {
  unsigned value = 0;
  for (const DWORD bits : kSeverity) {
    value = (value << 1U) | ((errors & bits) != 0 ? 1U : 0U);
  }
  return value;
}

/// How a certificate names its issuer; the link itself was made by libcrypto's rules.
DWORD linkInfo(X509* certificate) {
  if (X509_get0_authority_serial(certificate) != nullptr) {
    return CERT_TRUST_HAS_EXACT_MATCH_ISSUER;
  }
  return X509_get0_authority_key_id(certificate) != nullptr ? CERT_TRUST_HAS_KEY_MATCH_ISSUER
                                                            : CERT_TRUST_HAS_NAME_MATCH_ISSUER;
}

DWORD infoOf(X509* certificate, bool isLast) {
  const bool selfSigned = X509_self_signed(certificate, /*verify_signature=*/0) > 0;
  if (selfSigned) {
    return CERT_TRUST_IS_SELF_SIGNED | linkInfo(certificate);
  }
  return isLast ? 0 : linkInfo(certificate);
}

DWORD errorsOfAll(const std::vector<ChainElement>& elements) {
  return std::accumulate(
      elements.begin(), elements.end(), DWORD{0}, [](DWORD errors, const ChainElement& element) {
        return errors | element.errors;
      });
}

/// Who signed a certificate of a chain; null when that was not found.
const CertificateData* issuerOf(const std::vector<ChainElement>& elements, std::size_t i) {
  if (i + 1 < elements.size()) {
    return elements[i + 1].certificate.get();
  }
  const CertificateData* last = elements[i].certificate.get();
  return X509_self_signed(last->x509(), /*verify_signature=*/0) > 0 ? last : nullptr;
}

class Evaluation {
 public:
  explicit Evaluation(const ChainRequest& request)
      : request_(request), window_(request.now), revocation_(request, window_) {}

  ~Evaluation() = default;
  Evaluation(const Evaluation&) = delete;
  Evaluation& operator=(const Evaluation&) = delete;
  Evaluation(Evaluation&&) = delete;
  Evaluation& operator=(Evaluation&&) = delete;

  Result<ChainVerdict> run();

 private:
  ChainElement elementAt(const Path& path, std::size_t i) const;
  Result<ChainVerdict> judge(const Path& path);
  void lookUpRevocation(const Path& path, std::vector<ChainElement>& elements);
  void consider(const Path& path);
  void askSource();

  const ChainRequest& request_;
  TimeWindow window_;
  RevocationJudge revocation_;
  Result<ChainVerdict> best_ = fail(E_OUTOFMEMORY);
};

// What is found without the verifier.
ChainElement Evaluation::elementAt(const Path& path, std::size_t i) const {
  const CertificatePtr& certificate = path.certificates[i];
  const bool isLast = i + 1 == path.certificates.size();
  ChainElement element{.certificate = certificate, .info = infoOf(certificate->x509(), isLast)};
  if (!isValidAt(*certificate, request_.time.value_or(request_.now))) {
    element.errors |= CERT_TRUST_IS_NOT_TIME_VALID;
  }
  // A root is trusted for standing in the store, not for its signature.
  if (!(isLast && path.trusted) && hasWeakSignature(certificate->x509())) {
    element.errors |= CERT_TRUST_IS_NOT_SIGNATURE_VALID | CERT_TRUST_HAS_WEAK_SIGNATURE;
  }
  if (!(isLast && path.trusted) && hasSignatureOfWrongLength(certificate->x509())) {
    element.errors |= CERT_TRUST_IS_NOT_SIGNATURE_VALID;
  }
  if (isLast && path.cyclic) {
    element.errors |= CERT_TRUST_IS_CYCLIC;
  }
  return element;
}

void Evaluation::lookUpRevocation(const Path& path, std::vector<ChainElement>& elements) {
  const std::size_t checked = countChecked(path, request_.revocation);
  for (std::size_t i = 0; i < checked; ++i) {
    RevocationStatus status = revocation_.statusOf(*elements[i].certificate, issuerOf(elements, i));
    elements[i].revocationChecked = true;
    elements[i].errors |= status.errors;
    elements[i].evidence = std::move(status.evidence);
  }
}

Result<ChainVerdict> Evaluation::judge(const Path& path) {
  const Result<PathFaults> faults = checkPath(path, request_.now);
  if (!faults) {
    return faults.failure();
  }
  ChainVerdict verdict{
      .errors = faults->chain, .info = CERT_TRUST_HAS_PREFERRED_ISSUER, .window = window_};
  for (std::size_t i = 0; i < path.certificates.size(); ++i) {
    verdict.elements.push_back(elementAt(path, i));
    verdict.elements[i].errors |= faults->elements[i];
  }
  lookUpRevocation(path, verdict.elements);
  markUsage(request_.usage, verdict.elements);
  if (!allowsPolicies(request_.policies, faults->policies)) {
    verdict.elements.front().errors |= CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
  }
  verdict.errors |= errorsOfAll(verdict.elements);
  return verdict;
}

void Evaluation::consider(const Path& path) {
  Result<ChainVerdict> verdict = judge(path);
  if (verdict && (!best_ || badness(verdict->errors) < badness(best_->errors))) {
    best_ = std::move(verdict);
  }
}

void Evaluation::askSource() {
  const bool worthIt = (best_->errors & kRevocationUnknown) != 0 &&
                       (best_->errors & (kNotTrusted | CERT_TRUST_IS_REVOKED)) == 0;
  if (request_.source == nullptr || request_.givenRevocationOnly || !worthIt) {
    return;
  }
  for (std::size_t i = 0; i + 1 < best_->elements.size(); ++i) {
    ChainElement& element = best_->elements[i];
    if ((element.errors & kRevocationUnknown) != 0) {
      const CertificateData& issuer = *best_->elements[i + 1].certificate;
      const RevocationData fetched = request_.source->dataFor(*element.certificate, issuer);
      RevocationStatus status = revocation_.statusOf(*element.certificate, &issuer, fetched);
      element.errors = (element.errors & ~kRevocationUnknown) | status.errors;
      element.evidence = std::move(status.evidence);
    }
  }
  best_->errors = (best_->errors & ~kRevocationUnknown) | errorsOfAll(best_->elements);
}

Result<ChainVerdict> Evaluation::run() {
  searchPaths(request_, window_, [this](const Path& path) {
    consider(path);
    return !best_ || best_->errors != 0;
  });
  if (best_) {
    askSource();
  }
  if (best_) {
    best_->window = window_;
  }
  return best_;
}

// An address of an issuer is followed only as long as the chain is sound so far.
bool hasUnknownIssuer(const Result<ChainVerdict>& verdict, const ChainRequest& request) {
  return request.issuers != nullptr && verdict &&
         (verdict->errors & kNotTrusted) == CERT_TRUST_IS_PARTIAL_CHAIN;
}

}  // namespace

Result<ChainVerdict> evaluate(const ChainRequest& request) {
  const ErrorQueueGuard queue;
  X509* certificate = request.certificate->x509();
  if (certificate == nullptr || X509_get0_pubkey(certificate) == nullptr) {
    return fail(ERROR_INVALID_DATA);
  }
  std::vector<CertificatePtr> material(request.certificates.begin(), request.certificates.end());
  ChainRequest extended = request;
  Result<ChainVerdict> verdict = Evaluation(extended).run();
  for (std::size_t i = 0; i < kMaxFetchedIssuers && hasUnknownIssuer(verdict, request); ++i) {
    std::vector<CertificatePtr> fetched =
        request.issuers->issuersOf(*verdict->elements.back().certificate);
    if (fetched.empty()) {
      break;
    }
    std::ranges::move(fetched, std::back_inserter(material));
    extended.certificates = material;
    verdict = Evaluation(extended).run();
  }
  return verdict;
}

}  // namespace qx
