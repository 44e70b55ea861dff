// Messages.
#include <algorithm>
#include <cstring>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace {

const char* nameOfType(DWORD type) {
  switch (type) {
    case CMSG_SIGNED:
      return "CMSG_SIGNED";
    case CMSG_ENVELOPED:
      return "CMSG_ENVELOPED";
    case CMSG_HASHED:
      return "CMSG_HASHED";
    default:
      return "another type";
  }
}

const char* nameOfParam(DWORD param) {
  switch (param) {
    case CMSG_TYPE_PARAM:
      return "CMSG_TYPE_PARAM";
    case CMSG_CONTENT_PARAM:
      return "CMSG_CONTENT_PARAM";
    case CMSG_SIGNER_COUNT_PARAM:
      return "CMSG_SIGNER_COUNT_PARAM";
    case CMSG_SIGNER_INFO_PARAM:
      return "CMSG_SIGNER_INFO_PARAM";
    case CMSG_SIGNER_CERT_INFO_PARAM:
      return "CMSG_SIGNER_CERT_INFO_PARAM";
    case CMSG_CERT_COUNT_PARAM:
      return "CMSG_CERT_COUNT_PARAM";
    case CMSG_CERT_PARAM:
      return "CMSG_CERT_PARAM";
    case CMSG_RECIPIENT_COUNT_PARAM:
      return "CMSG_RECIPIENT_COUNT_PARAM";
    case CMSG_RECIPIENT_INFO_PARAM:
      return "CMSG_RECIPIENT_INFO_PARAM";
    case CMSG_ENCODED_MESSAGE:
      return "CMSG_ENCODED_MESSAGE";
    default:
      return "another parameter";
  }
}

const char* nameOfControl(DWORD control) {
  switch (control) {
    case CMSG_CTRL_VERIFY_SIGNATURE_EX:
      return "CMSG_CTRL_VERIFY_SIGNATURE_EX";
    case CMSG_CTRL_DECRYPT:
      return "CMSG_CTRL_DECRYPT";
    case CMSG_CTRL_ADD_SIGNER:
      return "CMSG_CTRL_ADD_SIGNER";
    case CMSG_CTRL_ADD_CERT:
      return "CMSG_CTRL_ADD_CERT";
    default:
      return "another control";
  }
}

const void* pointerOf(HCRYPTPROV handle) {
  return reinterpret_cast<const void*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

/// What an encoder was told, for the journal.
std::string describe(DWORD type, const void* info) {
  if (type == CMSG_HASHED) {
    const auto* hashed = static_cast<const CMSG_HASHED_ENCODE_INFO*>(info);
    return "cbSize " + std::to_string(hashed->cbSize) + " " +
           state().nameOf(pointerOf(hashed->hCryptProv)) + " " + hashed->HashAlgorithm.pszObjId +
           " parameters " + std::to_string(hashed->HashAlgorithm.Parameters.cbData) +
           (hashed->pvHashAuxInfo == nullptr ? "" : " auxiliary");
  }
  if (type == CMSG_ENVELOPED) {
    const auto* enveloped = static_cast<const CMSG_ENVELOPED_ENCODE_INFO*>(info);
    const CRYPT_ALGORITHM_IDENTIFIER& cipher = enveloped->ContentEncryptionAlgorithm;
    std::string text = "cbSize " + std::to_string(enveloped->cbSize) + " provider " +
                       std::to_string(enveloped->hCryptProv) + " " + cipher.pszObjId +
                       " parameters " + std::to_string(cipher.Parameters.cbData) +
                       (enveloped->pvEncryptionAuxInfo == nullptr ? "" : " auxiliary") +
                       " recipients";
    for (const CERT_INFO* recipient : std::span(enveloped->rgpRecipients, enveloped->cRecipients)) {
      text += " (" + textOf(recipient->Subject) + ")";
    }
    return text;
  }
  return describeSigned(*static_cast<const CMSG_SIGNED_ENCODE_INFO*>(info));
}

/// What a control was told, for the journal; the verification of a signature tells itself.
std::string describeControl(DWORD control, const void* parameters) {
  if (control == CMSG_CTRL_ADD_SIGNER) {
    return ", " + describeSigner(*static_cast<const CMSG_SIGNER_ENCODE_INFO*>(parameters));
  }
  if (control == CMSG_CTRL_ADD_CERT) {
    return ", " + textOf(*static_cast<const CERT_BLOB*>(parameters));
  }
  if (control == CMSG_CTRL_DECRYPT) {
    const auto* para = static_cast<const CMSG_CTRL_DECRYPT_PARA*>(parameters);
    return ", cbSize " + std::to_string(para->cbSize) + " " +
           state().nameOf(pointerOf(para->hCryptProv)) + " spec " +
           std::to_string(para->dwKeySpec) + " recipient " + std::to_string(para->dwRecipientIndex);
  }
  return "";
}

ToyMessage toyOf(DWORD type, const void* info) {
  ToyMessage toy;
  toy.type = type;
  if (type == CMSG_HASHED) {
    toy.hashOid = static_cast<const CMSG_HASHED_ENCODE_INFO*>(info)->HashAlgorithm.pszObjId;
  } else if (type == CMSG_ENVELOPED) {
    const auto* enveloped = static_cast<const CMSG_ENVELOPED_ENCODE_INFO*>(info);
    for (const CERT_INFO* recipient : std::span(enveloped->rgpRecipients, enveloped->cRecipients)) {
      toy.recipients.push_back({.issuer = textOf(recipient->Issuer),
                                .serial = bytesOf(textOf(recipient->SerialNumber))});
    }
  } else {
    toy = signedToy(*static_cast<const CMSG_SIGNED_ENCODE_INFO*>(info));
  }
  return toy;
}

Bytes number(std::size_t value) {
  const auto word = static_cast<DWORD>(value);
  Bytes bytes(sizeof(word));
  std::memcpy(bytes.data(), &word, sizeof(word));
  return bytes;
}

/// The signed attributes of a signer, in one piece with him.
void addAttributes(Piece& piece, const std::vector<ToyAttribute>& attributes) {
  constexpr std::size_t kAttributes = offsetof(CMSG_SIGNER_INFO, AuthAttrs);
  piece.set(kAttributes, static_cast<DWORD>(attributes.size()));
  const std::size_t records = piece.add(Bytes(attributes.size() * sizeof(CRYPT_ATTRIBUTE)));
  piece.setPointer(kAttributes + 8, records);
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const std::size_t record = records + i * sizeof(CRYPT_ATTRIBUTE);
    const auto& values = attributes[i].values;
    piece.setPointer(record, piece.addString(attributes[i].oid));
    piece.set(record + 8, static_cast<DWORD>(values.size()));
    const std::size_t blobs = piece.add(Bytes(values.size() * sizeof(CRYPT_ATTR_BLOB)));
    piece.setPointer(record + 16, blobs);
    for (std::size_t j = 0; j < values.size(); ++j) {
      piece.setBlob(blobs + j * sizeof(CRYPT_ATTR_BLOB), values[j]);
    }
  }
}

