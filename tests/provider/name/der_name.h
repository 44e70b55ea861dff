#ifndef QX_TESTS_PROVIDER_NAME_DER_NAME_H_
#define QX_TESTS_PROVIDER_NAME_DER_NAME_H_

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/objects.h>

#include "provider/openssl/owned.h"

namespace qx::test {

/// encodedElement is one DER element of fewer than 128 octets.
inline std::string encodedElement(int identifier, std::string_view content) {
  EXPECT_LT(content.size(), 128U);
  return std::string{static_cast<char>(identifier), static_cast<char>(content.size())}.append(
      content);
}

/// DerName is an encoded name, made attribute by attribute. It is written by hand because libcrypto
/// refuses to write the values that are no valid text.
class DerName {
 public:
  struct Attribute {
    const char* oid;
    int type;  ///< V_ASN1_..., which is the tag of the value
    std::string_view octets;
    bool sameRdn = false;  ///< joins the attribute before
  };

  DerName(std::initializer_list<Attribute> attributes) {
    std::vector<std::string> rdns;
    for (const Attribute& attribute : attributes) {
      if (!attribute.sameRdn) {
        rdns.emplace_back();
      }
      rdns.back() += encodedElement(
          0x30, encodedOid(attribute.oid) + encodedElement(attribute.type, attribute.octets));
    }
    std::string content;
    for (const std::string& rdn : rdns) {
      content += encodedElement(0x31, rdn);
    }
    const std::string whole = encodedElement(0x30, content);
    der_.assign(whole.begin(), whole.end());
  }

  const std::vector<std::uint8_t>& der() const { return der_; }

 private:
  static std::string encodedOid(const char* dotted) {
    const Asn1ObjectPtr oid(OBJ_txt2obj(dotted, /*no_name=*/1));
    unsigned char* der = nullptr;
    const int size = i2d_ASN1_OBJECT(oid.get(), &der);
    const OpensslBytes owner(der);
    return {der, der + size};
  }

  std::vector<std::uint8_t> der_;
};

}  // namespace qx::test

#endif
