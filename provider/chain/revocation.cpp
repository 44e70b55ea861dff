#include "provider/chain/revocation.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "provider/chain/crl_status.h"
#include "provider/chain/faults.h"
#include "provider/chain/limits.h"
#include "provider/chain/ocsp_signer.h"
#include "provider/chain/ocsp_status.h"
#include "provider/chain/proved_signatures.h"

namespace qx {
namespace {

template <class Pointer>
std::span<const Pointer> limited(std::span<const Pointer> objects) {
  return objects.first(std::min(objects.size(), kMaxObjects));
}

bool isProvedBy(const CrlData& crl, const CertificateData& issuer) {
  return processProvedSignatures().prove(
      SignedKind::Crl, crl.der(), issuer, [&] { return isSignedBy(crl, issuer); });
}

bool weighsMore(const Statement& left, const Statement& right) {
  return std::tie(left.reliable, left.period.begin, left.revoked) >
         std::tie(right.reliable, right.period.begin, right.revoked);
}

}  // namespace

RevocationJudge::RevocationJudge(const ChainRequest& request, TimeWindow& window)
    : request_(request),
      moment_{.now = request.now, .asOf = request.revocationAsOfTime ? request.time : std::nullopt},
      crls_(request.crls),
      window_(window) {}

// Authorities may drop expired certificates from their lists: what was made later does not vouch for
// one.
void RevocationJudge::take(Statement statement,
                           const CertificateData& subject,
                           std::vector<Statement>& into) {
  window_.narrow(statement.period.begin);
  window_.narrow(statement.period.end);
  if (moment_.asOf && !statement.revoked &&
      statement.period.begin > secondsOf(subject.info().NotAfter)) {
    statement.reliable = false;
  }
  if (request_.freshness) {
    const std::time_t stale = request_.now - *request_.freshness;
    statement.reliable = statement.reliable && statement.period.begin >= stale;
    window_.narrow(statement.period.begin + *request_.freshness + 1);
  }
  if (statement.reliable || statement.revoked) {
    into.push_back(std::move(statement));
  }
}

void RevocationJudge::read(std::span<const CrlPtr> crls,
                           const CertificateData& subject,
                           std::vector<Statement>& into) {
  for (const CrlPtr& crl : limited(crls)) {
    if (std::optional<Statement> statement = readCrl(crl, subject, moment_)) {
      take(*std::move(statement), subject, into);
    }
  }
}

void RevocationJudge::read(std::span<const OcspPtr> answers,
                           const CertificateData& subject,
                           const CertificateData& issuer,
                           std::vector<Statement>& into) {
  for (const OcspPtr& answer : limited(answers)) {
    if (std::optional<Statement> statement = readAnswer(answer, subject, issuer, moment_)) {
      take(*std::move(statement), subject, into);
    }
  }
}

std::vector<Statement> RevocationJudge::crlStatements(const CertificateData& subject,
                                                      std::span<const CrlPtr> fetched) {
  const X509_NAME* issuer = X509_get_issuer_name(subject.x509());
  std::vector<Statement> statements;
  if (!request_.givenRevocationOnly) {
    read(request_.trust->crlsOf(issuer), subject, statements);
  }
  read(crls_.find(issuer), subject, statements);
  read(CrlIndex(fetched).find(issuer), subject, statements);
  return statements;
}

bool RevocationJudge::isGenuine(const Statement& statement, const CertificateData& issuer) {
  if (++signatureChecks_ > kMaxSignatureChecks) {
    return false;
  }
  if (statement.evidence.crl != nullptr) {
    return isProvedBy(*statement.evidence.crl, issuer);
  }
  const OcspData& answer = *statement.evidence.ocsp;
  return isSignedFor(answer,
                     issuer,
                     {.certificates = request_.certificates,
                      .time = moment_.asOf ? answer.producedAt() : moment_.now,
                      .isRevoked = [&](const CertificateData& responder) {
                        return isRevokedByCrl(responder, issuer);
                      }});
}

bool RevocationJudge::isRevokedByCrl(const CertificateData& responder,
                                     const CertificateData& issuer) {
  const std::vector<Statement> statements = crlStatements(responder, {});
  return std::ranges::any_of(statements, [&](const Statement& statement) {
    return statement.revoked && ++signatureChecks_ <= kMaxSignatureChecks &&
           isProvedBy(*statement.evidence.crl, issuer);
  });
}

RevocationStatus RevocationJudge::decide(std::vector<Statement> statements,
                                         const CertificateData& issuer) {
  std::ranges::sort(statements, weighsMore);
  for (Statement& statement : statements) {
    if (isGenuine(statement, issuer)) {
      const DWORD revoked = statement.revoked ? CERT_TRUST_IS_REVOKED : 0U;
      return statement.reliable
                 ? RevocationStatus{.errors = revoked, .evidence = std::move(statement.evidence)}
                 : RevocationStatus{.errors = revoked | kRevocationUnknown, .evidence = {}};
    }
  }
  return {.errors = kRevocationUnknown, .evidence = {}};
}

RevocationStatus RevocationJudge::statusOf(const CertificateData& subject,
                                           const CertificateData* issuer,
                                           const RevocationData& fetched) {
  if (issuer == nullptr) {
    return {.errors = kRevocationUnknown, .evidence = {}};
  }
  std::vector<Statement> statements = crlStatements(subject, fetched.crls);
  read(request_.ocsp, subject, *issuer, statements);
  read(fetched.ocsp, subject, *issuer, statements);
  return decide(std::move(statements), *issuer);
}

bool isStatusKnown(const CertificateData& subject,
                   const CertificateData& issuer,
                   const RevocationData& data,
                   std::time_t now,
                   std::optional<std::time_t> freshness) {
  TimeWindow window(now);
  const ChainRequest request{.now = now, .givenRevocationOnly = true, .freshness = freshness};
  const RevocationStatus status = RevocationJudge(request, window).statusOf(subject, &issuer, data);
  return (status.errors & kRevocationUnknown) == 0;
}

}  // namespace qx
