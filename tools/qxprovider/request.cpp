#include "tools/qxprovider/request.h"

#include <stdexcept>

#include <openssl/x509v3.h>

#include "provider/openssl/encoded.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"
#include "tools/common/error.h"
#include "tools/lab/extension.h"
#include "tools/lab/pki.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

// The stack alone: what it holds belongs to somebody else.
void freeBorrowed(STACK_OF(X509_EXTENSION) * stack) {
  sk_X509_EXTENSION_free(stack);
}

using ExtensionStackPtr = OpensslOwner<STACK_OF(X509_EXTENSION), freeBorrowed>;

constexpr int kCopied[] = {NID_subject_alt_name, NID_key_usage, NID_ext_key_usage};

void requireMade(bool good) {
  if (!good) {
    throw ToolError(ExitCode::Internal, "the request cannot be made");
  }
}

X509ExtensionPtr extension(const std::string& name, const std::string& value) {
  lab::ExtensionMaker maker(/*issuer=*/nullptr, /*subject=*/nullptr, /*crl=*/nullptr);
  try {
    return maker.make(name, value);
  } catch (const std::runtime_error&) {
    throw ToolError(ExitCode::Usage, "'" + value + "' cannot be written as " + name);
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text.append(text.empty() ? "" : ",").append(word);
  }
  return text;
}

void addExtensions(X509_REQ* request, const std::vector<X509ExtensionPtr>& extensions) {
  if (extensions.empty()) {
    return;
  }
  const ExtensionStackPtr stack(sk_X509_EXTENSION_new_null());
  for (const X509ExtensionPtr& item : extensions) {
    requireMade(sk_X509_EXTENSION_push(stack.get(), item.get()) > 0);
  }
  requireMade(X509_REQ_add_extensions(request, stack.get()) == 1);
}

}  // namespace

std::vector<X509ExtensionPtr> extensionsFor(const Usages& usages) {
  const ErrorQueueGuard queue;
  std::vector<X509ExtensionPtr> made;
  if (!usages.alternativeNames.empty()) {
    made.push_back(extension("subjectAltName", joined(usages.alternativeNames)));
  }
  if (!usages.keyUsage.empty()) {
    made.push_back(extension("keyUsage", "critical," + usages.keyUsage));
  }
  if (!usages.extendedKeyUsage.empty()) {
    made.push_back(extension("extendedKeyUsage", usages.extendedKeyUsage));
  }
  return made;
}

RequestContent contentOf(const CertificateData& certificate) {
  const ErrorQueueGuard queue;
  const X509* const x509 = gostEngine() ? certificate.x509() : nullptr;
  if (x509 == nullptr) {
    throw ToolError(ExitCode::Input, "the certificate cannot be read");
  }
  RequestContent content{.subject = X509NamePtr(X509_NAME_dup(X509_get_subject_name(x509))),
                         .extensions = {}};
  for (const int nid : kCopied) {
    if (const int at = X509_get_ext_by_NID(x509, nid, /*lastpos=*/-1); at >= 0) {
      content.extensions.emplace_back(X509_EXTENSION_dup(X509_get_ext(x509, at)));
    }
  }
  return content;
}

std::vector<std::uint8_t> makeRequest(const PrivateKey& key, const RequestContent& content) {
  const ErrorQueueGuard queue;
  const X509ReqPtr request(X509_REQ_new());
  requireMade(request != nullptr && X509_REQ_set_version(request.get(), X509_REQ_VERSION_1) == 1 &&
              X509_REQ_set_subject_name(request.get(), content.subject.get()) == 1 &&
              X509_REQ_set_pubkey(request.get(), key.evp()) == 1);
  addExtensions(request.get(), content.extensions);
  requireMade(X509_REQ_sign(request.get(), key.evp(), lab::usualDigest(key.evp())) > 0);
  return encodedBy<X509_REQ>(i2d_X509_REQ, request.get());
}

}  // namespace qx::admin
