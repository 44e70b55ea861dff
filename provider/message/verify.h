#ifndef QX_PROVIDER_MESSAGE_VERIFY_H_
#define QX_PROVIDER_MESSAGE_VERIFY_H_

#include <string_view>

#include "platform/cert.h"

#include "provider/key/shared_keys.h"
#include "provider/message/content.h"
#include "provider/message/signer_info.h"
#include "provider/result.h"

namespace qx {

/// checkContentType tells whether the signer has signed that the content is of this type.
/// CRYPT_E_AUTH_ATTR_MISSING: he says nothing about it; NTE_BAD_SIGNATURE: he signed another type;
/// CRYPT_E_ASN1_... for a malformed attribute.
Result<void> checkContentType(const SignerInfo& signer, std::string_view contentType);

/// verifySigner proves a signer's signature over the content with his public key (RFC 5652, 5.6).
/// NTE_BAD_SIGNATURE: the signature, or the signed content type, is another; CRYPT_E_HASH_VALUE: the
/// signed messageDigest is; CRYPT_E_AUTH_ATTR_MISSING: there is none, or content other than plain data
/// has no signed attributes; CRYPT_E_UNKNOWN_ALGO, NTE_BAD_ALGID: the algorithms are unknown, broken or
/// do not fit the key.
Result<void> verifySigner(const SignerInfo& signer,
                          std::string_view contentType,
                          MessageContent& content,
                          const PublicKey& key);

/// verifyBareHash does the same for a signer who signed with nothing but the hash.
Result<void> verifyBareHash(const SignerInfo& signer,
                            std::string_view contentType,
                            MessageContent& content);

/// publicKeyOf reads a caller's record. CRYPT_E_ASN1_EOD when it holds no key, CRYPT_E_ASN1_BADTAG when
/// that is malformed, NTE_BAD_ALGID for a kind of key that we do not know.
Result<PublicKeyPtr> publicKeyOf(const CERT_PUBLIC_KEY_INFO& info);

}  // namespace qx

#endif
