#include "tools/qxprovider/pkcs12.h"

#include <algorithm>

#include <openssl/pkcs12.h>

#include "provider/openssl/encoded.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/library_context.h"
#include "provider/support/config.h"
#include "tools/common/error.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

// Some systems open no file whose derivations take more than 600 000 rounds together; there are three.
constexpr unsigned kMaxPkcs12Rounds = 100'000;
constexpr int kSaltLength = 16;

[[noreturn]] void failToPack(const char* reason) {
  throw ToolError(ExitCode::Internal, std::string("PKCS#12: ") + reason);
}

X509StackPtr stackOf(const std::vector<CertificatePtr>& certificates) {
  X509StackPtr stack(sk_X509_new_null());
  for (const CertificatePtr& certificate : certificates) {
    if (X509_add_cert(stack.get(), certificate->x509(), X509_ADD_FLAG_UP_REF) != 1) {
      failToPack("a certificate of the chain cannot be taken");
    }
  }
  return stack;
}

}  // namespace

std::vector<std::uint8_t> packPkcs12(const Pkcs12Parts& parts, const tools::Secret& password) {
  const ErrorQueueGuard queue;
  EVP_PKEY* const key = parts.key->evp();
  X509* const certificate = parts.certificate->x509();
  if (!gostEngine() || certificate == nullptr || X509_check_private_key(certificate, key) != 1) {
    throw ToolError(ExitCode::Key, "PKCS#12: key and certificate do not belong together");
  }
  const X509StackPtr chain = stackOf(parts.chain);
  const int rounds = static_cast<int>(std::min(configuration().pin.kdfRounds, kMaxPkcs12Rounds));
  // libcrypto wants a terminating NUL here; the secret's memory has room for one.
  tools::Secret terminated(password.text());
  terminated.append('\0');
  const char* const text =
      terminated.text()
          .data();  // NOLINT(bugprone-suspicious-stringview-data-usage): terminated just now
  const Pkcs12Ptr packed(PKCS12_create_ex(text,
                                          /*name=*/nullptr,
                                          key,
                                          certificate,
                                          chain.get(),
                                          NID_aes_256_cbc,
                                          NID_aes_256_cbc,
                                          rounds,
                                          /*mac_iter=*/-1,
                                          /*keytype=*/0,
                                          libraryContext(),
                                          /*propq=*/nullptr));
  if (packed == nullptr ||
      PKCS12_set_mac(packed.get(), text, -1, /*salt=*/nullptr, kSaltLength, rounds, EVP_sha256()) !=
          1) {
    failToPack("libcrypto cannot make it");
  }
  return encodedBy<PKCS12>(i2d_PKCS12, packed.get());
}

}  // namespace qx::admin
