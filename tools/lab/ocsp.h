#ifndef QX_TOOLS_LAB_OCSP_H_
#define QX_TOOLS_LAB_OCSP_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/lab/pki.h"

namespace qx::lab {

// OCSP answers (RFC 6960) made to order. As in pki.h everything throws std::runtime_error when it
// cannot be done.

enum class OcspStatus : std::uint8_t { Good, Revoked, Unknown };

/// ocspCertId is the DER of the CertID of a certificate; `digest` hashes the issuer's name and key.
Bytes ocspCertId(const X509* certificate, const X509* issuer, int digest = NID_sha1);

/// What an answer says about one certificate. Times are offsets from now.
struct OcspEntry {
  /// DER, of ocspCertId or of a request.
  Bytes certId;
  OcspStatus status = OcspStatus::Good;
  std::chrono::seconds revokedAt = -kDay;
  /// CRL_REASON_* of libcrypto; negative: no reason written.
  int reason = -1;
  std::chrono::seconds thisUpdate = -std::chrono::hours(1);
  /// Nothing: left out.
  std::optional<std::chrono::seconds> nextUpdate = kDay;
};

struct OcspOptions {
  std::chrono::seconds producedAt{0};
  /// The responder's certificate in the answer.
  bool certificate = true;
  /// Borrowed; in the answer behind the responder's certificate.
  std::vector<X509*> others;
  /// The responder is named by the SHA-1 of its key instead of its subject.
  bool byKey = false;
  /// The extension's octets; empty: none.
  Bytes nonce;
  /// NID of the digest to sign with; NID_undef: the usual one of the responder's key.
  int digest = NID_undef;
};

/// What an OCSPRequest asks for.
struct OcspQuery {
  struct Wanted {
    Bytes certId;
    /// Upper-case hexadecimal, as serialOf gives it.
    std::string serial;
  };

  std::vector<Wanted> wanted;
  Bytes nonce;
};

/// readOcspQuery reads an OCSPRequest.
OcspQuery readOcspQuery(const Bytes& request);

/// isIssuerOf tells whether a CertID is about a certificate of this issuer.
bool isIssuerOf(const Bytes& certId, const X509* issuer);

/// OcspResponder makes answers with its key.
class OcspResponder {
 public:
  OcspResponder(EvpPkeyPtr key, X509Ptr certificate);

  /// issuedBy makes a new key and lets `issuer` certify it. Where `options` leaves them empty:
  /// keyUsage is digitalSignature, extendedKeyUsage OCSPSigning, the subject "CN=OCSP"; the extension
  /// id-pkix-ocsp-nocheck is added when there is no other.
  static OcspResponder issuedBy(const Authority& issuer,
                                KeyKind kind,
                                CertificateOptions options = {});

  /// An authority that answers for its own certificates.
  static OcspResponder of(const Authority& issuer);

  /// basic makes a BasicOCSPResponse, response an OCSPResponse ("successful") around it.
  Bytes basic(const std::vector<OcspEntry>& entries, const OcspOptions& options = {}) const;
  Bytes response(const std::vector<OcspEntry>& entries, const OcspOptions& options = {}) const;

  X509* certificate() const { return certificate_.get(); }

  EVP_PKEY* key() const { return key_.get(); }

 private:
  EvpPkeyPtr key_;
  X509Ptr certificate_;
};

/// ocspError makes an OCSPResponse without an answer: one of libcrypto's OCSP_RESPONSE_STATUS_*.
Bytes ocspError(int status);

}  // namespace qx::lab

#endif
