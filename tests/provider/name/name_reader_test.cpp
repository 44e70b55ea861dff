#include "provider/name/name_reader.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include "provider/der/oid.h"
#include "provider/openssl/owned.h"
#include "tests/provider/name/der_name.h"

namespace qx::name_reader_test {
namespace {

using test::DerName;
using test::encodedElement;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kCn = "2.5.4.3";
constexpr const char* kO = "2.5.4.10";
constexpr int kUtf8 = V_ASN1_UTF8STRING;
constexpr int kPrintable = V_ASN1_PRINTABLESTRING;

std::string textOf(der::Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(NameReader, GivesAttributesInTheirOrder) {
  const DerName name = {{kO, kPrintable, "Bank"},
                        {kCn, kUtf8, "Ivan"},
                        {"1.2.643.100.1", V_ASN1_NUMERICSTRING, "123", /*sameRdn=*/true},
                        {kCn, V_ASN1_IA5STRING, "twice"}};
  const auto read = readName(name.der());
  ASSERT_TRUE(read);
  ASSERT_THAT(*read, SizeIs(4));
  const std::pair<const char*, const char*> expected[] = {
      {kO, "Bank"}, {kCn, "Ivan"}, {"1.2.643.100.1", "123"}, {kCn, "twice"}};
  const bool starts[] = {true, true, false, true};
  for (std::size_t i = 0; i < read->size(); ++i) {
    EXPECT_EQ(*der::oidToText((*read)[i].oid), expected[i].first);
    EXPECT_EQ(textOf((*read)[i].value), expected[i].second);
    EXPECT_EQ((*read)[i].startsRdn, starts[i]) << i;
  }
}

TEST(NameReader, LeadsIntoTheBytesThatItRead) {
  const DerName name = {{kCn, kUtf8, "Ivan"}, {kO, kUtf8, ""}};
  const std::uint8_t* begin = name.der().data();
  const std::uint8_t* end = begin + name.der().size();
  const auto read = readName(name.der());
  ASSERT_TRUE(read);
  for (const NameAttribute& attribute : *read) {
    EXPECT_GE(attribute.oid.data(), begin);
    EXPECT_GE(attribute.value.data(), begin);
    EXPECT_LE(attribute.value.data() + attribute.value.size(), end);
  }
}

TEST(NameReader, ReadsAnEmptyName) {
  const auto read = readName(std::array<std::uint8_t, 2>{0x30, 0x00});
  ASSERT_TRUE(read);
  EXPECT_THAT(*read, IsEmpty());
}

struct TypeCase {
  int tag;
  DWORD type;
};

class NameValueTypes : public ::testing::TestWithParam<TypeCase> {};

INSTANTIATE_TEST_SUITE_P(
    Strings,
    NameValueTypes,
    ::testing::Values(TypeCase{V_ASN1_OCTET_STRING, CERT_RDN_OCTET_STRING},
                      TypeCase{V_ASN1_UTF8STRING, CERT_RDN_UTF8_STRING},
                      TypeCase{V_ASN1_NUMERICSTRING, CERT_RDN_NUMERIC_STRING},
                      TypeCase{V_ASN1_PRINTABLESTRING, CERT_RDN_PRINTABLE_STRING},
                      TypeCase{V_ASN1_T61STRING, CERT_RDN_T61_STRING},
                      TypeCase{V_ASN1_VIDEOTEXSTRING, CERT_RDN_VIDEOTEX_STRING},
                      TypeCase{V_ASN1_IA5STRING, CERT_RDN_IA5_STRING},
                      TypeCase{V_ASN1_GRAPHICSTRING, CERT_RDN_GRAPHIC_STRING},
                      TypeCase{V_ASN1_VISIBLESTRING, CERT_RDN_VISIBLE_STRING},
                      TypeCase{V_ASN1_GENERALSTRING, CERT_RDN_GENERAL_STRING},
                      TypeCase{V_ASN1_UNIVERSALSTRING, CERT_RDN_UNIVERSAL_STRING},
                      TypeCase{V_ASN1_BMPSTRING, CERT_RDN_BMP_STRING}));

TEST_P(NameValueTypes, AreToldByTheirTagsAndKeepTheirOctets) {
  const DerName name = {{kCn, GetParam().tag, std::string_view("\0A\0B", 4)}};
  const auto read = readName(name.der());
  ASSERT_TRUE(read);
  ASSERT_THAT(*read, SizeIs(1));
  EXPECT_EQ(read->front().valueType, GetParam().type);
  EXPECT_EQ(textOf(read->front().value), std::string("\0A\0B", 4));
}

TEST_P(NameValueTypes, AreTextExceptForOctets) {
  const DerName name = {{kCn, GetParam().tag, std::string_view("\0\0\0A", 4)}};
  const auto read = readName(name.der());
  ASSERT_TRUE(read);
  const auto text = valueText(read->front());
  if (GetParam().type == CERT_RDN_OCTET_STRING) {
    EXPECT_EQ(text.error(), CRYPT_E_NOT_CHAR_STRING);
    return;
  }
  ASSERT_TRUE(text);
  // Four, two or one octets a character.
  std::wstring expected(L"\0\0\0A", 4);
  if (GetParam().type == CERT_RDN_UNIVERSAL_STRING) {
    expected = L"A";
  } else if (GetParam().type == CERT_RDN_BMP_STRING) {
    expected.assign(L"\0A", 2);
  }
  EXPECT_EQ(*text, expected);
}

TEST(NameReader, GivesTheWholeOfAValueThatIsNoString) {
  for (const int tag :
       {V_ASN1_BOOLEAN, V_ASN1_INTEGER, V_ASN1_OBJECT, V_ASN1_UTCTIME, 0x30, 0x80}) {
    const DerName name = {{kCn, tag, "\x01"}};
    const auto read = readName(name.der());
    ASSERT_TRUE(read) << tag;
    EXPECT_EQ(read->front().valueType, CERT_RDN_ENCODED_BLOB);
    EXPECT_EQ(textOf(read->front().value), encodedElement(tag, "\x01"));
    EXPECT_EQ(valueText(read->front()).error(), CRYPT_E_NOT_CHAR_STRING);
  }
}

struct BrokenName {
  const char* name;
  std::string der;
  DWORD error;
};

class BrokenNames : public ::testing::TestWithParam<BrokenName> {};

std::string attribute(const std::string& content) {
  return encodedElement(0x30, content);
}

std::string rdn(const std::string& content) {
  return encodedElement(0x31, content);
}

std::string whole(const std::string& content) {
  return encodedElement(0x30, content);
}

const std::string kGoodOid = std::string("\x06\x03\x55\x04\x03");
const std::string kGoodValue = std::string("\x0C\x01") + "A";

INSTANTIATE_TEST_SUITE_P(
    All,
    BrokenNames,
    ::testing::Values(
        BrokenName{"EmptyRdn", whole(rdn("")), CRYPT_E_ASN1_CORRUPT},
        BrokenName{"SequenceForRdn", whole(attribute(kGoodOid + kGoodValue)), CRYPT_E_ASN1_BADTAG},
        BrokenName{"NoAttributeInRdn", whole(rdn(kGoodOid + kGoodValue)), CRYPT_E_ASN1_BADTAG},
        BrokenName{"SetForAttribute", whole(rdn(rdn(kGoodOid + kGoodValue))), CRYPT_E_ASN1_BADTAG},
        BrokenName{"NoValue", whole(rdn(attribute(kGoodOid))), CRYPT_E_ASN1_EOD},
        BrokenName{"NoOid", whole(rdn(attribute(kGoodValue))), CRYPT_E_ASN1_BADTAG},
        BrokenName{"NothingInAttribute", whole(rdn(attribute(""))), CRYPT_E_ASN1_EOD},
        BrokenName{"ThreeMembers",
                   whole(rdn(attribute(kGoodOid + kGoodValue + kGoodValue))),
                   CRYPT_E_ASN1_CORRUPT},
        BrokenName{"EmptyOid",
                   whole(rdn(attribute(std::string("\x06\x00", 2) + kGoodValue))),
                   CRYPT_E_ASN1_CORRUPT},
        BrokenName{"SomethingBehindTheName",
                   whole(rdn(attribute(kGoodOid + kGoodValue))) + std::string("\x05\x00", 2),
                   CRYPT_E_ASN1_CORRUPT},
        BrokenName{"SetForName", rdn(rdn(attribute(kGoodOid + kGoodValue))), CRYPT_E_ASN1_BADTAG},
        BrokenName{"SecondRdnBroken",
                   whole(rdn(attribute(kGoodOid + kGoodValue)) + rdn("")),
                   CRYPT_E_ASN1_CORRUPT},
        BrokenName{"SecondAttributeBroken",
                   whole(rdn(attribute(kGoodOid + kGoodValue) + attribute(""))),
                   CRYPT_E_ASN1_EOD}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_P(BrokenNames, AreRefused) {
  const auto read = readName(bytesOf(GetParam().der));
  EXPECT_EQ(read.error(), GetParam().error);
}

TEST(NameReader, TakesTheNameThatTheBrokenOnesAreMadeFrom) {
  const auto der = bytesOf(whole(rdn(attribute(kGoodOid + kGoodValue))));
  const auto read = readName(der);
  ASSERT_TRUE(read);
  EXPECT_EQ(textOf(read->front().value), "A");
}

TEST(ValueText, OfUtf16KnowsEveryWayThatASurrogateCanBeAlone) {
  const auto textOf16 = [](std::string_view octets) {
    const DerName name = {{kCn, V_ASN1_BMPSTRING, octets}};
    return valueText(readName(name.der())->front());
  };
  EXPECT_EQ(*textOf16(std::string_view("\xD8\x3D\xDE\x00", 4)), L"\U0001F600");
  EXPECT_EQ(*textOf16(std::string_view("\xDB\xFF\xDF\xFF", 4)), L"\U0010FFFF");
  EXPECT_EQ(*textOf16(std::string_view("\xD7\xFF\xE0\x00", 4)), L"\uD7FF\uE000");
  for (const std::string_view broken : {std::string_view("\xD8\x3D", 2),
                                        std::string_view("\xDE\x00", 2),
                                        std::string_view("\xD8\x3D\x00\x41", 4),
                                        std::string_view("\xD8\x3D\xD8\x3D", 4),
                                        std::string_view("\xDE\x00\xD8\x3D", 4),
                                        std::string_view("\xD8\x3D\xDE", 3),
                                        std::string_view("\x00", 1)}) {
    EXPECT_EQ(textOf16(broken).error(), CRYPT_E_NOT_CHAR_STRING);
  }
}

TEST(ValueText, OfUtf32KnowsWhatIsNoCharacter) {
  const auto textOf32 = [](std::string_view octets) {
    const DerName name = {{kCn, V_ASN1_UNIVERSALSTRING, octets}};
    return valueText(readName(name.der())->front());
  };
  EXPECT_EQ(*textOf32(std::string_view("\x00\x10\xFF\xFF\x00\x00\x00\x41", 8)), L"\U0010FFFFA");
  for (const std::string_view broken : {std::string_view("\x00\x11\x00\x00", 4),
                                        std::string_view("\x00\x00\xD8\x00", 4),
                                        std::string_view("\x00\x00\xDF\xFF", 4),
                                        std::string_view("\xFF\xFF\xFF\xFF", 4),
                                        std::string_view("\x00\x00\x41", 3),
                                        std::string_view("\x00\x00\x00\x41\x00", 5)}) {
    EXPECT_EQ(textOf32(broken).error(), CRYPT_E_NOT_CHAR_STRING);
  }
}

TEST(ValueText, OfTeletexIsUtf8WhereItCanBe) {
  const auto teletex = [](std::string_view octets) {
    const DerName name = {{kCn, V_ASN1_T61STRING, octets}};
    return *valueText(readName(name.der())->front());
  };
  EXPECT_EQ(teletex("\xD0\x96"), L"Ж");
  EXPECT_EQ(teletex("J\xF6rg"), L"Jörg");
  EXPECT_EQ(teletex("J\xC3\xB6rg"), L"Jörg");
  EXPECT_EQ(teletex(""), L"");
}

TEST(ValueText, OfOldTypesAgreesWithLibcryptoOnEveryOctet) {
  for (const int tag : {V_ASN1_IA5STRING, V_ASN1_VISIBLESTRING, V_ASN1_PRINTABLESTRING}) {
    for (int octet = 0; octet < 256; ++octet) {
      const char value = static_cast<char>(octet);
      const OpensslOwner<ASN1_STRING, ASN1_STRING_free> theirs(ASN1_STRING_type_new(tag));
      ASSERT_EQ(ASN1_STRING_set(theirs.get(), &value, 1), 1);
      unsigned char* utf8 = nullptr;
      const int size = ASN1_STRING_to_UTF8(&utf8, theirs.get());
      const OpensslBytes owner(utf8);
      ASSERT_GT(size, 0);
      unsigned long character = 0;
      ASSERT_EQ(UTF8_getc(utf8, size, &character), size);
      const DerName name = {{kCn, tag, std::string_view(&value, 1)}};
      const auto ours = valueText(readName(name.der())->front());
      ASSERT_TRUE(ours);
      EXPECT_EQ(*ours, std::wstring(1, static_cast<wchar_t>(character))) << octet;
    }
  }
}

}  // namespace
}  // namespace qx::name_reader_test
