#ifndef QX_TOOLS_LAB_TIME_STAMP_H_
#define QX_TOOLS_LAB_TIME_STAMP_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/lab/pki.h"

namespace qx::lab {

// Time stamps (RFC 3161) made to order, right ones and wrong ones. As in pki.h everything throws
// std::runtime_error when it cannot be done.

/// What is stamped: the hash of some bytes.
struct Imprint {
  /// NID of the hash (NID_sha256, NID_id_GostR3411_2012_256...).
  int digest = NID_undef;
  Bytes hash;
  /// NULL as the algorithm's parameters; false: none.
  bool nullParameters = true;
};

/// imprintOf hashes `bytes`.
Imprint imprintOf(int digest, const Bytes& bytes);

/// Which signed attribute names the authority's certificate (RFC 5035).
enum class EssAttribute : std::uint8_t { V2, V1, None };

constexpr const char* kLabPolicy = "1.3.6.1.4.1.32473.1.1";

/// What a token shall hold beside imprint and nonce.
struct TimeStampOptions {
  /// genTime, from now.
  std::chrono::seconds offset{0};
  std::string policy = kLabPolicy;
  /// 0 leaves the accuracy out.
  int accuracySeconds = 1;
  /// The authority's certificate in the token; nothing: when the request asks for it, and in a token
  /// that is made without a request.
  std::optional<bool> certificate;
  /// Borrowed; in the token behind the authority's certificate.
  std::vector<X509*> others;
  EssAttribute ess = EssAttribute::V2;
  /// Borrowed: the certificate that the attribute names; null: the authority's own.
  X509* essCertificate = nullptr;
  /// NID of the digest to sign with; NID_undef: the usual one of the authority's key.
  int digest = NID_undef;
  /// One bit of what the request holds is answered wrongly.
  bool wrongImprint = false;
  bool wrongNonce = false;
};

/// What a TimeStampReq asks for.
struct TimeStampQuery {
  Imprint imprint;
  /// Big-endian magnitude; empty: none.
  Bytes nonce;
  bool certificate = false;
};

/// readTimeStampQuery reads a TimeStampReq.
TimeStampQuery readTimeStampQuery(const Bytes& request);

/// TimeStampAuthority makes tokens with its key.
class TimeStampAuthority {
 public:
  TimeStampAuthority(EvpPkeyPtr key, X509Ptr certificate);

  /// issuedBy makes a new key and lets `issuer` certify it. Where `options` leaves them empty:
  /// keyUsage is digitalSignature, extendedKeyUsage "critical,timeStamping", the subject
  /// "CN=Time Stamps".
  static TimeStampAuthority issuedBy(const Authority& issuer,
                                     KeyKind kind,
                                     CertificateOptions options = {});

  /// token makes a TimeStampToken (a ContentInfo with SignedData). An empty nonce is left out.
  Bytes token(const Imprint& imprint,
              const Bytes& nonce = {},
              const TimeStampOptions& options = {}) const;

  /// answer makes the TimeStampResp for a TimeStampReq; one that cannot be read is rejected in it.
  Bytes answer(const Bytes& request, const TimeStampOptions& options = {}) const;

  X509* certificate() const { return certificate_.get(); }

  EVP_PKEY* key() const { return key_.get(); }

 private:
  EvpPkeyPtr key_;
  X509Ptr certificate_;
};

/// PKIStatus (RFC 3161, 2.4.2).
enum class TimeStampStatus : std::uint8_t { Granted, GrantedWithMods, Rejection, Waiting };

/// timeStampResponse makes a TimeStampResp around a token; an empty one is left out.
Bytes timeStampResponse(TimeStampStatus status, const Bytes& token);

}  // namespace qx::lab

#endif
