#include "provider/cades/add_enhanced.h"

#include <utility>

#include "provider/cades/bes_signer.h"
#include "provider/cades/enhance.h"
#include "provider/cades/material.h"

namespace qx {

Result<void> addEnhanced(SignedData& message,
                         MessageContent& content,
                         const CMSG_SIGNER_ENCODE_INFO& record,
                         TimeStampService& service) {
  const Result<BesSigner> completed =
      BesSigner::make(record, certificatesOf(message.certificates()));
  if (!completed) {
    return completed.failure();
  }
  const Result<SignerRequest> request =
      SignerRequest::copy(reinterpret_cast<const CMSG_SIGNER_ENCODE_INFO&>(completed->record()));
  if (!request) {
    return request.failure();
  }
  const Result<SignerInfo> signer = message.newSigner(*request, content);
  if (!signer) {
    return signer.failure();
  }
  Network network;
  Result<SignerInfo> enhanced =
      enhancedSigner(message, *signer, completed->certificate(), service, network);
  if (!enhanced) {
    return enhanced.failure();
  }
  message.addSigner(*std::move(enhanced));
  return {};
}

}  // namespace qx
