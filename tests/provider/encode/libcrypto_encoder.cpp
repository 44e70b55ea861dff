#include "tests/provider/encode/libcrypto_encoder.h"

#include <gtest/gtest.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include "provider/openssl/owned.h"

namespace qx::test {
namespace {

template <class Object, class Encode>
std::vector<std::uint8_t> encodeWith(Encode encode, const Object* object) {
  unsigned char* der = nullptr;
  const int size = encode(object, &der);
  EXPECT_GT(size, 0);
  const OpensslBytes owner(der);
  return {der, der + size};
}

}  // namespace

std::vector<std::uint8_t> encodedInteger(const char* decimal) {
  BIGNUM* number = nullptr;
  EXPECT_NE(BN_dec2bn(&number, decimal), 0);
  const BigNumPtr owner(number);
  const Asn1IntegerPtr integer(BN_to_ASN1_INTEGER(number, nullptr));
  return encodeWith(i2d_ASN1_INTEGER, integer.get());
}

std::vector<std::uint8_t> encodedOid(const char* dotted) {
  const Asn1ObjectPtr oid(OBJ_txt2obj(dotted, /*no_name=*/1));
  return encodeWith(i2d_ASN1_OBJECT, oid.get());
}

std::vector<std::uint8_t> encodedTime(std::time_t seconds) {
  const Asn1TimePtr time(ASN1_TIME_set(nullptr, seconds));
  return encodeWith(i2d_ASN1_TIME, time.get());
}

std::vector<std::uint8_t> encodedSha256Algorithm() {
  const X509AlgorPtr algorithm(X509_ALGOR_new());
  EXPECT_EQ(X509_ALGOR_set0(algorithm.get(), OBJ_nid2obj(NID_sha256), V_ASN1_NULL, nullptr), 1);
  return encodeWith(i2d_X509_ALGOR, algorithm.get());
}

}  // namespace qx::test
