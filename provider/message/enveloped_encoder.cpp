#include "provider/message/enveloped_encoder.h"

#include <algorithm>
#include <utility>

#include "provider/cipher/gost28147.h"
#include "provider/der/blob.h"
#include "provider/message/enveloped_data.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"
#include "provider/message/recipient_key.h"
#include "provider/message/signer_id.h"
#include "provider/message/verify.h"
#include "provider/openssl/random.h"
#include "provider/support/config.h"

namespace qx {
namespace {

/// The AlgorithmIdentifier inside a SubjectPublicKeyInfo; RSA keys come with NULL there or without.
Result<std::vector<std::uint8_t>> algorithmOf(const PublicKey& key) {
  if (key.type() != KeyType::Rsa) {
    const auto algorithm = spkiAlgorithm(key.spki());
    if (!algorithm) {
      return algorithm.failure();
    }
    return std::vector<std::uint8_t>(algorithm->begin(), algorithm->end());
  }
  const auto encoded = der::algorithm(keyTypeInfo(key.type()).oid, der::kNullParameters);
  return encoded ? Result<std::vector<std::uint8_t>>(encoded->bytes()) : encoded.failure();
}

/// Members of the long form: other recipients, certificates and attributes, which are not written.
bool asksForMore(const CMSG_ENVELOPED_ENCODE_INFO& info) {
  if (info.cbSize < sizeof(CMSG_ENVELOPED_ENCODE_INFO_LONG)) {
    return false;
  }
  const auto& more = reinterpret_cast<const CMSG_ENVELOPED_ENCODE_INFO_LONG&>(info);
  return more.rgCmsRecipients != nullptr || more.cCertEncoded != 0 || more.cCrlEncoded != 0 ||
         more.cAttrCertEncoded != 0 || more.cUnprotectedAttr != 0;
}

}  // namespace

// The ciphertext of a message cannot be had elsewhere: it stays inside in any case.
EnvelopedEncoder::EnvelopedEncoder(DWORD flags, std::string contentType)
    : Encoder(flags & ~CMSG_DETACHED_FLAG, std::move(contentType)),
      refusal_((flags & CMSG_DETACHED_FLAG) != 0 ? E_INVALIDARG : CRYPT_E_MSG_ERROR) {}

Result<std::unique_ptr<Message>> EnvelopedEncoder::open(DWORD flags,
                                                        std::string contentType,
                                                        const CMSG_ENVELOPED_ENCODE_INFO* info) {
  if (info == nullptr || info->cbSize < sizeof *info || asksForMore(*info)) {
    return fail(E_INVALIDARG);
  }
  std::unique_ptr<EnvelopedEncoder> encoder(new EnvelopedEncoder(flags, std::move(contentType)));
  if (const auto done = encoder->chooseCipher(info->ContentEncryptionAlgorithm); !done) {
    return done.failure();
  }
  if (const auto done = encoder->copyRecipients(*info); !done) {
    return done.failure();
  }
  return std::unique_ptr<Message>(std::move(encoder));
}

Result<void> EnvelopedEncoder::chooseCipher(const CRYPT_ALGORITHM_IDENTIFIER& algorithm) {
  if (algorithm.pszObjId == nullptr || algorithm.pszObjId != kGost28147Oid) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  if (const der::Bytes named = bytesOf(algorithm.Parameters); !named.empty()) {
    auto parameters = readGost28147Parameters(named);
    if (!parameters) {
      return parameters.failure();
    }
    parameters_ = *std::move(parameters);
    return {};
  }
  parameters_.set = configuration().content.cipherSet;
  parameters_.iv.resize(kGost28147BlockSize);
  return isGost28147Set(parameters_.set) ? fillRandom(parameters_.iv) : fail(NTE_BAD_ALGID);
}

Result<void> EnvelopedEncoder::copyRecipients(const CMSG_ENVELOPED_ENCODE_INFO& info) {
  if (info.cRecipients > kMaxRecipients ||
      (info.cRecipients > 0 && info.rgpRecipients == nullptr)) {
    return fail(E_INVALIDARG);
  }
  for (DWORD i = 0; i < info.cRecipients; ++i) {
    auto recipient = copyRecipient(info.rgpRecipients[i]);
    if (!recipient) {
      return recipient.failure();
    }
    recipients_.push_back(*std::move(recipient));
  }
  return {};
}

Result<EnvelopedEncoder::Recipient> EnvelopedEncoder::copyRecipient(const CERT_INFO* info) {
  if (info == nullptr) {
    return fail(E_INVALIDARG);
  }
  auto id = encodeIssuerAndSerial(bytesOf(info->Issuer), bytesOf(info->SerialNumber));
  if (!id) {
    return id.failure();
  }
  auto key = publicKeyOf(info->SubjectPublicKeyInfo);
  if (!key) {
    return key.failure();
  }
  if ((*key)->type() == KeyType::Ec) {
    return fail(NTE_BAD_ALGID);
  }
  auto algorithm = algorithmOf(**key);
  if (!algorithm) {
    return algorithm.failure();
  }
  return Recipient{
      .id = *std::move(id), .algorithm = *std::move(algorithm), .key = *std::move(key)};
}

std::string_view EnvelopedEncoder::type() const {
  return oids::kEnvelopedData;
}

Result<void> EnvelopedEncoder::finish() {
  const auto session = randomKey(kGostKeySize);
  if (!session) {
    return session.failure();
  }
  if (auto done = encryptKeys(session->bytes()); !done) {
    return done;
  }
  return encryptContent(session->bytes());
}

Result<void> EnvelopedEncoder::encryptKeys(der::Bytes session) {
  for (const Recipient& recipient : recipients_) {
    const auto key = encryptKeyFor(*recipient.key, session);
    if (!key) {
      return key.failure();
    }
    encryptedKeys_.push_back(der::sequence(der::integer(CMSG_KEY_TRANS_PKCS_1_5_VERSION),
                                           der::Encoding::borrowed(recipient.id),
                                           der::Encoding::borrowed(recipient.algorithm),
                                           der::octetString(*key))
                                 .bytes());
  }
  return {};
}

Result<void> EnvelopedEncoder::encryptContent(der::Bytes session) {
  auto cipher = gost28147Cfb(parameters_.set, Direction::Encrypt, session, parameters_.iv);
  if (!cipher) {
    return cipher.failure();
  }
  encrypted_ = SecretBytes(content().size());
  content().writeTo(encrypted_.data());
  const auto done = cipher->update(encrypted_.bytes(), encrypted_.data());
  return done ? Result<void>{} : done.failure();
}

Result<der::Encoding> EnvelopedEncoder::bare() {
  if (!isFinished()) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  auto parameters = encodeGost28147Parameters(parameters_);
  auto contentType = der::oid(this->contentType());
  auto algorithm = parameters ? der::algorithm(kGost28147Oid, *parameters) : parameters.failure();
  if (!contentType || !algorithm) {
    return contentType ? algorithm.failure() : contentType.failure();
  }
  std::vector<der::Encoding> recipients;
  recipients.reserve(encryptedKeys_.size());
  for (const std::vector<std::uint8_t>& recipient : encryptedKeys_) {
    recipients.push_back(der::Encoding::borrowed(recipient));
  }
  return der::sequence(
      der::integer(CMSG_ENVELOPED_DATA_V0),
      der::setOf(recipients),
      der::sequence(*std::move(contentType),
                    der::Encoding::owned(algorithm->bytes()),
                    der::wrap(kEncryptedContentTag, der::Encoding::borrowed(encrypted_.bytes()))));
}

Result<void> EnvelopedEncoder::ownParam(DWORD type, DWORD /*index*/, ParamOutput& output) {
  return type == CMSG_VERSION_PARAM ? output.putNumber(CMSG_ENVELOPED_DATA_V0)
                                    : fail(CRYPT_E_INVALID_MSG_TYPE);
}

}  // namespace qx
