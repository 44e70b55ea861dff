#ifndef QX_TESTS_PROVIDER_CADES_LIBCRYPTO_SIGNER_H_
#define QX_TESTS_PROVIDER_CADES_LIBCRYPTO_SIGNER_H_

#include <string_view>

#include <openssl/cms.h>

#include "provider/openssl/owned.h"
#include "tests/provider/message/messages.h"

namespace qx::test {

/// LibcryptoSigner is the first signer of a message as libcrypto reads it.
class LibcryptoSigner {
 public:
  explicit LibcryptoSigner(const Octets& message);

  Octets signature() const;

  /// The only value of an unsigned attribute.
  Octets unsignedValue(std::string_view type) const;

  /// The attribute as libcrypto writes it, without identifier and length of the SEQUENCE.
  Octets unsignedAttributeWithoutHeader(std::string_view type) const;

 private:
  X509_ATTRIBUTE* find(std::string_view type) const;

  OpensslOwner<CMS_ContentInfo, CMS_ContentInfo_free> message_;
  CMS_SignerInfo* signer_ = nullptr;
};

}  // namespace qx::test

#endif
