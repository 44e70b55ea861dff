// CAdES, and what encoders of signed messages share.
#include <algorithm>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace qx::scripted {

ToySigner signerOf(const CMSG_SIGNER_ENCODE_INFO& info) {
  ToySigner signer;
  signer.issuer = textOf(info.pCertInfo->Issuer);
  signer.serial = bytesOf(textOf(info.pCertInfo->SerialNumber));
  return signer;
}

ToyMessage signedToy(const CMSG_SIGNED_ENCODE_INFO& info) {
  ToyMessage toy;
  for (const CMSG_SIGNER_ENCODE_INFO& signer : std::span(info.rgSigners, info.cSigners)) {
    toy.signers.push_back(signerOf(signer));
  }
  for (const CERT_BLOB& blob : std::span(info.rgCertEncoded, info.cCertEncoded)) {
    const ToyCertificate* known = knownCertificate(textOf(blob));
    ToyCertificate certificate = known == nullptr ? ToyCertificate{} : *known;
    if (known == nullptr) {
      certificate.subject = "unknown";
    }
    toy.certificates.push_back(std::move(certificate));
  }
  return toy;
}

std::string describeSigner(const CMSG_SIGNER_ENCODE_INFO& signer) {
  return "signer cbSize " + std::to_string(signer.cbSize) + " " +
         textOf(signer.pCertInfo->Subject) + " " +
         state().nameOf(reinterpret_cast<const void*>(  // NOLINT(performance-no-int-to-ptr)
             signer.hCryptProv)) +
         " spec " + std::to_string(signer.dwKeySpec) + " hash " + signer.HashAlgorithm.pszObjId +
         " attributes " + std::to_string(signer.cAuthAttr) + "+" +
         std::to_string(signer.cUnauthAttr);
}

std::string describeSigned(const CMSG_SIGNED_ENCODE_INFO& info) {
  std::string text = "cbSize " + std::to_string(info.cbSize);
  for (const CMSG_SIGNER_ENCODE_INFO& signer : std::span(info.rgSigners, info.cSigners)) {
    text += " " + describeSigner(signer);
  }
  text += " certificates " + std::to_string(info.cCertEncoded) + " crls " +
          std::to_string(info.cCrlEncoded);
  return text;
}

std::string certificatesOf(const CMSG_SIGNED_ENCODE_INFO& info) {
  std::string text = "[";
  for (const CERT_BLOB& blob : std::span(info.rgCertEncoded, info.cCertEncoded)) {
    text += (text.size() == 1 ? "" : "; ") + textOf(blob);
  }
  return text + "]";
}

}  // namespace qx::scripted

namespace {

/// What stands in the members that nobody names, for the journal.
template <class Member>
std::string restOf(const Member& reserved) {
  const std::span bytes(reinterpret_cast<const BYTE*>(&reserved), sizeof(reserved));
  return std::ranges::count(bytes, 0) == sizeof(reserved) ? "zero" : hex(bytes);
}

/// The rest of a record of parameters and of the server's record on it.
std::string restOfParameters(const CADES_SIGN_PARA* para) {
  return "rest " + restOf(para->pReserved1) + " and " + restOf(para->pReserved2) +
         (para->pTspService == nullptr ? ""
                                       : ", of the server " + restOf(para->pTspService->pReserved));
}

std::string serverOf(const CADES_SIGN_PARA* para) {
  std::string text;
  const wchar_t* address = para->pTspService == nullptr ? nullptr : para->pTspService->wszUri;
  for (; address != nullptr && *address != 0; ++address) {
    text += static_cast<char>(*address);
  }
  return text;
}

std::string describe(const CADES_SIGN_PARA* para) {
  const std::string text =
      "dwSize " + std::to_string(para->dwSize) + " type " + std::to_string(para->dwCadesType) + " ";
  if (para->pTspService == nullptr) {
    return text + "default server";
  }
  return text + "server cbSize " + std::to_string(para->pTspService->dwSize) + " \"" +
         serverOf(para) + "\"";
}

/// Whether a server stamps now. One without an address in its record is no server at all.
bool stamps(const CADES_SIGN_PARA* para) {
  if (para->pTspService != nullptr && serverOf(para).empty()) {
    return false;
  }
  if (provider().timeStampsLeft == 0 ||
      std::ranges::count(provider().workingTspServers, serverOf(para)) == 0) {
    return false;
  }
  provider().timeStampsLeft -= provider().timeStampsLeft > 0 ? 1 : 0;
  return true;
}

BOOL enhance(Call& call, HCRYPTMSG handle, const std::string& whom, const CADES_SIGN_PARA* para) {
  auto* message = state().find<MessageObject>(handle, "CadesMsgEnhanceSignature");
  if (call.fails() || message == nullptr) {
    return FALSE;
  }
  if (!stamps(para)) {
    return call.fail(ERROR_TIMEOUT);
  }
  message->toy.marks.push_back(whom + " stamped by " +
                               (para->pTspService == nullptr ? "default" : serverOf(para)));
  return TRUE;
}

/// The signer of a decoded message, or null with the error set.
const ToySigner* signerAt(Call& call, HCRYPTMSG handle, DWORD index, const char* user) {
  const auto* message = state().find<MessageObject>(handle, user);
  if (call.fails() || message == nullptr) {
    return nullptr;
  }
  if (index >= message->toy.signers.size()) {
    call.fail(CRYPT_E_INVALID_INDEX);
    return nullptr;
  }
  return &message->toy.signers[index];
}

CADES_VERIFICATION_INFO* giveVerdict(const ToyCadesVerdict& toy) {
  auto object = std::make_unique<VerdictObject>();
  object->toy = toy;
  CADES_VERIFICATION_INFO& info = object->info;
  info.dwSize = sizeof(info);
  info.dwStatus = toy.status;
  info.pSignerCert = toy.certificate ? giveCertificate(*toy.certificate, nullptr, 0) : nullptr;
  info.pSigningTime = object->toy.signingTime ? &*object->toy.signingTime : nullptr;
  info.pSignatureTimeStampTime = object->toy.stampTime ? &*object->toy.stampTime : nullptr;
  return &state().give(std::move(object), &info, "verdict")->info;
}

}  // namespace

