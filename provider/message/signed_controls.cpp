#include "provider/message/signed_controls.h"

#include <algorithm>
#include <iterator>

#include "platform/cert_chain.h"
#include "platform/crypt_msg.h"

#include "provider/der/blob.h"
#include "provider/message/verify.h"

namespace qx {
namespace {

Result<void> verifyWith(DecodedSigned& message,
                        const SignerInfo& signer,
                        const CERT_PUBLIC_KEY_INFO& info) {
  const Result<PublicKeyPtr> key = publicKeyOf(info);
  if (!key) {
    return key.failure();
  }
  return verifySigner(signer, message.data().contentInfo().type, message.content(), **key);
}

Result<void> verifyWith(DecodedSigned& message,
                        const SignerInfo& signer,
                        const CERT_CONTEXT* certificate) {
  if (certificate == nullptr || certificate->pCertInfo == nullptr) {
    return fail(E_INVALIDARG);
  }
  const CERT_INFO& info = *certificate->pCertInfo;
  if (Result<void> good = verifyWith(message, signer, info.SubjectPublicKeyInfo); !good) {
    return good;
  }
  // His key, but not the certificate that the message names: nothing is proved about this one.
  const bool named = signer.id().isKeyId() || namesSigner(info, signer.id());
  return named ? Result<void>{} : fail(CRYPT_E_SIGNER_NOT_FOUND);
}

// The certificate that a chain was built for.
const CERT_CONTEXT* endCertificate(const CERT_CHAIN_CONTEXT* chain) {
  const bool hasElement = chain != nullptr && chain->cChain > 0 && chain->rgpChain[0]->cElement > 0;
  return hasElement ? chain->rgpChain[0]->rgpElement[0]->pCertContext : nullptr;
}

Result<void> verifySignature(DecodedSigned& message, const CERT_INFO& info) {
  const std::vector<SignerInfo>& signers = message.data().signers();
  const auto signer = std::ranges::find_if(
      signers, [&info](const SignerInfo& candidate) { return namesSigner(info, candidate.id()); });
  if (signer == signers.end()) {
    return fail(CRYPT_E_SIGNER_NOT_FOUND);
  }
  return verifyWith(message, *signer, info.SubjectPublicKeyInfo);
}

Result<void> verifySignatureEx(DecodedSigned& message,
                               const CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA& para) {
  if (para.cbSize < sizeof para) {
    return fail(E_INVALIDARG);
  }
  const Result<const SignerInfo*> signer = message.data().signer(para.dwSignerIndex);
  if (!signer) {
    return signer.failure();
  }
  if ((para.pvSigner == nullptr) != (para.dwSignerType == CMSG_VERIFY_SIGNER_NULL)) {
    return fail(E_INVALIDARG);
  }
  switch (para.dwSignerType) {
    case CMSG_VERIFY_SIGNER_PUBKEY:
      return verifyWith(
          message, **signer, *static_cast<const CERT_PUBLIC_KEY_INFO*>(para.pvSigner));
    case CMSG_VERIFY_SIGNER_CERT:
      return verifyWith(message, **signer, static_cast<const CERT_CONTEXT*>(para.pvSigner));
    case CMSG_VERIFY_SIGNER_CHAIN:
      return verifyWith(
          message, **signer, endCertificate(static_cast<const CERT_CHAIN_CONTEXT*>(para.pvSigner)));
    case CMSG_VERIFY_SIGNER_NULL:
      return verifyBareHash(**signer, message.data().contentInfo().type, message.content());
    default:
      return fail(E_INVALIDARG);
  }
}

Result<void> addSigner(DecodedSigned& message, const CMSG_SIGNER_ENCODE_INFO& info) {
  const Result<SignerRequest> request = SignerRequest::copy(info);
  return request ? message.data().addSigner(*request, message.content()) : request.failure();
}

Result<void> addUnsigned(DecodedSigned& message,
                         const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA& para) {
  if (para.cbSize < sizeof para) {
    return fail(E_INVALIDARG);
  }
  return message.data().addUnsignedAttribute(para.dwSignerIndex, bytesOf(para.blob));
}

Result<void> removeUnsigned(DecodedSigned& message,
                            const CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA& para) {
  if (para.cbSize < sizeof para) {
    return fail(E_INVALIDARG);
  }
  return message.data().removeUnsignedAttribute(para.dwSignerIndex, para.dwUnauthAttrIndex);
}

Result<void> removeSigner(DecodedSigned& message, const DWORD& index) {
  return message.data().removeSigner(index);
}

Result<void> addCertificate(DecodedSigned& message, const CRYPT_DATA_BLOB& blob) {
  return message.data().addCertificate(bytesOf(blob));
}

Result<void> removeCertificate(DecodedSigned& message, const DWORD& index) {
  return message.data().removeCertificate(index);
}

Result<void> addCrl(DecodedSigned& message, const CRYPT_DATA_BLOB& blob) {
  return message.data().addCrl(bytesOf(blob));
}

Result<void> removeCrl(DecodedSigned& message, const DWORD& index) {
  return message.data().removeCrl(index);
}

// A control with its parameter still untyped.
template <class Para, Result<void> (*kWork)(DecodedSigned&, const Para&)>
Result<void> with(DecodedSigned& message, const void* para) {
  return kWork(message, *static_cast<const Para*>(para));
}

struct Control {
  DWORD type;
  Result<void> (*work)(DecodedSigned&, const void*);
};

constexpr Control kControls[] = {
    {CMSG_CTRL_VERIFY_SIGNATURE, with<CERT_INFO, verifySignature>},
    {CMSG_CTRL_VERIFY_SIGNATURE_EX, with<CMSG_CTRL_VERIFY_SIGNATURE_EX_PARA, verifySignatureEx>},
    {CMSG_CTRL_ADD_SIGNER, with<CMSG_SIGNER_ENCODE_INFO, addSigner>},
    {CMSG_CTRL_DEL_SIGNER, with<DWORD, removeSigner>},
    {CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, with<CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA, addUnsigned>},
    {CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, with<CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA, removeUnsigned>},
    {CMSG_CTRL_ADD_CERT, with<CRYPT_DATA_BLOB, addCertificate>},
    {CMSG_CTRL_DEL_CERT, with<DWORD, removeCertificate>},
    {CMSG_CTRL_ADD_CRL, with<CRYPT_DATA_BLOB, addCrl>},
    {CMSG_CTRL_DEL_CRL, with<DWORD, removeCrl>},
};

}  // namespace

Result<void> controlSigned(DecodedSigned& message, DWORD type, const void* para) {
  const auto* control = std::ranges::find(kControls, type, &Control::type);
  if (control == std::end(kControls)) {
    return fail(CRYPT_E_INVALID_MSG_TYPE);
  }
  return para == nullptr ? fail(E_INVALIDARG) : control->work(message, para);
}

}  // namespace qx
