#include "provider/message/attributes.h"

#include <gtest/gtest.h>

#include "provider/message/limits.h"
#include "tests/provider/der/hex.h"

namespace qx::attributes_test {
namespace {

using test::fromHex;
using test::toHex;

const std::string kOne = "300a06032a03043103020104";
const std::string kTwo = "300d06032a03053106020101020102";

TEST(Attributes, AreReadInTheirOrderWithTheirValues) {
  const auto content = fromHex(kTwo + kOne);
  const auto attributes = readAttributes(content);
  ASSERT_TRUE(attributes);
  ASSERT_EQ(attributes->size(), 2U);
  EXPECT_EQ(attributes->front().oid, "1.2.3.5");
  ASSERT_EQ(attributes->front().values.size(), 2U);
  EXPECT_EQ(toHex(attributes->front().values[1]), "020102");
  EXPECT_EQ(toHex(attributes->back().whole), kOne);
  EXPECT_EQ(findAttribute(*attributes, "1.2.3.4"), &attributes->back());
  EXPECT_EQ(findAttribute(*attributes, "1.2.3"), nullptr);
}

TEST(Attributes, MayBeNoneAndMayHaveNoValues) {
  EXPECT_TRUE(readAttributes({})->empty());
  const auto empty = fromHex("3007 06032a0304 3100");
  EXPECT_TRUE(readAttribute(empty)->values.empty());
}

TEST(Attributes, ShowWhenATypeIsRepeated) {
  const auto distinct = fromHex(kOne + kTwo);
  EXPECT_FALSE(hasRepeatedType(*readAttributes(distinct)));
  const auto repeated = fromHex(kOne + kTwo + kOne);
  EXPECT_TRUE(hasRepeatedType(*readAttributes(repeated)));
}

TEST(Attributes, AreRefusedWhenMalformed) {
  for (const char* hex : {"3000",
                          "0500",
                          "3005 06032a0304",
                          "3007 06032a0304 3000",
                          "3009 06032a0304 3100 0500",
                          "3006 0602 2a80 3100",
                          "300a 06032a0304 3103 020204",
                          "300a 06032a0304 3104 020104"}) {
    EXPECT_FALSE(readAttributes(fromHex(hex))) << hex;
  }
  EXPECT_EQ(readAttribute(fromHex(kOne + "00")).error(), CRYPT_E_ASN1_CORRUPT);
}

TEST(Attributes, AreLimitedInNumber) {
  std::string hex;
  for (std::size_t i = 0; i < kMaxAttributes; ++i) {
    hex += kOne;
  }
  EXPECT_TRUE(readAttributes(fromHex(hex)));
  EXPECT_EQ(readAttributes(fromHex(hex + kOne)).error(), CRYPT_E_ASN1_LARGE);
}

TEST(Attributes, AreEncodedWithSortedValues) {
  const auto small = fromHex("020101");
  const auto large = fromHex("020102");
  EXPECT_EQ(toHex(*encodeAttribute("1.2.3.5", {large, small})), kTwo);
  EXPECT_EQ(toHex(*encodeAttribute("1.2.3.4", {})), "300706032a03043100");
  EXPECT_EQ(encodeAttribute("no oid", {}).error(), CRYPT_E_OID_FORMAT);
}

}  // namespace
}  // namespace qx::attributes_test
