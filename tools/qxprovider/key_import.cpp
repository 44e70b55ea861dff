#include "tools/qxprovider/key_import.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include "provider/key/pbes2.h"
#include "provider/key/pem.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::Secret;
using tools::ToolError;
using Bytes = std::span<const std::uint8_t>;
using Password = std::function<Secret()>;

[[noreturn]] void refuseFile(const std::string& name, ExitCode code, const std::string& reason) {
  throw ToolError(code, name + ": " + reason);
}

std::shared_ptr<const PrivateKey> plainKey(Bytes der, const std::string& name) {
  return require(PrivateKey::fromPkcs8(*require(readPkcs8(der), name)), name);
}

std::shared_ptr<const PrivateKey> lockedKey(Bytes der,
                                            const std::string& name,
                                            const Password& ask) {
  const Secret password = ask();
  return require(PrivateKey::fromPkcs8(*require(decryptPkcs8(der, password.text()), name)), name);
}

// d2i_* of a whole buffer: nothing may follow.
template <class Owner>
Owner decode(typename Owner::pointer (*d2i)(typename Owner::pointer*, const unsigned char**, long),
             Bytes der) {
  const unsigned char* at = der.data();
  Owner object(d2i(nullptr, &at, static_cast<long>(der.size())));
  return at == der.data() + der.size() ? std::move(object) : Owner();
}

std::shared_ptr<const CertificateData> certificateData(X509* certificate, const std::string& name) {
  unsigned char* der = nullptr;
  const int length = i2d_X509(certificate, &der);
  const OpensslBytes owner(der);
  if (length <= 0) {
    refuseFile(name, ExitCode::Input, "holds a damaged certificate");
  }
  return require(CertificateData::parse({der, static_cast<std::size_t>(length)}), name);
}

// What PKCS12_parse takes out of a file.
struct Pkcs12Content {
  EvpPkeyPtr key;
  X509Ptr certificate;
  X509StackPtr others;
};

Pkcs12Content openPkcs12(PKCS12* packed, const std::string& name, const Password& ask) {
  const Secret password = ask();
  const std::string_view text = password.text();
  if (PKCS12_mac_present(packed) == 1 &&
      PKCS12_verify_mac(packed, text.data(), static_cast<int>(text.size())) != 1) {
    refuseFile(name, ExitCode::Key, "the password does not open it");
  }
  // libcrypto wants a terminating NUL here; the secret's memory has room for one.
  Secret terminated(text);
  terminated.append('\0');
  EVP_PKEY* key = nullptr;
  X509* certificate = nullptr;
  STACK_OF(X509)* others = nullptr;
  // NOLINTNEXTLINE(bugprone-suspicious-stringview-data-usage): terminated just now
  const int parsed = PKCS12_parse(packed, terminated.text().data(), &key, &certificate, &others);
  Pkcs12Content content{
      .key = EvpPkeyPtr(key), .certificate = X509Ptr(certificate), .others = X509StackPtr(others)};
  if (parsed != 1 || content.key == nullptr) {
    refuseFile(name, ExitCode::Input, "holds no private key that can be used");
  }
  return content;
}

ImportedKey fromPkcs12(PKCS12* packed, const std::string& name, const Password& ask) {
  Pkcs12Content content = openPkcs12(packed, name, ask);
  ImportedKey imported{.key = require(PrivateKey::fromEvp(std::move(content.key)), name)};
  if (content.certificate != nullptr) {
    imported.certificate = certificateData(content.certificate.get(), name);
  }
  for (int i = 0; i < sk_X509_num(content.others.get()); ++i) {
    imported.others.push_back(certificateData(sk_X509_value(content.others.get(), i), name));
  }
  return imported;
}

ImportedKey fromPem(std::string_view text, const std::string& name, const Password& ask) {
  for (const PemBlock& block : require(readPem(text), name)) {
    if (block.label == kPrivateKeyLabel) {
      return {.key = plainKey(block.der.bytes(), name)};
    }
    if (block.label == kEncryptedKeyLabel) {
      return {.key = lockedKey(block.der.bytes(), name, ask)};
    }
    if (block.label.ends_with("PRIVATE KEY")) {
      refuseFile(name, ExitCode::Input, "is not PKCS#8; openssl pkcs8 -topk8 makes it so");
    }
  }
  refuseFile(name, ExitCode::Input, "holds no private key");
}

ImportedKey fromDer(Bytes der, const std::string& name, const Password& ask) {
  if (const auto packed = decode<Pkcs12Ptr>(d2i_PKCS12, der); packed != nullptr) {
    return fromPkcs12(packed.get(), name, ask);
  }
  if (decode<Pkcs8Ptr>(d2i_PKCS8_PRIV_KEY_INFO, der) != nullptr) {
    return {.key = plainKey(der, name)};
  }
  if (decode<X509SigPtr>(d2i_X509_SIG, der) != nullptr) {
    return {.key = lockedKey(der, name, ask)};
  }
  refuseFile(name,
             ExitCode::Input,
             "is neither PKCS#8 nor PKCS#12 (openssl pkcs8 -topk8 makes the first)");
}

}  // namespace

ImportedKey readKeyFile(const std::string& path, const Password& password) {
  const ErrorQueueGuard queue;
  require(Result<void>(gostEngine() ? Result<void>() : fail(NTE_PROV_DLL_NOT_FOUND)),
          "GOST engine");
  const tools::Input input(path);
  const Bytes bytes = input.bytes();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return text.find("-----BEGIN ") != std::string_view::npos
             ? fromPem(text, input.name(), password)
             : fromDer(bytes, input.name(), password);
}

}  // namespace qx::admin
