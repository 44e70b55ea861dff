#include "tools/lab/certificate.h"

#include <string>

#include <openssl/bn.h>
#include <openssl/x509v3.h>

#include "provider/openssl/engine.h"
#include "tools/lab/error.h"
#include "tools/lab/extension.h"

namespace qx::lab {
namespace {

constexpr int kSerialBits = 127;

X509NamePtr makeName(const Name& attributes) {
  auto name = owned<X509NamePtr>(X509_NAME_new(), "name");
  for (const NameAttribute& attribute : attributes) {
    check(X509_NAME_add_entry_by_txt(name.get(),
                                     attribute.type.c_str(),
                                     attribute.stringType,
                                     reinterpret_cast<const unsigned char*>(attribute.value.data()),
                                     static_cast<int>(attribute.value.size()),
                                     /*loc=*/-1,
                                     /*set=*/0),
          attribute.type.c_str());
  }
  return name;
}

Asn1IntegerPtr randomSerial() {
  const auto number = owned<BigNumPtr>(BN_new(), "serial number");
  check(BN_rand(number.get(), kSerialBits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY), "serial number");
  return owned<Asn1IntegerPtr>(BN_to_ASN1_INTEGER(number.get(), nullptr), "serial number");
}

// Certificate extensions are added in the order of the calls; an empty value adds nothing.
class Extensions {
 public:
  Extensions(X509* certificate, X509* issuer)
      : certificate_(certificate), maker_(issuer, certificate, /*crl=*/nullptr) {}

  void add(const std::string& name, const std::string& value) {
    const X509ExtensionPtr extension = maker_.make(name, value);
    check(X509_add_ext(certificate_, extension.get(), /*loc=*/-1), name.c_str());
  }

  void addUnlessEmpty(const std::string& name, const char* prefix, const std::string& value) {
    if (!value.empty()) {
      add(name, prefix + value);
    }
  }

 private:
  X509* certificate_;
  ExtensionMaker maker_;
};

std::string basicConstraints(const CertificateOptions& options) {
  if (!options.ca) {
    return "critical,CA:FALSE";
  }
  return options.pathLength < 0 ? "critical,CA:TRUE"
                                : "critical,CA:TRUE,pathlen:" + std::to_string(options.pathLength);
}

std::string keyUsage(const CertificateOptions& options) {
  return options.ca && options.keyUsage.empty() ? "keyCertSign,cRLSign" : options.keyUsage;
}

std::string authorityInformation(const CertificateOptions& options) {
  std::string text = options.ocspUrl.empty() ? "" : "OCSP;URI:" + options.ocspUrl;
  if (!options.issuerUrl.empty()) {
    text += (text.empty() ? "" : ",") + std::string("caIssuers;URI:") + options.issuerUrl;
  }
  return text;
}

// The subject key identifier comes first: the authority's of a self-signed certificate copies it.
void addExtensions(X509* certificate, const CertificateOptions& options, X509* issuer) {
  Extensions extensions(certificate, issuer);
  extensions.add("basicConstraints", basicConstraints(options));
  extensions.addUnlessEmpty("keyUsage", "critical,", keyUsage(options));
  extensions.addUnlessEmpty("extendedKeyUsage", "", options.extendedKeyUsage);
  if (options.keyIdentifiers) {
    extensions.add("subjectKeyIdentifier", "hash");
    extensions.add("authorityKeyIdentifier", "keyid");
  }
  extensions.addUnlessEmpty("subjectAltName", "", options.subjectAltName);
  extensions.addUnlessEmpty("crlDistributionPoints", "URI:", options.crlUrl);
  extensions.addUnlessEmpty("authorityInfoAccess", "", authorityInformation(options));
  for (const Extension& extension : options.extensions) {
    extensions.add(extension.name, extension.value);
  }
}

}  // namespace

// With the engine every digest is found, GOST's and others.
const EVP_MD* digestFor(int nid, EVP_PKEY* key) {
  const EVP_MD* digest = nid == NID_undef ? usualDigest(key) : gostDigest(nid);
  if (digest == nullptr) {
    throwError("this digest is not supported");
  }
  return digest;
}

void setOffset(ASN1_TIME* time, std::chrono::seconds offset) {
  if (X509_time_adj_ex(time, 0, static_cast<long>(offset.count()), nullptr) == nullptr) {
    throwError("time");
  }
}

Asn1IntegerPtr serialFromHex(const std::string& hex) {
  BIGNUM* number = nullptr;
  check(BN_hex2bn(&number, hex.c_str()), "serial number");
  const BigNumPtr owner(number);
  return owned<Asn1IntegerPtr>(BN_to_ASN1_INTEGER(number, nullptr), "serial number");
}

X509Ptr makeCertificate(EVP_PKEY* key,
                        const CertificateOptions& options,
                        EVP_PKEY* signer,
                        X509* issuer) {
  auto certificate = owned<X509Ptr>(X509_new(), "certificate");
  X509* const raw = certificate.get();
  const X509NamePtr subject = makeName(options.subject);
  const Asn1IntegerPtr serial =
      options.serial.empty() ? randomSerial() : serialFromHex(options.serial);
  check(X509_set_version(raw, X509_VERSION_3), "version");
  check(X509_set_serialNumber(raw, serial.get()), "serial number");
  check(X509_set_subject_name(raw, subject.get()), "subject");
  check(
      X509_set_issuer_name(raw, issuer == nullptr ? subject.get() : X509_get_subject_name(issuer)),
      "issuer");
  setOffset(X509_getm_notBefore(raw), options.notBefore);
  setOffset(X509_getm_notAfter(raw), options.notAfter);
  check(X509_set_pubkey(raw, key), "public key");
  addExtensions(raw, options, issuer == nullptr ? raw : issuer);
  check(X509_sign(raw, signer, digestFor(options.digest, signer)), "signing a certificate");
  return certificate;
}

}  // namespace qx::lab
