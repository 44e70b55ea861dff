#include "provider/der/oid.h"

#include <string>

#include <gtest/gtest.h>
#include <openssl/objects.h>

#include "provider/openssl/owned.h"
#include "tests/provider/der/hex.h"

namespace qx::der::oid_test {
namespace {

using test::fromHex;
using test::toHex;

TEST(DerOid, AgreesWithLibcryptoInBothDirections) {
  for (const char* dotted : {"1.2.840.113549.1.7.2",
                             "1.2.643.7.1.1.1.1",
                             "2.5.4.3",
                             "0.9.2342.19200300.100.1.25",
                             "2.999.3",
                             "0.0",
                             "0.39",
                             "1.39.4294967296",
                             "2.47.0",
                             "2.16.840.1.101.3.4.2.1"}) {
    const Asn1ObjectPtr object(OBJ_txt2obj(dotted, 1));
    ASSERT_NE(object, nullptr);
    const Bytes content(OBJ_get0_data(object.get()), OBJ_length(object.get()));
    const auto encoded = oidFromText(dotted);
    ASSERT_TRUE(encoded) << dotted;
    EXPECT_EQ(toHex(*encoded), toHex(content)) << dotted;
    const auto decoded = oidToText(content);
    ASSERT_TRUE(decoded) << dotted;
    EXPECT_EQ(*decoded, dotted);
  }
}

TEST(DerOid, KeepsTheLargestArcThatFits) {
  const std::string dotted = "1.2.18446744073709551615";
  const auto encoded = oidFromText(dotted);
  ASSERT_TRUE(encoded);
  EXPECT_EQ(*oidToText(*encoded), dotted);
}

TEST(DerOid, RefusesTextThatIsNoOid) {
  for (const char* text : {"",
                           "1",
                           ".",
                           "1.",
                           ".1.2",
                           "1..2",
                           "1.2.",
                           "1.2.x",
                           "1.2 ",
                           "-1.2",
                           "+1.2",
                           "1.+2",
                           "3.1",
                           "1.40",
                           "0.40.1",
                           "01.2",
                           "1.02",
                           "1.2.18446744073709551616",
                           "2.18446744073709551615"}) {
    EXPECT_EQ(oidFromText(text).error(), CRYPT_E_OID_FORMAT) << text;
  }
}

TEST(DerOid, RefusesContentThatIsNoOid) {
  for (const char* content : {"", "2a80", "2a8001", "80", "2affffffffffffffffff7f"}) {
    const auto bytes = fromHex(content);
    EXPECT_EQ(oidToText(bytes).error(), CRYPT_E_ASN1_CORRUPT) << content;
  }
}

}  // namespace
}  // namespace qx::der::oid_test
