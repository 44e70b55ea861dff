#include "provider/message/content_info.h"

#include <string>

#include <gtest/gtest.h>

#include "provider/message/oids.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/messages.h"

namespace qx::content_info_test {
namespace {

using test::fromHex;
using test::Octets;
using test::toHex;

const std::string kDataOid = "06092a864886f70d010701";
const std::string kOtherOid = "06032a0304";

Result<ContentInfo> readFrom(const Octets& bytes) {
  der::Reader reader(bytes);
  return readContentInfo(reader);
}

// The element inside; one of no octets when there is none.
der::Element contentOf(const ContentInfo& info) {
  return info.content.value_or(der::Element{});
}

TEST(ContentInfos, AreReadWithTheirTypeAndContent) {
  const Octets bytes = fromHex("3012 " + kDataOid + "a005 0403 616263 ffff");
  der::Reader reader(bytes);
  const Result<ContentInfo> info = readContentInfo(reader);
  ASSERT_TRUE(info);
  EXPECT_EQ(info->type, oids::kData);
  EXPECT_EQ(toHex(contentOf(*info).content), "616263");
  EXPECT_EQ(info->whole.data(), bytes.data());
  EXPECT_EQ(info->whole.size(), 20U);
  EXPECT_EQ(toHex(reader.rest()), "ffff") << "what stands behind it is left";
}

TEST(ContentInfos, MayHaveNoContent) {
  const Result<ContentInfo> info = readFrom(fromHex("300b" + kDataOid));
  ASSERT_TRUE(info);
  EXPECT_FALSE(info->content);
}

TEST(ContentInfos, AreReadInEachFormOfLength) {
  for (const std::string& hex :
       {"3080 " + kDataOid + "a080 0403 616263 0000 0000",
        "3080 " + kDataOid + "a005 0403 616263 0000",
        "308114 " + kDataOid + "a0820005 0403 616263",
        "3080 " + kDataOid + "a080 2480 0401 61 0402 6263 0000 0000 0000"}) {
    const Octets bytes = fromHex(hex);
    const Result<ContentInfo> info = readFrom(bytes);
    ASSERT_TRUE(info) << hex;
    EXPECT_EQ(info->whole.size(), bytes.size());
    MessageContent content;
    ASSERT_TRUE(loadContent(*info, /*detached=*/false, content)) << hex;
    Octets octets(content.size());
    content.writeTo(octets.data());
    EXPECT_EQ(toHex(octets), "616263") << hex;
  }
}

struct BadInfo {
  std::string hex;
  DWORD error;
};

TEST(ContentInfos, AreRefusedWhenMalformed) {
  const BadInfo cases[] = {
      {.hex = "", .error = CRYPT_E_ASN1_EOD},
      {.hex = "0500", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3000", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3002 0500", .error = CRYPT_E_ASN1_BADTAG},
      {.hex = "3002 0600", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3003 060180", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3007 " + kOtherOid + "a000", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3007 " + kOtherOid + "0500", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3007 " + kOtherOid + "a100", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3007 " + kOtherOid + "8000", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "300b " + kOtherOid + "a004 0500 0500", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "300b " + kOtherOid + "a002 0500 0500", .error = CRYPT_E_ASN1_CORRUPT},
      {.hex = "3009 " + kOtherOid + "a003 0500", .error = CRYPT_E_ASN1_EOD},
      {.hex = "3009 " + kOtherOid + "a002 0501", .error = CRYPT_E_ASN1_EOD},
  };
  for (const BadInfo& bad : cases) {
    EXPECT_EQ(readFrom(fromHex(bad.hex)).error(), bad.error) << bad.hex;
  }
}

TEST(ContentInfos, LoadTheOctetsThatAreHashed) {
  const std::pair<std::string, std::string> cases[] = {
      {"3012 " + kDataOid + "a005 0403 616263", "616263"},
      {"300f " + kDataOid + "a002 0400", ""},
      {"300b " + kDataOid, ""},
      // Of another type: a string's octets, or an element's without its header.
      {"300c " + kOtherOid + "a005 0403 616263", "616263"},
      {"300c " + kOtherOid + "a005 3003 020105", "020105"},
      {"3009 " + kOtherOid + "a002 0500", ""},
  };
  for (const auto& [hex, expected] : cases) {
    const Octets bytes = fromHex(hex);
    MessageContent content;
    ASSERT_TRUE(loadContent(*readFrom(bytes), /*detached=*/false, content)) << hex;
    EXPECT_TRUE(content.isComplete());
    Octets octets(content.size());
    content.writeTo(octets.data());
    EXPECT_EQ(toHex(octets), expected) << hex;
  }
}

TEST(ContentInfos, OfPlainDataNeedAString) {
  const Octets bytes = fromHex("3012 " + kDataOid + "a005 3003 020105");
  MessageContent content;
  EXPECT_EQ(loadContent(*readFrom(bytes), /*detached=*/false, content).error(),
            CRYPT_E_ASN1_BADTAG);
  const Octets broken = fromHex("3012 " + kDataOid + "a005 2403 020105");
  EXPECT_EQ(loadContent(*readFrom(broken), /*detached=*/false, content).error(),
            CRYPT_E_ASN1_BADTAG)
      << "a string of what is no string";
}

TEST(ContentInfos, OfDetachedContentHaveNone) {
  MessageContent content;
  const Octets without = fromHex("300b" + kDataOid);
  EXPECT_TRUE(loadContent(*readFrom(without), /*detached=*/true, content));
  EXPECT_FALSE(content.isComplete()) << "it is still to come";
  for (const std::string& inside :
       {"300f " + kDataOid + "a002 0400", "3012 " + kDataOid + "a005 0403 616263"}) {
    const Octets bytes = fromHex(inside);
    EXPECT_EQ(loadContent(*readFrom(bytes), /*detached=*/true, content).error(), CRYPT_E_MSG_ERROR)
        << inside;
  }
}

std::string put(const std::string& hex) {
  const Octets bytes = fromHex(hex);
  const ContentInfo info = *readFrom(bytes);
  MessageContent content;
  EXPECT_TRUE(loadContent(info, /*detached=*/false, content));
  Octets out(100);
  auto size = static_cast<DWORD>(out.size());
  ParamOutput output(out.data(), &size);
  EXPECT_TRUE(putContent(info, content, output));
  out.resize(size);
  return toHex(out);
}

TEST(ContentInfos, GiveAStringsOctetsAndOtherElementsWhole) {
  EXPECT_EQ(put("3012 " + kDataOid + "a005 0403 616263"), "616263");
  EXPECT_EQ(put("3014 " + kDataOid + "a007 2405 0401 61 0400"), "61");
  EXPECT_EQ(put("300c " + kOtherOid + "a005 3003 020105"), "3003020105");
  EXPECT_EQ(put("300b" + kDataOid), "");
}

TEST(ContentInfos, AreWrittenWithTheirContent) {
  EXPECT_EQ(toHex(encodeContentInfo(oids::kData, der::octetString(test::octets("abc")))->bytes()),
            "3012" + kDataOid + "a0050403616263");
  EXPECT_EQ(toHex(encodeContentInfo(oids::kData, {})->bytes()), "300b" + kDataOid);
  EXPECT_EQ(toHex(encodeContentInfo("1.2.3.4", der::null())->bytes()),
            "3009" + kOtherOid + "a0020500");
}

TEST(ContentInfos, AreWrittenWithoutTypeBeforeItIsKnown) {
  EXPECT_EQ(toHex(encodeContentInfo({}, {})->bytes()), "30020600");
  EXPECT_EQ(encodeContentInfo("no oid", {}).error(), CRYPT_E_OID_FORMAT);
}

TEST(ContentInfos, AreReadAsTheyWereWritten) {
  const Octets octets(70'000, 0x5A);
  const Octets bytes = encodeContentInfo(oids::kData, der::octetString(octets))->bytes();
  const Result<ContentInfo> info = readFrom(bytes);
  ASSERT_TRUE(info);
  EXPECT_TRUE(isString(contentOf(*info)));
  EXPECT_EQ(contentOf(*info).content.size(), octets.size());
}

}  // namespace
}  // namespace qx::content_info_test
