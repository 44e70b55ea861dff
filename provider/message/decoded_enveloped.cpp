#include "provider/message/decoded_enveloped.h"

#include <utility>

#include "provider/der/blob.h"
#include "provider/key/key_context.h"
#include "provider/message/algorithm.h"
#include "provider/message/known_certificate.h"
#include "provider/message/oids.h"
#include "provider/message/recipient_key.h"

namespace qx {
namespace {

/// The encrypted MAC of the content, or nothing.
Result<std::vector<std::uint8_t>> contentMac(const Attributes& attributes) {
  const Attribute* attribute = findAttribute(attributes, oids::kContentMac);
  if (attribute == nullptr || attribute->values.size() != 1) {
    return std::vector<std::uint8_t>();
  }
  const auto string = der::readWhole(attribute->values.front(), der::kOctetString);
  return string ? der::readOctets(*string) : string.failure();
}

}  // namespace

Result<std::unique_ptr<Decoded>> DecodedEnveloped::open(const der::Element& bare, bool detached) {
  auto data = readEnvelopedData(bare);
  if (!data) {
    return data.failure();
  }
  if (detached && data->encrypted) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  std::unique_ptr<DecodedEnveloped> message(new DecodedEnveloped(bare.whole, *std::move(data)));
  if (const auto& element = message->data_.encrypted; element) {
    if (const auto done = message->encrypted_.setElement(*element); !done) {
      return done.failure();
    }
  }
  return std::unique_ptr<Decoded>(std::move(message));
}

std::string_view DecodedEnveloped::type() const {
  return oids::kEnvelopedData;
}

Result<void> DecodedEnveloped::addContent(der::Bytes part, bool final) {
  if (!final) {
    return fail(CRYPT_E_MSG_ERROR);
  }
  encrypted_.setOctets(part);
  return {};
}

Result<void> DecodedEnveloped::param(DWORD type, DWORD index, ParamOutput& output) {
  switch (type) {
    case CMSG_CONTENT_PARAM:
      return putContent(output);
    case CMSG_INNER_CONTENT_TYPE_PARAM:
      return output.putText(data_.contentType);
    case CMSG_VERSION_PARAM:
      return output.putNumber(data_.version);
    case CMSG_ENVELOPE_ALGORITHM_PARAM:
      return putAlgorithm(data_.algorithm, output);
    case CMSG_RECIPIENT_COUNT_PARAM:
      return output.putNumber(data_.recipients.size());
    case CMSG_RECIPIENT_INDEX_PARAM:
      return content_ ? output.putNumber(decryptedIndex_) : fail(CRYPT_E_NOT_DECRYPTED);
    case CMSG_RECIPIENT_INFO_PARAM:
      return putRecipient(index, output);
    default:
      return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

Result<void> DecodedEnveloped::putContent(ParamOutput& output) const {
  if (content_) {
    return output.putBytes(content_->bytes());
  }
  return output.put(encrypted_.size(), [this](std::uint8_t* out) { encrypted_.writeTo(out); });
}

Result<void> DecodedEnveloped::putRecipient(DWORD index, ParamOutput& output) const {
  if (index >= data_.recipients.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  const Recipient& recipient = data_.recipients[index];
  // Callers know recipients by issuer and serial number only.
  const auto certificate =
      recipient.id.isKeyId() ? knownCertificate(recipient.id, {"My"}) : nullptr;
  return output.putRecord<CERT_INFO>([&](CERT_INFO& record, OnePiece& piece) {
    if (certificate != nullptr) {
      const CERT_INFO& info = certificate->info();
      record.Issuer = piece.blob(bytesOf(info.Issuer));
      record.SerialNumber = piece.blob(bytesOf(info.SerialNumber));
    } else {
      record.Issuer = piece.blob(issuerOf(recipient.id));
      record.SerialNumber = piece.integer(serialOf(recipient.id));
    }
    record.SubjectPublicKeyInfo.Algorithm = layOutAlgorithm(recipient.algorithm, piece);
  });
}

Result<void> DecodedEnveloped::control(DWORD type, const void* para) {
  if (type != CMSG_CTRL_DECRYPT) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  const auto* decryptPara = static_cast<const CMSG_CTRL_DECRYPT_PARA*>(para);
  if (decryptPara == nullptr || decryptPara->cbSize < sizeof *decryptPara) {
    return fail(E_INVALIDARG);
  }
  return decrypt(*decryptPara);
}

Result<void> DecodedEnveloped::decrypt(const CMSG_CTRL_DECRYPT_PARA& para) {
  if (content_) {
    return fail(CRYPT_E_ALREADY_DECRYPTED);
  }
  if (para.dwRecipientIndex >= data_.recipients.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  if (para.hCryptProv == 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const auto key = usableKey(para.hCryptProv);
  if (!key) {
    return key.failure();
  }
  auto content = decryptWith(data_.recipients[para.dwRecipientIndex], **key);
  if (!content) {
    return content.failure();
  }
  content_ = *std::move(content);
  decryptedIndex_ = para.dwRecipientIndex;
  return {};
}

Result<SecretBytes> DecodedEnveloped::decryptWith(const Recipient& recipient,
                                                  const PrivateKey& key) const {
  const ContentAlgorithm* algorithm = contentAlgorithm(data_.algorithm.oid);
  if (algorithm == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  const auto mac = contentMac(data_.unprotected);
  const auto session = mac ? recoverKey(recipient, key, algorithm->keySize) : mac.failure();
  if (!session) {
    return session.failure();
  }
  auto cipher =
      ContentDecryption::open(*algorithm, data_.algorithm.parameters, session->key.bytes(), *mac);
  if (!cipher) {
    return cipher.failure();
  }
  auto content = encrypted_.decrypt(*cipher);
  // Whatever came out of a key that is not the sender's: told now, after the same work.
  return session->isGood ? std::move(content) : fail(NTE_BAD_DATA);
}

}  // namespace qx
