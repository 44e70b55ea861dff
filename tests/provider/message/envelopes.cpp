#include "tests/provider/message/envelopes.h"

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {

using lab::KeyKind;

const std::vector<KeyKind>& recipientKinds() {
  static const std::vector<KeyKind> kinds = {
      KeyKind::Gost2001, KeyKind::Gost2012_256, KeyKind::Gost2012_512, KeyKind::Rsa2048};
  return kinds;
}

MessageHandle openEnvelope(const std::vector<Signer*>& recipients, const EnvelopeOptions& options) {
  std::vector<PCERT_INFO> infos;
  infos.reserve(recipients.size());
  for (const Signer* recipient : recipients) {
    infos.push_back(&recipient->info());
  }
  CMSG_ENVELOPED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.ContentEncryptionAlgorithm.pszObjId = writable(options.algorithm);
  info.ContentEncryptionAlgorithm.Parameters = blob(options.parameters);
  info.cRecipients = static_cast<DWORD>(infos.size());
  info.rgpRecipients = infos.data();
  return MessageHandle(CryptMsgOpenToEncode(
      kEncoding, options.flags, CMSG_ENVELOPED, &info, writable(options.innerType), nullptr));
}

Octets envelope(const std::vector<Signer*>& recipients,
                der::Bytes content,
                const EnvelopeOptions& options) {
  const MessageHandle message = openEnvelope(recipients, options);
  EXPECT_TRUE(message) << std::hex << GetLastError();
  EXPECT_EQ(update(message, content), ERROR_SUCCESS);
  return bytesParam(message, CMSG_CONTENT_PARAM);
}

DWORD decryptError(const MessageHandle& message, DWORD index, Signer& recipient) {
  CMSG_CTRL_DECRYPT_PARA para{};
  para.cbSize = sizeof para;
  para.hCryptProv = recipient.provider();
  para.dwKeySpec = AT_KEYEXCHANGE;
  para.dwRecipientIndex = index;
  return control(message, CMSG_CTRL_DECRYPT, &para);
}

Octets develope(der::Bytes message, DWORD index, Signer& recipient) {
  const MessageHandle decoded = decode(message);
  EXPECT_EQ(decryptError(decoded, index, recipient), ERROR_SUCCESS);
  return bytesParam(decoded, CMSG_CONTENT_PARAM);
}

DWORD developeError(der::Bytes message, DWORD index, Signer& recipient) {
  const MessageHandle decoded = openDecoder();
  const DWORD error = update(decoded, message);
  return error != ERROR_SUCCESS ? error : decryptError(decoded, index, recipient);
}

Octets opensslEncrypt(const std::vector<Signer*>& recipients,
                      const Octets& content,
                      const std::vector<std::string>& options) {
  const TempDir files;
  std::vector<std::string> arguments = {
      "openssl", "cms", "-encrypt", "-engine", "gost", "-binary", "-outform", "DER"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.insert(arguments.end(),
                   {"-in", files.write("content", text(content)), "-out", files.file("message")});
  for (std::size_t i = 0; i < recipients.size(); ++i) {
    arguments.push_back(
        files.write(std::to_string(i) + ".pem", lab::toPem(recipients[i]->certificate())));
  }
  const CommandResult result = run(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return octets(readFile(files.file("message")));
}

Octets opensslDecrypt(Signer& recipient, const Octets& message) {
  const TempDir files;
  const CommandResult result =
      run({"openssl",
           "cms",
           "-decrypt",
           "-engine",
           "gost",
           "-binary",
           "-inform",
           "DER",
           "-in",
           files.write("message", text(message)),
           "-recip",
           files.write("recipient.pem", lab::toPem(recipient.certificate())),
           "-inkey",
           files.write("recipient.key", lab::toPem(recipient.key())),
           "-out",
           files.file("content")});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return octets(readFile(files.file("content")));
}

Octets content(std::size_t size) {
  Octets octets(size);
  std::uint32_t state = 1;
  for (std::uint8_t& octet : octets) {
    state = state * 1'664'525U + 1'013'904'223U;
    octet = static_cast<std::uint8_t>(state >> 24U);
  }
  return octets;
}

}  // namespace qx::test