HCRYPTMSG CadesMsgOpenToEncode(DWORD dwMsgEncodingType,
                               DWORD dwFlags,
                               CADES_ENCODE_INFO* pvMsgEncodeInfo,
                               LPSTR pszInnerContentObjID,
                               PCMSG_STREAM_INFO pStreamInfo) {
  const AllocationsPause pause;
  const CMSG_SIGNED_ENCODE_INFO& info = *pvMsgEncodeInfo->pSignedEncodeInfo;
  Call call("CadesMsgOpenToEncode(0x%x, 0x%x, dwSize %u %s, %s, %s)",
            dwMsgEncodingType,
            dwFlags,
            pvMsgEncodeInfo->dwSize,
            describeSigned(info).c_str(),
            pszInnerContentObjID == nullptr ? "NULL" : pszInnerContentObjID,
            pStreamInfo == nullptr ? "NULL" : "stream");
  call.tell(
      "%s, rest %s", certificatesOf(info).c_str(), restOf(pvMsgEncodeInfo->pReserved).c_str());
  if (call.fails()) {
    return nullptr;
  }
  auto message = std::make_unique<MessageObject>();
  message->isEncoder = true;
  message->toy = signedToy(info);
  message->toy.isDetached = (dwFlags & CMSG_DETACHED_FLAG) != 0;
  MessageObject* raw = message.get();
  return call.handsOut(state().give(std::move(message), raw, "message"));
}

BOOL CadesMsgEnhanceSignature(HCRYPTMSG hCryptMsg,
                              DWORD dwSignatureIndex,
                              CADES_SIGN_PARA* pCadesSignPara) {
  const AllocationsPause pause;
  Call call("CadesMsgEnhanceSignature(%s, %u, %s)",
            state().nameOf(hCryptMsg).c_str(),
            dwSignatureIndex,
            describe(pCadesSignPara).c_str());
  call.tell("%s", restOfParameters(pCadesSignPara).c_str());
  return enhance(call, hCryptMsg, "signer " + std::to_string(dwSignatureIndex), pCadesSignPara);
}

BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG hCryptMsg, CADES_SIGN_PARA* pCadesSignPara) {
  const AllocationsPause pause;
  Call call("CadesMsgEnhanceSignatureAll(%s, %s)",
            state().nameOf(hCryptMsg).c_str(),
            describe(pCadesSignPara).c_str());
  call.tell("%s", restOfParameters(pCadesSignPara).c_str());
  return enhance(call, hCryptMsg, "all", pCadesSignPara);
}

BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG hCryptMsg, CADES_ENHANCED_SIGN_PARA* pPara) {
  const AllocationsPause pause;
  Call call("CadesMsgAddEnhancedSignature(%s, dwSize %u %s, %s)",
            state().nameOf(hCryptMsg).c_str(),
            pPara->dwSize,
            describeSigner(*pPara->pSignerInfo).c_str(),
            describe(pPara->pCadesSignPara).c_str());
  call.tell("%s", restOfParameters(pPara->pCadesSignPara).c_str());
  const BOOL enhanced = enhance(call, hCryptMsg, "added signer", pPara->pCadesSignPara);
  if (enhanced != FALSE) {
    state()
        .find<MessageObject>(hCryptMsg, "CadesMsgAddEnhancedSignature")
        ->toy.signers.push_back(signerOf(*pPara->pSignerInfo));
  }
  return enhanced;
}

