#include "provider/der/tag.h"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include "tests/provider/der/hex.h"

namespace qx::der::tag_test {
namespace {

using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;

TEST(DerTag, HasTheNumbersOfTheUniversalTypes) {
  const std::pair<std::uint8_t, int> primitive[] = {{kBoolean, V_ASN1_BOOLEAN},
                                                    {kInteger, V_ASN1_INTEGER},
                                                    {kBitString, V_ASN1_BIT_STRING},
                                                    {kOctetString, V_ASN1_OCTET_STRING},
                                                    {kNull, V_ASN1_NULL},
                                                    {kOid, V_ASN1_OBJECT},
                                                    {kEnumerated, V_ASN1_ENUMERATED},
                                                    {kUtf8String, V_ASN1_UTF8STRING},
                                                    {kPrintableString, V_ASN1_PRINTABLESTRING},
                                                    {kIa5String, V_ASN1_IA5STRING},
                                                    {kUtcTime, V_ASN1_UTCTIME},
                                                    {kGeneralizedTime, V_ASN1_GENERALIZEDTIME}};
  for (const auto& [ours, theirs] : primitive) {
    EXPECT_EQ(ours, theirs);
  }
  EXPECT_EQ(kSequence, V_ASN1_SEQUENCE | V_ASN1_CONSTRUCTED);
  EXPECT_EQ(kSet, V_ASN1_SET | V_ASN1_CONSTRUCTED);
}

TEST(DerTag, MakesContextTags) {
  for (unsigned n = 0; n < 31; ++n) {
    EXPECT_EQ(contextTag(n), V_ASN1_CONTEXT_SPECIFIC | n);
    EXPECT_EQ(contextConstructed(n), V_ASN1_CONTEXT_SPECIFIC | V_ASN1_CONSTRUCTED | n);
    EXPECT_EQ(contextConstructed(n) & kClassMask, kContextClass);
    EXPECT_EQ(contextConstructed(n) & kTagNumberMask, n);
  }
}

TEST(DerKey, ComparesBytesAsNumbersWithoutASign) {
  const Octets low = fromHex("7f");
  const Octets high = fromHex("80");
  const Octets longer = fromHex("7f00");
  EXPECT_LT(asKey(low), asKey(high));
  EXPECT_LT(asKey(low), asKey(longer));
  EXPECT_LT(asKey(longer), asKey(high));
  EXPECT_EQ(asKey(low), asKey(Octets(low)));
  EXPECT_NE(asKey({}), asKey(low));
}

TEST(DerKey, KeepsZeroOctets) {
  const Octets one = fromHex("00");
  const Octets two = fromHex("0000");
  std::map<std::string_view, int> map;
  map[asKey({})] = 0;
  map[asKey(one)] = 1;
  map[asKey(two)] = 2;
  EXPECT_EQ(map.size(), 3U);
  EXPECT_EQ(map.at(asKey(Octets(two))), 2);
}

TEST(DerCopy, WritesTheBytesAndTellsThePlaceBehindThem) {
  Octets out(6, 0xEE);
  std::uint8_t* next = copyTo(out.data() + 1, fromHex("010203"));
  EXPECT_EQ(next, out.data() + 4);
  EXPECT_EQ(toHex(out), "ee010203eeee");
  EXPECT_EQ(copyTo(next, {}), next);
  EXPECT_EQ(toHex(out), "ee010203eeee");
}

TEST(DerCopy, OfNothingNeedsNoPlace) {
  EXPECT_EQ(copyTo(nullptr, {}), nullptr);
}

TEST(DerCopy, WritesEverySizeWhole) {
  for (std::size_t size = 0; size < 300; ++size) {
    Octets from(size);
    for (std::size_t i = 0; i < size; ++i) {
      from[i] = static_cast<std::uint8_t>(i * 31);
    }
    Octets out(size + 1, 0xEE);
    EXPECT_EQ(copyTo(out.data(), from), out.data() + size);
    EXPECT_EQ(out.back(), 0xEE);
    out.pop_back();
    EXPECT_EQ(out, from);
  }
}

}  // namespace
}  // namespace qx::der::tag_test
