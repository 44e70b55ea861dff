#ifndef QX_PROVIDER_CHAIN_REVOCATION_H_
#define QX_PROVIDER_CHAIN_REVOCATION_H_

#include <optional>
#include <span>
#include <vector>

#include "platform/types.h"

#include "provider/chain/revocation_source.h"
#include "provider/chain/statement.h"
#include "provider/chain/time_window.h"
#include "provider/chain/verify.h"

namespace qx {

/// What is known about the revocation of one certificate: the bits of kRevocationUnknown and
/// CERT_TRUST_IS_REVOKED, and what decided.
struct RevocationStatus {
  DWORD errors = 0;
  RevocationEvidence evidence;
};

/// RevocationJudge looks up the revocation of certificates in CRLs and answers: those of the trust
/// source, unless the request leaves them out, and those of the request. Of all that is signed by whom
/// it must be, the newest decides. The number of signatures tried over the judge's life is limited;
/// what is beyond counts as forged.
class RevocationJudge {
 public:
  /// `window` is narrowed by the dates of what is looked at.
  RevocationJudge(const ChainRequest& request, TimeWindow& window);

  ~RevocationJudge() = default;
  RevocationJudge(const RevocationJudge&) = delete;
  RevocationJudge& operator=(const RevocationJudge&) = delete;
  RevocationJudge(RevocationJudge&&) = delete;
  RevocationJudge& operator=(RevocationJudge&&) = delete;

  /// The status of a certificate; `issuer` is null when it was not found, and `fetched` is looked into
  /// as well.
  RevocationStatus statusOf(const CertificateData& subject,
                            const CertificateData* issuer,
                            const RevocationData& fetched = {});

 private:
  void read(std::span<const CrlPtr> crls,
            const CertificateData& subject,
            std::vector<Statement>& into);
  void read(std::span<const OcspPtr> answers,
            const CertificateData& subject,
            const CertificateData& issuer,
            std::vector<Statement>& into);
  std::vector<Statement> crlStatements(const CertificateData& subject,
                                       std::span<const CrlPtr> fetched);
  void take(Statement statement, const CertificateData& subject, std::vector<Statement>& into);
  bool isRevokedByCrl(const CertificateData& responder, const CertificateData& issuer);
  bool isGenuine(const Statement& statement, const CertificateData& issuer);
  RevocationStatus decide(std::vector<Statement> statements, const CertificateData& issuer);

  const ChainRequest& request_;
  const RevocationMoment moment_;
  const CrlIndex crls_;
  TimeWindow& window_;
  std::size_t signatureChecks_ = 0;
};

/// isStatusKnown tells whether this data alone, no older than `freshness`, decides now about a
/// certificate.
bool isStatusKnown(const CertificateData& subject,
                   const CertificateData& issuer,
                   const RevocationData& data,
                   std::time_t now,
                   std::optional<std::time_t> freshness = std::nullopt);

}  // namespace qx

#endif
