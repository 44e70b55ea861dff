#ifndef QX_PROVIDER_CADES_ADD_ENHANCED_H_
#define QX_PROVIDER_CADES_ADD_ENHANCED_H_

#include "platform/crypt_msg.h"

#include "provider/cades/time_stamp_service.h"
#include "provider/message/content.h"
#include "provider/message/signed_data.h"
#include "provider/result.h"

namespace qx {

/// addEnhanced signs the content of a message for one more signer and makes his signature one of CAdES-X
/// Long type 1. The message stays as it was when anything fails. Errors: those of BesSigner::make,
/// SignerRequest::copy, SignedData::newSigner and enhancedSigner.
Result<void> addEnhanced(SignedData& message,
                         MessageContent& content,
                         const CMSG_SIGNER_ENCODE_INFO& record,
                         TimeStampService& service);

}  // namespace qx

#endif
