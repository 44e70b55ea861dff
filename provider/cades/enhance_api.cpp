#include <memory>
#include <string>

#include "platform/cades.h"

#include "provider/api.h"
#include "provider/cades/add_enhanced.h"
#include "provider/cades/enhance.h"
#include "provider/cades/sign_parameters.h"
#include "provider/chain/trust_stores.h"
#include "provider/message/decoded_signed.h"

namespace {

using qx::fail;
using qx::Result;
using qx::TimeStampService;

// Does the work with the message and the service that the caller means.
template <class Work>
Result<void> withService(HCRYPTMSG handle, const CADES_SIGN_PARA* parameters, const Work& work) {
  const Result<qx::DecodedSigned*> message = qx::decodedSigned(handle);
  if (!message) {
    return message.failure();
  }
  const Result<std::string> url = qx::timeStampUrl(parameters);
  if (!url) {
    return url.failure();
  }
  const Result<std::unique_ptr<TimeStampService>> service = qx::timeStampServiceAt(*url);
  const qx::OneLook look;  // the signer's chain and those of two stamps are judged
  return service ? work(**message, **service) : service.failure();
}

}  // namespace

BOOL CadesMsgEnhanceSignature(HCRYPTMSG hCryptMsg,
                              DWORD dwSignatureIndex,
                              CADES_SIGN_PARA* pCadesSignPara) {
  return qx::apiBool([&] {
    return withService(
        hCryptMsg, pCadesSignPara, [&](qx::DecodedSigned& message, TimeStampService& service) {
          return qx::enhance(message.data(), dwSignatureIndex, service);
        });
  });
}

BOOL CadesMsgEnhanceSignatureAll(HCRYPTMSG hCryptMsg, CADES_SIGN_PARA* pCadesSignPara) {
  return qx::apiBool([&] {
    return withService(
        hCryptMsg, pCadesSignPara, [](qx::DecodedSigned& message, TimeStampService& service) {
          return qx::enhanceAll(message.data(), service);
        });
  });
}

BOOL CadesMsgAddEnhancedSignature(HCRYPTMSG hCryptMsg, CADES_ENHANCED_SIGN_PARA* pPara) {
  return qx::apiBool([&]() -> Result<void> {
    if (pPara == nullptr || pPara->dwSize < sizeof *pPara || pPara->pSignerInfo == nullptr) {
      return fail(E_INVALIDARG);
    }
    return withService(hCryptMsg,
                       pPara->pCadesSignPara,
                       [&](qx::DecodedSigned& message, TimeStampService& service) {
                         return qx::addEnhanced(
                             message.data(), message.content(), *pPara->pSignerInfo, service);
                       });
  });
}
