#ifndef QX_PROVIDER_CADES_SIGNATURE_KIND_H_
#define QX_PROVIDER_CADES_SIGNATURE_KIND_H_

#include "provider/message/signer_info.h"

namespace qx {

/// isXLongType1 tells whether a signer has all unsigned attributes that make CAdES-X Long type 1: time
/// stamps over the signature and over the whole, references and values. What is in them is not looked at.
bool isXLongType1(const SignerInfo& signer);

/// isEnhanced tells whether he has any of them.
bool isEnhanced(const SignerInfo& signer);

}  // namespace qx

#endif