Bytes signerInfo(const ToySigner& signer, const void* out) {
  Piece piece(sizeof(CMSG_SIGNER_INFO));
  piece.setBlob(offsetof(CMSG_SIGNER_INFO, Issuer), bytesOf(signer.issuer));
  piece.setBlob(offsetof(CMSG_SIGNER_INFO, SerialNumber), signer.serial);
  if (!signer.attributes.empty()) {
    addAttributes(piece, signer.attributes);
  }
  return piece.at(out);
}

Bytes certificateInfo(const std::string& issuer, const Bytes& serial, const void* out) {
  Piece piece(sizeof(CERT_INFO));
  piece.setBlob(offsetof(CERT_INFO, Issuer), bytesOf(issuer));
  piece.setBlob(offsetof(CERT_INFO, SerialNumber), serial);
  return piece.at(out);
}

/// The value of a parameter at its address, or nothing with the error set.
std::optional<Bytes> parameterOf(
    Call& call, const MessageObject& message, DWORD param, DWORD index, const void* out) {
  const ToyMessage& toy = message.toy;
  const auto within = [&](std::size_t count) {
    if (index < count) {
      return true;
    }
    call.fail(CRYPT_E_INVALID_INDEX);
    return false;
  };
  if (!message.isComplete) {
    call.fail(CRYPT_E_MSG_ERROR);
    return std::nullopt;
  }
  if (message.isEncoder && param == CMSG_CONTENT_PARAM) {
    return bytesOf(provider().addMessage(toy));
  }
  switch (param) {
    case CMSG_TYPE_PARAM:
      return number(toy.type);
    case CMSG_CONTENT_PARAM:
      if (toy.type == CMSG_ENVELOPED && !message.isDecrypted) {
        call.fail(CRYPT_E_NOT_DECRYPTED);
        return std::nullopt;
      }
      return toy.isDetached ? Bytes() : bytesOf(toy.content);
    case CMSG_SIGNER_COUNT_PARAM:
      return number(toy.signers.size());
    case CMSG_SIGNER_INFO_PARAM:
      return within(toy.signers.size()) ? std::optional(signerInfo(toy.signers[index], out))
                                        : std::nullopt;
    case CMSG_SIGNER_CERT_INFO_PARAM:
      return within(toy.signers.size())
                 ? std::optional(
                       certificateInfo(toy.signers[index].issuer, toy.signers[index].serial, out))
                 : std::nullopt;
    case CMSG_CERT_COUNT_PARAM:
      return number(toy.certificates.size());
    case CMSG_CERT_PARAM:
      return within(toy.certificates.size())
                 ? std::optional(bytesOf(toy.certificates[index].encoded()))
                 : std::nullopt;
    case CMSG_RECIPIENT_COUNT_PARAM:
      return number(toy.recipients.size());
    case CMSG_RECIPIENT_INFO_PARAM:
      return within(toy.recipients.size())
                 ? std::optional(certificateInfo(
                       toy.recipients[index].issuer, toy.recipients[index].serial, out))
                 : std::nullopt;
    case CMSG_ENCODED_MESSAGE:
      return bytesOf(provider().addMessage(toy));
    default:
      call.fail(CRYPT_E_INVALID_MSG_TYPE);
      return std::nullopt;
  }
}

