#ifndef QX_TOOLS_QXPROVIDER_REQUEST_H_
#define QX_TOOLS_QXPROVIDER_REQUEST_H_

#include <cstdint>
#include <string>
#include <vector>

#include "provider/key/private_key.h"
#include "provider/openssl/owned.h"
#include "provider/store/certificate_data.h"

namespace qx::admin {

/// What a request asks for beside a key.
struct RequestContent {
  X509NamePtr subject;
  std::vector<X509ExtensionPtr> extensions;
};

/// What a certificate is for, as the command line says it.
struct Usages {
  /// "DNS:host", "email:address", "IP:address", "URI:address".
  std::vector<std::string> alternativeNames;
  /// Comma-separated names of libcrypto; dotted OIDs as extended usages, too.
  std::string keyUsage;
  std::string extendedKeyUsage;
};

/// extensionsFor makes the extensions of usages that are not empty. Throws ToolError (Usage).
std::vector<X509ExtensionPtr> extensionsFor(const Usages& usages);

/// contentOf is what asks for a certificate like this one: its subject, alternative names and usages.
/// Throws ToolError (Input) when libcrypto cannot read it.
RequestContent contentOf(const CertificateData& certificate);

/// makeRequest makes a PKCS#10 request (RFC 2986), DER, signed with the key and the digest that
/// belongs to it. Throws ToolError (Internal).
std::vector<std::uint8_t> makeRequest(const PrivateKey& key, const RequestContent& content);

}  // namespace qx::admin

#endif
