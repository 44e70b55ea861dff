#include "tests/provider/name/der_name.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/objects.h>

#include "provider/openssl/owned.h"

namespace qx::test {
namespace {

std::string encodedOid(const char* dotted) {
  const Asn1ObjectPtr oid(OBJ_txt2obj(dotted, /*no_name=*/1));
  unsigned char* der = nullptr;
  const int size = i2d_ASN1_OBJECT(oid.get(), &der);
  const OpensslBytes owner(der);
  return {der, der + size};
}

}  // namespace

std::string encodedElement(int identifier, std::string_view content) {
  EXPECT_LT(content.size(), 128U);
  return std::string{static_cast<char>(identifier), static_cast<char>(content.size())}.append(
      content);
}

DerName::DerName(std::initializer_list<Attribute> attributes) {
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

}  // namespace qx::test
