#ifndef QX_TESTS_PROVIDER_MESSAGE_ENVELOPES_H_
#define QX_TESTS_PROVIDER_MESSAGE_ENVELOPES_H_

#include <string>
#include <vector>

#include "tests/provider/message/signers.h"

namespace qx::test {

// The keys and certificates of Signer serve as recipients, too.

inline constexpr const char* kGost28147 = "1.2.643.2.2.21";

/// The kinds of key that a message can be encrypted for.
const std::vector<lab::KeyKind>& recipientKinds();

struct EnvelopeOptions {
  DWORD flags = 0;
  const char* innerType = nullptr;
  const char* algorithm = kGost28147;
  Octets parameters;
};

/// openEnvelope opens a message for these recipients.
MessageHandle openEnvelope(const std::vector<Signer*>& recipients,
                           const EnvelopeOptions& options = {});

/// envelope encrypts the content; the test fails when it cannot.
Octets envelope(const std::vector<Signer*>& recipients,
                der::Bytes content,
                const EnvelopeOptions& options = {});

/// decryptError decrypts a decoded message as recipient `index`.
DWORD decryptError(const MessageHandle& message, DWORD index, Signer& recipient);

/// develope decodes and decrypts; the test fails when it cannot.
Octets develope(der::Bytes message, DWORD index, Signer& recipient);

/// developeError tells why a message cannot be decoded or decrypted, or ERROR_SUCCESS.
DWORD developeError(der::Bytes message, DWORD index, Signer& recipient);

/// opensslEncrypt makes a message with the openssl command; `options` go to `openssl cms -encrypt`.
Octets opensslEncrypt(const std::vector<Signer*>& recipients,
                      const Octets& content,
                      const std::vector<std::string>& options);

/// opensslDecrypt opens a message with the openssl command.
Octets opensslDecrypt(Signer& recipient, const Octets& message);

/// content makes octets that are no repetition of each other.
Octets content(std::size_t size);

}  // namespace qx::test

#endif
