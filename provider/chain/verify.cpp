#include "provider/chain/verify.h"

#include <iterator>
#include <utility>

#include <openssl/x509v3.h>

#include "provider/chain/crl_choice.h"
#include "provider/chain/faults.h"
#include "provider/chain/path_check.h"
#include "provider/chain/path_search.h"
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

class Evaluation {
 public:
  explicit Evaluation(const ChainRequest& request)
      : request_(request),
        window_(request.now),
        chooser_(*request.trust, window_),
        crls_(request.crls) {}

  ~Evaluation() = default;
  Evaluation(const Evaluation&) = delete;
  Evaluation& operator=(const Evaluation&) = delete;
  Evaluation(Evaluation&&) = delete;
  Evaluation& operator=(Evaluation&&) = delete;

  Result<ChainVerdict> run();

 private:
  ChainElement elementAt(const Path& path, std::size_t i) const;
  Result<ChainVerdict> judge(const Path& path, const CrlIndex& extra);
  void consider(const Path& path);
  void askSource();
  std::vector<CrlPtr> fetched() const;

  const ChainRequest& request_;
  TimeWindow window_;
  CrlChooser chooser_;
  const CrlIndex crls_;
  Path bestPath_;
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
  if (isLast && path.cyclic) {
    element.errors |= CERT_TRUST_IS_CYCLIC;
  }
  return element;
}

Result<ChainVerdict> Evaluation::judge(const Path& path, const CrlIndex& extra) {
  const std::size_t checked = countChecked(path, request_.revocation);
  const std::vector<CrlPtr> crls = chooser_.choose(path, checked, extra);
  const Result<PathFaults> faults = checkPath(path, request_.now, request_.revocation, crls);
  if (!faults) {
    return faults.failure();
  }
  ChainVerdict verdict{
      .errors = faults->chain, .info = CERT_TRUST_HAS_PREFERRED_ISSUER, .window = window_};
  for (std::size_t i = 0; i < path.certificates.size(); ++i) {
    verdict.elements.push_back(elementAt(path, i));
    verdict.elements[i].errors |= faults->elements[i];
    verdict.elements[i].revocationChecked = i < checked;
  }
  markUsage(request_.usage, verdict.elements);
  for (const ChainElement& element : verdict.elements) {
    verdict.errors |= element.errors;
  }
  return verdict;
}

void Evaluation::consider(const Path& path) {
  Result<ChainVerdict> verdict = judge(path, crls_);
  if (verdict && (!best_ || badness(verdict->errors) < badness(best_->errors))) {
    best_ = std::move(verdict);
    bestPath_ = path;
  }
}

std::vector<CrlPtr> Evaluation::fetched() const {
  std::vector<CrlPtr> crls(request_.crls.begin(), request_.crls.end());
  for (std::size_t i = 0; i + 1 < best_->elements.size(); ++i) {
    if ((best_->elements[i].errors & kRevocationUnknown) != 0) {
      std::ranges::move(request_.source->crlsFor(*best_->elements[i].certificate,
                                                 *best_->elements[i + 1].certificate),
                        std::back_inserter(crls));
    }
  }
  return crls;
}

void Evaluation::askSource() {
  const bool worthIt = (best_->errors & kRevocationUnknown) != 0 &&
                       (best_->errors & (kNotTrusted | CERT_TRUST_IS_REVOKED)) == 0;
  if (request_.source == nullptr || !worthIt) {
    return;
  }
  Result<ChainVerdict> again = judge(bestPath_, CrlIndex(fetched()));
  if (again) {
    best_ = std::move(again);
  }
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

}  // namespace

Result<ChainVerdict> evaluate(const ChainRequest& request) {
  const ErrorQueueGuard queue;
  X509* certificate = request.certificate->x509();
  if (certificate == nullptr || X509_get0_pubkey(certificate) == nullptr) {
    return fail(ERROR_INVALID_DATA);
  }
  return Evaluation(request).run();
}

}  // namespace qx
