#ifndef QX_PROVIDER_CHAIN_VERIFY_H_
#define QX_PROVIDER_CHAIN_VERIFY_H_

#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/cert_chain.h"

#include "provider/chain/issuer_source.h"
#include "provider/chain/name_index.h"
#include "provider/chain/ocsp_data.h"
#include "provider/chain/revocation_source.h"
#include "provider/chain/statement.h"
#include "provider/chain/time_window.h"
#include "provider/chain/trust_source.h"
#include "provider/result.h"

namespace qx {

/// Which certificates of a chain are checked for revocation.
enum class RevocationScope : std::uint8_t { None, EndCertificate, ChainWithoutRoot, Chain };

/// The usages (dotted OIDs of extended key usages) that a chain must be good for: all of them, or any
/// one. None: every usage is good.
struct RequestedUsage {
  bool any = false;
  std::vector<std::string> oids;
};

/// What is to be found out. Everything that the answer depends on stands here.
struct ChainRequest {
  CertificatePtr certificate;
  const TrustSource* trust = nullptr;
  /// When the answer is asked for: CRLs must be valid at this time. In seconds since 1970.
  std::time_t now = 0;
  /// When the certificates must have been valid; nothing: now.
  std::optional<std::time_t> time;
  /// Building material beside the trust source's; gives no trust.
  std::span<const CertificatePtr> certificates;
  std::span<const CrlPtr> crls;
  std::span<const OcspPtr> ocsp;
  /// Revocation is judged by `crls` and `ocsp` alone: the trust source's CRLs and `source` are left out.
  bool givenRevocationOnly = false;
  /// Revocation is judged as of `time`, with what is known now: by CRLs and answers that held at that
  /// time or were made after it. A revocation from after that time is no fault.
  bool revocationAsOfTime = false;
  /// How old, in seconds, what speaks for a certificate may be at `now`; nothing: as old as its maker
  /// lets it become.
  std::optional<std::time_t> freshness;
  RevocationScope revocation = RevocationScope::None;
  RequestedUsage usage;
  /// The certificate policies that a chain must be valid for.
  RequestedUsage policies;
  /// Null: what is not at hand stays unknown.
  RevocationSource* source = nullptr;
  /// Null: chains are built from what is at hand.
  IssuerSource* issuers = nullptr;
};

/// One certificate of a chain, with the CERT_TRUST_ bits that are its own.
struct ChainElement {
  CertificatePtr certificate;
  DWORD errors = 0;
  DWORD info = 0;
  bool revocationChecked = false;
  RevocationEvidence evidence;
};

/// The best chain that could be built: a good one if there is any. From the certificate itself to a
/// self-signed one, or as far as issuers were found.
struct ChainVerdict {
  std::vector<ChainElement> elements;
  /// All elements' errors, and those of the chain as a whole.
  DWORD errors = 0;
  DWORD info = 0;
  /// Around `now`: in it, the same request has the same answer.
  TimeWindow window;
};

/// The longest chain that is built, in certificates.
inline constexpr std::size_t kMaxChainLength = 32;

/// evaluate builds the chains of a certificate and judges them by libcrypto's rules (RFC 5280, section
/// 6), in bounded time whatever the building material is. No state is kept, nothing but the request is
/// read. Errors: ERROR_INVALID_DATA when libcrypto cannot read the certificate or its key;
/// E_OUTOFMEMORY.
Result<ChainVerdict> evaluate(const ChainRequest& request);

}  // namespace qx

#endif