BOOL updateDecoder(Call& call, MessageObject& message, const std::string& bytes) {
  if (message.isComplete) {
    if (!message.expectsContent) {
      return call.fail(CRYPT_E_MSG_ERROR);
    }
    message.expectsContent = false;
    message.toy.content = bytes;
    return TRUE;
  }
  const auto known = provider().messages.find(bytes);
  if (known == provider().messages.end()) {
    return call.fail(CRYPT_E_ASN1_BADTAG);
  }
  message.toy = known->second;
  message.isComplete = true;
  return TRUE;
}

BOOL verifySignature(Call& call, const MessageObject& message, const void* parameters) {
  const auto* para = static_cast<const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA*>(parameters);
  if (para->cbSize != sizeof(*para) || para->dwSignerIndex >= message.toy.signers.size()) {
    return call.fail(CRYPT_E_INVALID_INDEX);
  }
  const DWORD error = message.toy.signers[para->dwSignerIndex].signatureError;
  return error == ERROR_SUCCESS ? TRUE : call.fail(error);
}

BOOL addCertificate(Call& call, MessageObject& message, const void* parameters) {
  const ToyCertificate* known =
      knownCertificate(textOf(*static_cast<const CRYPT_DATA_BLOB*>(parameters)));
  if (known == nullptr) {
    return call.fail(CRYPT_E_ASN1_BADTAG);
  }
  message.toy.certificates.push_back(*known);
  return TRUE;
}

BOOL decrypt(Call& call, MessageObject& message, const void* parameters) {
  const auto* para = static_cast<const CMSG_CTRL_DECRYPT_PARA*>(parameters);
  const auto* key = state().find<KeyObject>(pointerOf(para->hCryptProv), "CMSG_CTRL_DECRYPT");
  if (message.toy.type != CMSG_ENVELOPED || key == nullptr) {
    return call.fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  if (para->dwRecipientIndex >= message.toy.recipients.size()) {
    return call.fail(CRYPT_E_INVALID_INDEX);
  }
  message.isDecrypted = true;
  return TRUE;
}

}  // namespace

HCRYPTMSG CryptMsgOpenToEncode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               DWORD dwMsgType,
                               void const* pvMsgEncodeInfo,
                               LPSTR pszInnerContentObjID,
                               PCMSG_STREAM_INFO pStreamInfo) {
  const AllocationsPause pause;
  Call call("CryptMsgOpenToEncode(0x%x, 0x%x, %s, %s, %s, %s)",
            dwMsgEncodingType,
            dwFlags,
            nameOfType(dwMsgType),
            describe(dwMsgType, pvMsgEncodeInfo).c_str(),
            pszInnerContentObjID == nullptr ? "NULL" : pszInnerContentObjID,
            pStreamInfo == nullptr ? "NULL" : "stream");
  if (dwMsgType == CMSG_SIGNED) {
    call.tell(
        "%s",
        certificatesOf(*static_cast<const CMSG_SIGNED_ENCODE_INFO*>(pvMsgEncodeInfo)).c_str());
  }
  if (call.fails()) {
    return nullptr;
  }
  auto message = std::make_unique<MessageObject>();
  message->isEncoder = true;
  message->toy = toyOf(dwMsgType, pvMsgEncodeInfo);
  message->toy.isDetached = (dwFlags & CMSG_DETACHED_FLAG) != 0;
  MessageObject* raw = message.get();
  return call.handsOut(state().give(std::move(message), raw, "message"));
}