BOOL CadesMsgIsType(HCRYPTMSG hCryptMsg,
                    DWORD dwSignatureIndex,
                    DWORD dwCadesType,
                    BOOL* pbResult) {
  const AllocationsPause pause;
  Call call("CadesMsgIsType(%s, %u, 0x%x)",
            state().nameOf(hCryptMsg).c_str(),
            dwSignatureIndex,
            dwCadesType);
  const ToySigner* signer = signerAt(call, hCryptMsg, dwSignatureIndex, "CadesMsgIsType");
  if (signer == nullptr) {
    return FALSE;
  }
  *pbResult = signer->isCadesXLong && dwCadesType == CADES_TYPE_X_LONG_1 ? TRUE : FALSE;
  call.tell("= %d", *pbResult);
  return TRUE;
}

BOOL CadesMsgVerifySignature(HCRYPTMSG hCryptMsg,
                             DWORD dwSignatureIndex,
                             const void* pVerificationPara,
                             CADES_VERIFICATION_INFO** ppVerificationInfo) {
  const AllocationsPause pause;
  Call call("CadesMsgVerifySignature(%s, %u, %s)",
            state().nameOf(hCryptMsg).c_str(),
            dwSignatureIndex,
            pVerificationPara == nullptr ? "NULL" : "parameters");
  *ppVerificationInfo = nullptr;
  const ToySigner* signer = signerAt(call, hCryptMsg, dwSignatureIndex, "CadesMsgVerifySignature");
  if (signer == nullptr) {
    return FALSE;
  }
  const ToyCadesVerdict& verdict = signer->cades;
  if (verdict.hasRecord && !call.givesNothing()) {
    *ppVerificationInfo = call.handsOut(giveVerdict(verdict));
  }
  if (verdict.answer == FALSE) {
    return call.fail(verdict.lastError);
  }
  if (verdict.lastError != ERROR_SUCCESS) {
    state().lastError = verdict.lastError;
  }
  return TRUE;
}

BOOL CadesFreeVerificationInfo(CADES_VERIFICATION_INFO* pVerificationInfo) {
  const AllocationsPause pause;
  Call call("CadesFreeVerificationInfo(%s)", state().nameOf(pVerificationInfo).c_str());
  const bool fails = call.fails();
  if (pVerificationInfo != nullptr) {
    state().takeBack(pVerificationInfo->pSignerCert, "CadesFreeVerificationInfo");
  }
  state().takeBack(pVerificationInfo, "CadesFreeVerificationInfo");
  return fails ? FALSE : TRUE;
}

BOOL CadesMsgGetCertificateValues(HCRYPTMSG hCryptMsg,
                                  DWORD dwSignatureIndex,
                                  CADES_BLOB_ARRAY** ppValues) {
  const AllocationsPause pause;
  Call call(
      "CadesMsgGetCertificateValues(%s, %u)", state().nameOf(hCryptMsg).c_str(), dwSignatureIndex);
  *ppValues = nullptr;
  const ToySigner* signer =
      signerAt(call, hCryptMsg, dwSignatureIndex, "CadesMsgGetCertificateValues");
  if (signer == nullptr || call.givesNothing()) {
    return signer == nullptr ? FALSE : TRUE;
  }
  auto object = std::make_unique<BlobsObject>();
  for (const ToyCertificate& certificate : signer->certificateValues) {
    object->values.push_back(bytesOf(certificate.encoded()));
  }
  for (Bytes& value : object->values) {
    object->blobs.push_back({static_cast<DWORD>(value.size()), value.data()});
  }
  object->array = {static_cast<DWORD>(object->blobs.size()), object->blobs.data()};
  CADES_BLOB_ARRAY* array = &object->array;
  state().give(std::move(object), array, "blobs");
  *ppValues = call.handsOut(array);
  return TRUE;
}

BOOL CadesFreeBlobArray(CADES_BLOB_ARRAY* pBlobArray) {
  const AllocationsPause pause;
  Call call("CadesFreeBlobArray(%s)", state().nameOf(pBlobArray).c_str());
  const bool fails = call.fails();
  state().takeBack(pBlobArray, "CadesFreeBlobArray");
  return fails ? FALSE : TRUE;
}
