#ifndef QX_TESTS_PROVIDER_MESSAGE_SIGNERS_H_
#define QX_TESTS_PROVIDER_MESSAGE_SIGNERS_H_

#include <memory>
#include <string>
#include <vector>

#include "provider/key/key_context.h"
#include "tests/provider/message/messages.h"
#include "tests/support/kind_name.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// testFolder is the folder in which the provider finds the keys of this process.
const ProviderFolder& testFolder();

/// Signer is a key of the default provider with a certificate, which signs itself unless one is given.
class Signer {
 public:
  Signer(lab::KeyKind kind, EvpPkeyPtr key, X509Ptr certificate, const std::string& pin = {});

  /// A key with a PIN is locked until its handle gets it.
  Signer(lab::KeyKind kind, const std::string& name, const std::string& pin = {});
  ~Signer();
  Signer(const Signer&) = delete;
  Signer& operator=(const Signer&) = delete;
  Signer(Signer&&) = delete;
  Signer& operator=(Signer&&) = delete;

  lab::KeyKind kind() const { return kind_; }

  X509* certificate() const { return certificate_.get(); }

  EVP_PKEY* key() const { return key_.get(); }

  const Octets& der() const { return der_; }

  HCRYPTPROV provider();

  PCCERT_CONTEXT context() const { return context_; }

  CERT_INFO& info() const { return *context_->pCertInfo; }

  /// The subject key identifier of the certificate.
  Octets keyId() const;

  /// newContext makes one more handle of the key, which the caller owns.
  std::unique_ptr<KeyContext> newContext() const;

  /// The hash that the key is used with, dotted.
  const char* hashOid() const;

  CMSG_SIGNER_ENCODE_INFO encodeInfo();

 private:
  void open(const std::string& pin);

  lab::KeyKind kind_;
  EvpPkeyPtr key_;
  X509Ptr certificate_;
  Octets der_;
  std::string keyFile_;
  PCCERT_CONTEXT context_ = nullptr;
  std::unique_ptr<KeyContext> provider_;
};

/// signer gives a signer of the kind, made once in a process; `number` tells several apart.
Signer& signer(lab::KeyKind kind, int number = 0);

struct SignOptions {
  DWORD flags = 0;
  bool certificates = true;
  const char* innerType = nullptr;
  std::vector<Octets> crls;
};

/// openEncoder opens a signed message for these signers.
MessageHandle openEncoder(const std::vector<Signer*>& signers, const SignOptions& options = {});

/// openEncoder opens a signed message for records that the caller made.
MessageHandle openEncoder(std::vector<CMSG_SIGNER_ENCODE_INFO> signers,
                          const SignOptions& options = {},
                          const std::vector<Octets>& certificates = {});

/// sign makes a message over the content; the test fails when it cannot.
Octets sign(const std::vector<Signer*>& signers,
            der::Bytes content,
            const SignOptions& options = {});

/// verify proves the signature of signer `index` with the certificate, and returns the error.
DWORD verify(const MessageHandle& message, DWORD index, PCCERT_CONTEXT certificate);

/// cmsVerifies asks libcrypto whether every signature of the message is good; `content` is what a
/// detached message is about, or null. The certificates are those of `signers`.
::testing::AssertionResult cmsVerifies(const Octets& message,
                                       const std::vector<Signer*>& signers,
                                       const Octets* content = nullptr);

/// opensslVerifies asks the openssl command the same. `options` go to `openssl cms -verify`.
::testing::AssertionResult opensslVerifies(const Octets& message,
                                           const std::vector<Signer*>& signers,
                                           const Octets* content = nullptr,
                                           const std::vector<std::string>& options = {"-noverify"});

/// opensslSign makes a message with the openssl command. `options` go to `openssl cms -sign`.
Octets opensslSign(const std::vector<Signer*>& signers,
                   const Octets& content,
                   const std::vector<std::string>& options);

}  // namespace qx::test

#endif
