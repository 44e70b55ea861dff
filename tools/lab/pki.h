#ifndef QX_TOOLS_LAB_PKI_H_
#define QX_TOOLS_LAB_PKI_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "provider/openssl/owned.h"

namespace qx::lab {

// Everything here throws std::runtime_error (with libcrypto's reason in its text) when it cannot do
// what it is asked: a lab that is half made is of no use to anybody.

using Bytes = std::vector<std::uint8_t>;

/// The kinds of key. GOST keys use the sets id-GostR3410-2001-CryptoPro-A-ParamSet (2001),
/// id-tc26-gost-3410-2012-256-paramSetA and id-tc26-gost-3410-12-512-paramSetA (RFC 9215).
enum class KeyKind : std::uint8_t { Gost2001, Gost2012_256, Gost2012_512, Rsa2048, EcP256, EcP384 };

/// generateKey makes a new key pair.
EvpPkeyPtr generateKey(KeyKind kind);

/// generateGostKey makes a GOST key over another set, by the engine's short name: A, B, C, XA, XB
/// (2001 and 2012-256), TCA, TCB, TCC, TCD (2012-256), A, B, C (2012-512).
EvpPkeyPtr generateGostKey(KeyKind kind, const std::string& parameterSet);

/// kindName is a short name for files and lists, "gost2012-256" for instance.
const char* kindName(KeyKind kind);

/// One attribute of a distinguished name.
struct NameAttribute {
  /// libcrypto's short name (CN, O, OU, C, ST, L, emailAddress, SN, GN...) or a dotted OID.
  std::string type;
  /// UTF-8.
  std::string value;
  /// One of V_ASN1_*: how the value is written.
  int stringType = V_ASN1_UTF8STRING;
};

using Name = std::vector<NameAttribute>;

/// A certificate extension in libcrypto's configuration syntax: the name is a short name or a dotted
/// OID, the value for instance "critical,CA:TRUE,pathlen:0" or, for any bytes, "critical,DER:0500".
struct Extension {
  std::string name;
  std::string value;
};

constexpr std::chrono::seconds kDay{24 * 60 * 60};
constexpr std::chrono::seconds kLabLifetime = 20 * 365 * kDay;

/// What a certificate shall hold. Times are offsets from now; empty texts leave the extension out.
struct CertificateOptions {
  Name subject;
  std::chrono::seconds notBefore = -kDay;
  std::chrono::seconds notAfter = kLabLifetime;
  /// Hexadecimal; empty: 16 random bytes, positive.
  std::string serial;
  /// Adds basicConstraints; for an authority with keyCertSign and cRLSign unless keyUsage is set.
  bool ca = false;
  /// Only with ca; negative: unlimited.
  int pathLength = -1;
  /// Comma-separated names of libcrypto ("digitalSignature,keyEncipherment"), always critical.
  std::string keyUsage;
  /// Comma-separated names or dotted OIDs, "critical," in front where wished.
  std::string extendedKeyUsage;
  /// "email:copy,DNS:host"...
  std::string subjectAltName;
  /// Addresses: CRL distribution point, OCSP responder, the issuer's certificate.
  std::string crlUrl;
  std::string ocspUrl;
  std::string issuerUrl;
  /// subjectKeyIdentifier and authorityKeyIdentifier.
  bool keyIdentifiers = true;
  std::vector<Extension> extensions;
  /// NID of the digest to sign with; NID_undef: the usual one of the issuer's key.
  int digest = NID_undef;
};

/// One row of a revocation list.
struct RevokedEntry {
  /// Hexadecimal.
  std::string serial;
  /// Offset from now.
  std::chrono::seconds when{0};
  /// CRL_REASON_* of libcrypto; negative: no reason written.
  int reason = -1;
};

/// What a revocation list shall hold. Offsets from now.
struct CrlOptions {
  std::vector<RevokedEntry> revoked;
  std::chrono::seconds thisUpdate = -kDay;
  std::chrono::seconds nextUpdate = kLabLifetime;
  /// False leaves nextUpdate out.
  bool hasNextUpdate = true;
  std::uint64_t number = 1;
  bool keyIdentifier = true;
  std::vector<Extension> extensions;
  int digest = NID_undef;
};

/// Authority issues certificates and revocation lists.
class Authority {
 public:
  /// From a key and its certificate (a renewal, a cross certificate, one loaded from a file).
  Authority(EvpPkeyPtr key, X509Ptr certificate);

  /// selfSigned makes a root: a new key and a certificate for it (options.ca is taken as true).
  static Authority selfSigned(KeyKind kind, CertificateOptions options);

  /// subordinate makes an intermediate below this authority (options.ca is taken as true).
  Authority subordinate(KeyKind kind, CertificateOptions options) const;

  /// issue certifies a key.
  X509Ptr issue(EVP_PKEY* key, const CertificateOptions& options) const;

  X509CrlPtr crl(const CrlOptions& options = {}) const;

  EVP_PKEY* key() const { return key_.get(); }

  X509* certificate() const { return certificate_.get(); }

 private:
  EvpPkeyPtr key_;
  X509Ptr certificate_;
};

/// selfSigned makes a certificate that signs itself with `key`, of any options (not only a root).
X509Ptr selfSigned(EVP_PKEY* key, const CertificateOptions& options);

/// usualDigest is the digest that belongs to a key: GOST R 34.11 of its generation and length,
/// SHA-384 for P-384, SHA-256 otherwise.
const EVP_MD* usualDigest(EVP_PKEY* key);

/// serialOf is the serial number in upper-case hexadecimal, as RevokedEntry takes it.
std::string serialOf(const X509* certificate);

Bytes toDer(const X509* certificate);
Bytes toDer(const X509_CRL* crl);
/// The key as PrivateKeyInfo (PKCS#8), in the clear.
Bytes toDer(const EVP_PKEY* key);

std::string toPem(const X509* certificate);
std::string toPem(const X509_CRL* crl);
/// The key as PKCS#8 "PRIVATE KEY".
std::string toPem(const EVP_PKEY* key);
/// The key as PKCS#8 "ENCRYPTED PRIVATE KEY": PBES2, AES-256-CBC, PBKDF2 with HMAC-SHA-256.
std::string toPem(const EVP_PKEY* key, const std::string& pin, int rounds);

/// toPkcs12 packs a key, its certificate and others; GOST keys cannot be packed by libcrypto's MAC
/// defaults of old, so the MAC is HMAC-SHA-256 and the bags are AES-256-CBC.
Bytes toPkcs12(EVP_PKEY* key,
               X509* certificate,
               const std::vector<X509*>& others,
               const std::string& password);

/// thumbprint is the SHA-1 of a certificate, 40 lower-case hexadecimal digits.
std::string thumbprint(const X509* certificate);

X509Ptr readCertificate(const Bytes& der);

/// certificateFromPem reads a certificate, keyFromPem a key without a PIN.
X509Ptr certificateFromPem(const std::string& pem);
EvpPkeyPtr keyFromPem(const std::string& pem);

}  // namespace qx::lab

#endif
