#include "tools/qxprovider/received.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include <openssl/pkcs7.h>
#include <openssl/x509v3.h>

#include "provider/key/pem.h"
#include "provider/openssl/encoded.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
#include "provider/store/store_files.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

using Bytes = std::span<const std::uint8_t>;
using Certificates = std::vector<std::shared_ptr<const CertificateData>>;
using Pkcs7Ptr = OpensslOwner<PKCS7, PKCS7_free>;

// An answer holds one certificate and its chain; a bundle of all authorities is none.
constexpr int kMaxCertificates = 1'000;

[[noreturn]] void refuseFile(const std::string& name, const std::string& reason) {
  throw tools::ToolError(tools::ExitCode::Input, name + ": " + reason);
}

Pkcs7Ptr decodePkcs7(Bytes der) {
  const unsigned char* at = der.data();
  Pkcs7Ptr message(d2i_PKCS7(nullptr, &at, static_cast<long>(der.size())));
  return at == der.data() + der.size() ? std::move(message) : nullptr;
}

// Adds what a PKCS#7 holds; false when it is none.
bool addPkcs7(Certificates& found, Bytes der, const std::string& name) {
  const Pkcs7Ptr message = decodePkcs7(der);
  if (message == nullptr || !PKCS7_type_is_signed(message.get()) || message->d.sign == nullptr) {
    return false;
  }
  const STACK_OF(X509)* certificates = message->d.sign->cert;
  if (sk_X509_num(certificates) > kMaxCertificates) {
    refuseFile(name, "holds too many certificates for an answer");
  }
  for (int i = 0; i < sk_X509_num(certificates); ++i) {
    const auto encoded = encodedBy<X509>(i2d_X509, sk_X509_value(certificates, i));
    found.push_back(require(CertificateData::parse(encoded), name));
  }
  return true;
}

void addDer(Certificates& found, Bytes der, const std::string& name) {
  if (!addPkcs7(found, der, name)) {
    found.push_back(require(CertificateData::parse(der), name));
  }
}

void addPem(Certificates& found, std::string_view text, const std::string& name) {
  for (const PemBlock& block : require(readPem(text, kMaxCertificates), name)) {
    if (block.label == "CERTIFICATE" || block.label == "PKCS7" || block.label == "CMS") {
      addDer(found, block.der.bytes(), name);
    }
  }
}

}  // namespace

Certificates readAnswer(const std::string& path) {
  const ErrorQueueGuard queue;
  require(Result<void>(gostEngine() ? Result<void>() : fail(NTE_PROV_DLL_NOT_FOUND)),
          "GOST engine");
  const tools::Input input(path);
  const std::string_view text(reinterpret_cast<const char*>(input.bytes().data()),
                              input.bytes().size());
  Certificates found;
  if (text.find("-----BEGIN ") != std::string_view::npos) {
    addPem(found, text, input.name());
  } else {
    addDer(found, input.bytes(), input.name());
  }
  if (found.empty()) {
    refuseFile(input.name(), "holds no certificate");
  }
  return found;
}

void putCertificate(const StoreName& store,
                    const CertificateData& certificate,
                    tools::Report& report) {
  require(addCertificateFile(store, certificate, IfPresent::Keep), store.name());
  auto facts = certificateFacts(certificate);
  facts["store"] = store.name();
  report.line(store.name() + ": " + facts["subject"].get<std::string>());
  report.facts()["certificates"].push_back(std::move(facts));
}

bool isSelfIssued(const CertificateData& certificate) {
  const CERT_NAME_BLOB& subject = certificate.info().Subject;
  const CERT_NAME_BLOB& issuer = certificate.info().Issuer;
  return std::ranges::equal(std::span(subject.pbData, subject.cbData),
                            std::span(issuer.pbData, issuer.cbData));
}

bool isAuthority(const CertificateData& certificate) {
  const ErrorQueueGuard queue;
  X509* const x509 = certificate.x509();
  return x509 != nullptr && X509_check_ca(x509) == 1;
}

}  // namespace qx::admin