HCRYPTMSG CryptMsgOpenToDecode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               DWORD dwMsgType,
                               HCRYPTPROV_LEGACY hCryptProv,
                               PCERT_INFO pRecipientInfo,
                               PCMSG_STREAM_INFO pStreamInfo) {
  const AllocationsPause pause;
  Call call("CryptMsgOpenToDecode(0x%x, 0x%x, %u, %zu, %s, %s)",
            dwMsgEncodingType,
            dwFlags,
            dwMsgType,
            static_cast<std::size_t>(hCryptProv),
            pRecipientInfo == nullptr ? "NULL" : "recipient",
            pStreamInfo == nullptr ? "NULL" : "stream");
  if (call.fails()) {
    return nullptr;
  }
  auto message = std::make_unique<MessageObject>();
  message->expectsContent = (dwFlags & CMSG_DETACHED_FLAG) != 0;
  MessageObject* raw = message.get();
  return call.handsOut(state().give(std::move(message), raw, "message"));
}

BOOL CryptMsgUpdate(HCRYPTMSG hCryptMsg, const BYTE* pbData, DWORD cbData, BOOL fFinal) {
  const AllocationsPause pause;
  Call call("CryptMsgUpdate(%s, %u bytes, %d)", state().nameOf(hCryptMsg).c_str(), cbData, fFinal);
  call.tell("%s", shown(std::span(pbData, cbData)).c_str());
  auto* message = state().find<MessageObject>(hCryptMsg, "CryptMsgUpdate");
  if (call.fails() || message == nullptr) {
    return FALSE;
  }
  const std::string bytes(reinterpret_cast<const char*>(pbData), cbData);
  if (!message->isEncoder) {
    return updateDecoder(call, *message, bytes);
  }
  message->toy.content = bytes;
  message->isComplete = true;
  return TRUE;
}

BOOL CryptMsgGetParam(
    HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData, DWORD* pcbData) {
  Call call("CryptMsgGetParam(%s, %u, %s)", nameOfParam(dwParamType), dwIndex, pass(pvData));
  call.tell("%s", state().nameOf(hCryptMsg).c_str());
  const auto* message = state().find<MessageObject>(hCryptMsg, "CryptMsgGetParam");
  if (call.fails() || message == nullptr) {
    return FALSE;
  }
  const std::optional<Bytes> value = parameterOf(call, *message, dwParamType, dwIndex, pvData);
  return value ? call.give(*value, pvData, pcbData) : FALSE;
}

BOOL CryptMsgControl(HCRYPTMSG hCryptMsg, DWORD dwFlags, DWORD dwCtrlType, void const* pvCtrlPara) {
  const AllocationsPause pause;
  Call call("CryptMsgControl(%s, %u, %s%s)",
            state().nameOf(hCryptMsg).c_str(),
            dwFlags,
            nameOfControl(dwCtrlType),
            describeControl(dwCtrlType, pvCtrlPara).c_str());
  if (dwCtrlType == CMSG_CTRL_VERIFY_SIGNATURE_EX) {
    const auto* para = static_cast<const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA*>(pvCtrlPara);
    call.tell("cbSize %u, provider %zu, signer %u by type %u, %s",
              para->cbSize,
              static_cast<std::size_t>(para->hCryptProv),
              para->dwSignerIndex,
              para->dwSignerType,
              state().nameOf(para->pvSigner).c_str());
  }
  auto* message = state().find<MessageObject>(hCryptMsg, "CryptMsgControl");
  if (call.fails() || message == nullptr) {
    return FALSE;
  }
  switch (dwCtrlType) {
    case CMSG_CTRL_VERIFY_SIGNATURE_EX:
      return verifySignature(call, *message, pvCtrlPara);
    case CMSG_CTRL_ADD_SIGNER:
      message->toy.signers.push_back(
          signerOf(*static_cast<const CMSG_SIGNER_ENCODE_INFO*>(pvCtrlPara)));
      return TRUE;
    case CMSG_CTRL_ADD_CERT:
      return addCertificate(call, *message, pvCtrlPara);
    case CMSG_CTRL_DECRYPT:
      return decrypt(call, *message, pvCtrlPara);
    default:
      return call.fail(CRYPT_E_CONTROL_TYPE);
  }
}

BOOL CryptMsgClose(HCRYPTMSG hCryptMsg) {
  const AllocationsPause pause;
  Call call("CryptMsgClose(%s)", state().nameOf(hCryptMsg).c_str());
  const bool fails = call.fails();
  state().takeBack(hCryptMsg, "CryptMsgClose");
  return fails ? FALSE : TRUE;
}

HCRYPTMSG CryptMsgDuplicate(HCRYPTMSG hCryptMsg) {
  const AllocationsPause pause;
  const Call call("CryptMsgDuplicate(%s)", state().nameOf(hCryptMsg).c_str());
  auto* message = state().find<MessageObject>(hCryptMsg, "CryptMsgDuplicate");
  if (message != nullptr) {
    ++message->references;
  }
  return hCryptMsg;
}
