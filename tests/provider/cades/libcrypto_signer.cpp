#include "tests/provider/cades/libcrypto_signer.h"

#include <stdexcept>
#include <string>

namespace qx::test {
namespace {

Octets takeOver(unsigned char* bytes, int length) {
  const OpensslOwner<void, freeOpensslMemory> owned(bytes);
  return length > 0 ? Octets(bytes, bytes + length) : Octets();
}

}  // namespace

LibcryptoSigner::LibcryptoSigner(const Octets& message) {
  const unsigned char* next = message.data();
  message_.reset(d2i_CMS_ContentInfo(nullptr, &next, static_cast<long>(message.size())));
  if (message_ == nullptr) {
    throw std::runtime_error("libcrypto does not read the message");
  }
  signer_ = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message_.get()), 0);
}

Octets LibcryptoSigner::signature() const {
  const ASN1_OCTET_STRING* octets = CMS_SignerInfo_get0_signature(signer_);
  return {ASN1_STRING_get0_data(octets),
          ASN1_STRING_get0_data(octets) + ASN1_STRING_length(octets)};
}

X509_ATTRIBUTE* LibcryptoSigner::find(std::string_view type) const {
  const std::string text(type);
  const OpensslOwner<ASN1_OBJECT, ASN1_OBJECT_free> object(OBJ_txt2obj(text.c_str(), 1));
  const int at = CMS_unsigned_get_attr_by_OBJ(signer_, object.get(), -1);
  if (at < 0) {
    throw std::runtime_error("no attribute " + text);
  }
  return CMS_unsigned_get_attr(signer_, at);
}

Octets LibcryptoSigner::unsignedValue(std::string_view type) const {
  X509_ATTRIBUTE* attribute = find(type);
  if (X509_ATTRIBUTE_count(attribute) != 1) {
    throw std::runtime_error("not one value");
  }
  unsigned char* bytes = nullptr;
  const int length = i2d_ASN1_TYPE(X509_ATTRIBUTE_get0_type(attribute, 0), &bytes);
  return takeOver(bytes, length);
}

Octets LibcryptoSigner::unsignedAttributeWithoutHeader(std::string_view type) const {
  unsigned char* bytes = nullptr;
  const int length = i2d_X509_ATTRIBUTE(find(type), &bytes);
  const Octets whole = takeOver(bytes, length);
  const unsigned char* content = whole.data();
  long size = 0;
  int tag = 0;
  int tagClass = 0;
  ASN1_get_object(&content, &size, &tag, &tagClass, static_cast<long>(whole.size()));
  return {content, content + size};
}

}  // namespace qx::test
