#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/asn1.h>

#include "platform/cert.h"
#include "platform/errors.h"

#include "provider/openssl/owned.h"
#include "tests/provider/name/der_name.h"

namespace qx::test::name_to_str_test {
namespace {

using qx::test::DerName;
using OwnedString = qx::OpensslOwner<ASN1_STRING, ASN1_STRING_free>;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr int kPrintable = V_ASN1_PRINTABLESTRING;
constexpr int kUtf8 = V_ASN1_UTF8STRING;

constexpr const char* kCn = "2.5.4.3";
constexpr const char* kO = "2.5.4.10";
constexpr const char* kC = "2.5.4.6";

std::wstring render(std::vector<std::uint8_t> der, DWORD type) {
  CERT_NAME_BLOB blob = {.cbData = static_cast<DWORD>(der.size()), .pbData = der.data()};
  const DWORD needed = CertNameToStrW(kEncoding, &blob, type, nullptr, 0);
  std::wstring text(needed, L'?');
  EXPECT_EQ(CertNameToStrW(kEncoding, &blob, type, text.data(), needed), needed);
  EXPECT_EQ(text.back(), L'\0');
  text.pop_back();
  return text;
}

// How the one common name of a name comes out.
std::wstring renderValue(std::string_view octets, int type = kUtf8, DWORD flags = 0) {
  return render(DerName({{kCn, type, octets}}).der(), CERT_SIMPLE_NAME_STR | flags);
}

TEST(NameToStr, HasThreeForms) {
  const DerName name = {{kC, kPrintable, "US"}, {kO, kUtf8, "Bank"}, {"1.2.3", kUtf8, "x"}};
  EXPECT_EQ(render(name.der(), CERT_SIMPLE_NAME_STR), L"US, Bank, x");
  EXPECT_EQ(render(name.der(), 0), L"US, Bank, x");
  EXPECT_EQ(render(name.der(), CERT_OID_NAME_STR), L"2.5.4.6=US, 2.5.4.10=Bank, 1.2.3=x");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR), L"C=US, O=Bank, OID.1.2.3=x");
}

TEST(NameToStr, KnowsTheKeywords) {
  const std::vector<std::pair<const char*, std::wstring>> keywords = {
      {"2.5.4.3", L"CN"},
      {"2.5.4.7", L"L"},
      {"2.5.4.10", L"O"},
      {"2.5.4.11", L"OU"},
      {"2.5.4.6", L"C"},
      {"2.5.4.8", L"S"},
      {"2.5.4.9", L"STREET"},
      {"2.5.4.12", L"T"},
      {"2.5.4.42", L"G"},
      {"2.5.4.43", L"I"},
      {"2.5.4.4", L"SN"},
      {"0.9.2342.19200300.100.1.25", L"DC"},
      {"1.2.840.113549.1.9.1", L"E"},
      {"2.5.4.5", L"SERIALNUMBER"},
      {"1.2.643.100.1", L"OID.1.2.643.100.1"},
      {"1.2.643.3.131.1.1", L"OID.1.2.643.3.131.1.1"}};
  for (const auto& [oid, keyword] : keywords) {
    EXPECT_EQ(render(DerName({{oid, kPrintable, "1"}}).der(), CERT_X500_NAME_STR), keyword + L"=1");
  }
}

TEST(NameToStr, SeparatesAsTheFlagsSay) {
  const DerName name = {{kC, kPrintable, "US"},
                        {kCn, kPrintable, "a"},
                        {"2.5.4.5", kPrintable, "1", /*sameRdn=*/true}};
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR), L"C=US, CN=a + SERIALNUMBER=1");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_COMMA_FLAG),
            L"C=US, CN=a + SERIALNUMBER=1");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_SEMICOLON_FLAG),
            L"C=US; CN=a + SERIALNUMBER=1");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_CRLF_FLAG),
            L"C=US\r\nCN=a + SERIALNUMBER=1");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_NO_PLUS_FLAG),
            L"C=US, CN=a SERIALNUMBER=1");
}

TEST(NameToStr, ReversesTheRdnsButNotTheirInside) {
  const DerName name = {{kC, kPrintable, "US"},
                        {kCn, kPrintable, "a"},
                        {"2.5.4.5", kPrintable, "1", /*sameRdn=*/true},
                        {kO, kPrintable, "Bank"}};
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG),
            L"O=Bank, CN=a + SERIALNUMBER=1, C=US");
  EXPECT_EQ(render(name.der(), CERT_X500_NAME_STR | CERT_NAME_STR_FORWARD_FLAG),
            L"C=US, CN=a + SERIALNUMBER=1, O=Bank");
}

TEST(NameToStr, QuotesValuesThatCouldBeMisread) {
  for (const char* value :
       {" a", "a ", "a,b", "a+b", "a=b", "a\nb", "a\rb", "a<b", "a>b", "a#b", "a;b", ""}) {
    std::wstring expected = L"\"";
    expected.append(value, value + std::string_view(value).size());
    EXPECT_EQ(renderValue(value), expected + L"\"");
  }
  EXPECT_EQ(renderValue("1\"2"), L"\"1\"\"2\"");
}

TEST(NameToStr, LeavesOtherValuesUnquoted) {
  for (const char* value : {"a b", "a  b", "a'b", "a\\b", "a\\", "a/b:c(d)!?*&%$@|~`^[]{}_-."}) {
    EXPECT_EQ(renderValue(value), std::wstring(value, value + std::string_view(value).size()));
  }
  EXPECT_EQ(renderValue("\xD0\x96"), L"\u0416");
}

TEST(NameToStr, QuotesNothingWhenToldSo) {
  EXPECT_EQ(renderValue("a,\"b\"", kUtf8, CERT_NAME_STR_NO_QUOTING_FLAG), L"a,\"b\"");
  EXPECT_EQ(renderValue("", kUtf8, CERT_NAME_STR_NO_QUOTING_FLAG), L"");
}

// A reader ends at a NUL and takes a backslash before a quote for an escaped quote: the rest of such
// a value would be read as attributes that nobody signed.
TEST(NameToStr, RendersMisleadingValuesAsHex) {
  EXPECT_EQ(renderValue(std::string_view("a\0b", 3)), L"#610062");
  EXPECT_EQ(renderValue("a\\\"b"), L"#615C2262");
  // The quote that closes the value counts as well as one of its own.
  EXPECT_EQ(renderValue("a,\\"), L"#612C5C");
  EXPECT_EQ(renderValue("a\\\"b", kUtf8, CERT_NAME_STR_NO_QUOTING_FLAG), L"#615C2262");
  EXPECT_EQ(renderValue("a,\\", kUtf8, CERT_NAME_STR_NO_QUOTING_FLAG), L"a,\\");
}

// A reader that decodes \uXXXX takes such a value for another one, or for a shorter one.
TEST(NameToStr, RendersValuesWithEscapesAsHex) {
  EXPECT_EQ(renderValue(R"(\u0041)"), L"#5C7530303431");
  EXPECT_EQ(renderValue(R"(a,\u)"), L"#612C5C75");
  EXPECT_EQ(renderValue(R"(DOMAIN\user)"), L"#444F4D41494E5C75736572");
  EXPECT_EQ(renderValue(R"(\\u0041)"), L"#5C5C7530303431");
  EXPECT_EQ(renderValue(std::string_view("\0\\\0u", 4), V_ASN1_BMPSTRING), L"#005C0075");
  EXPECT_EQ(renderValue(R"(\u0041)", kUtf8, CERT_NAME_STR_NO_QUOTING_FLAG), L"#5C7530303431");
  EXPECT_EQ(renderValue(R"(\U0041 u\ \ u)"), L"\\U0041 u\\ \\ u");
}

TEST(NameToStr, RendersWhatIsNoValidTextAsHex) {
  EXPECT_EQ(renderValue(std::string_view("\xFF\xFE", 2)), L"#FFFE");
  EXPECT_EQ(renderValue(std::string_view("\xD8\x00", 2), V_ASN1_BMPSTRING), L"#D800");
  EXPECT_EQ(renderValue(std::string_view("\x00\x41\x00", 3), V_ASN1_BMPSTRING), L"#004100");
  EXPECT_EQ(renderValue(std::string_view("\x00\x11\x00\x00", 4), V_ASN1_UNIVERSALSTRING),
            L"#00110000");
  EXPECT_EQ(renderValue(std::string_view("\x01\xAB", 2), V_ASN1_OCTET_STRING), L"#01AB");
}

TEST(NameToStr, ReadsEveryTypeOfText) {
  EXPECT_EQ(renderValue("abc", kPrintable), L"abc");
  EXPECT_EQ(renderValue("12 3", V_ASN1_NUMERICSTRING), L"12 3");
  EXPECT_EQ(renderValue("a@b", V_ASN1_IA5STRING), L"a@b");
  EXPECT_EQ(renderValue("abc", V_ASN1_VISIBLESTRING), L"abc");
  EXPECT_EQ(renderValue("\x04\x16", V_ASN1_BMPSTRING), L"\u0416");
  EXPECT_EQ(renderValue("\xD8\x3D\xDD\x11", V_ASN1_BMPSTRING), L"\U0001F511");
  EXPECT_EQ(renderValue(std::string_view("\0\x01\xF5\x11", 4), V_ASN1_UNIVERSALSTRING),
            L"\U0001F511");
  EXPECT_EQ(renderValue("\xD0\x96", V_ASN1_T61STRING), L"\u0416");
  EXPECT_EQ(renderValue("\xC4", V_ASN1_T61STRING), L"\u00C4");
}

// Types that nobody should use any more: a byte is a character.
TEST(NameToStr, ReadsTheTypesOfOldAsBytes) {
  for (const int type : {V_ASN1_VIDEOTEXSTRING,
                         V_ASN1_GRAPHICSTRING,
                         V_ASN1_GENERALSTRING,
                         V_ASN1_VISIBLESTRING,
                         V_ASN1_IA5STRING,
                         V_ASN1_NUMERICSTRING}) {
    EXPECT_EQ(renderValue("a\xE9", type), L"a\u00E9") << type;
    EXPECT_EQ(renderValue("", type), L"\"\"") << type;
    EXPECT_EQ(renderValue("a,b", type), L"\"a,b\"") << type;
  }
}

TEST(NameToStr, RendersAnOctetStringAsItsDigits) {
  EXPECT_EQ(renderValue("", V_ASN1_OCTET_STRING), L"#");
  EXPECT_EQ(renderValue("A", V_ASN1_OCTET_STRING), L"#41");
  EXPECT_EQ(renderValue("A", V_ASN1_OCTET_STRING, CERT_NAME_STR_NO_QUOTING_FLAG), L"#41");
}

TEST(NameToStr, JoinsSurrogatesOnlyInPairs) {
  const auto bmp = [](std::string_view octets) { return renderValue(octets, V_ASN1_BMPSTRING); };
  EXPECT_EQ(bmp("\xD8\x3D\xDD\x11"), L"\U0001F511");
  EXPECT_EQ(bmp("\xDB\xFF\xDF\xFF"), L"\U0010FFFF");
  EXPECT_EQ(bmp(std::string_view("\xD8\x3D\x00\x41", 4)), L"#D83D0041");
  EXPECT_EQ(bmp("\xDD\x11\xD8\x3D"), L"#DD11D83D");
  EXPECT_EQ(bmp("\xD8\x3D\xD8\x3D"), L"#D83DD83D");
  EXPECT_EQ(bmp("\xDD\x11"), L"#DD11");
}

TEST(NameToStr, LongNamesComeWhole) {
  const std::string value(100, 'x');
  const DerName name = {{kCn, kPrintable, value}};
  EXPECT_EQ(render(name.der(), CERT_OID_NAME_STR), L"2.5.4.3=" + std::wstring(100, L'x'));
}

TEST(NameToStr, RendersOtherValuesAsTheirWholeEncoding) {
  // SEQUENCE { RDN { CN, BOOLEAN TRUE } }
  const std::vector<std::uint8_t> der = {
      0x30, 0x0C, 0x31, 0x0A, 0x30, 0x08, 0x06, 0x03, 0x55, 0x04, 0x03, 0x01, 0x01, 0xFF};
  EXPECT_EQ(render(der, CERT_X500_NAME_STR), L"CN=#0101FF");
}

TEST(NameToStr, OfAnEmptyNameIsEmpty) {
  EXPECT_EQ(render({0x30, 0x00}, CERT_X500_NAME_STR), L"");
}

TEST(NameToStr, FillsAShortBufferAsFarAsItGoes) {
  const DerName name = {{kC, kPrintable, "US"}};
  std::vector<std::uint8_t> der = name.der();
  CERT_NAME_BLOB blob = {.cbData = static_cast<DWORD>(der.size()), .pbData = der.data()};
  std::array<wchar_t, 6> text = {L'?', L'?', L'?', L'?', L'?', L'?'};
  EXPECT_EQ(CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), 4), 4U);
  EXPECT_STREQ(text.data(), L"C=U");
  EXPECT_EQ(text[4], L'?');
  EXPECT_EQ(CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), 1), 1U);
  EXPECT_STREQ(text.data(), L"");
  EXPECT_EQ(CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), 0), 5U);
  EXPECT_EQ(CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, text.data(), 6), 5U);
  EXPECT_STREQ(text.data(), L"C=US");
}

TEST(NameToStr, SetsTheLastErrorToZeroWhenItSucceeds) {
  SetLastError(ERROR_BUSY);
  EXPECT_EQ(renderValue("a"), L"a");
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
}

// What fails gives the empty text and a reason.
void expectFailure(std::vector<std::uint8_t> der, DWORD encoding, DWORD type, DWORD error) {
  CERT_NAME_BLOB blob = {.cbData = static_cast<DWORD>(der.size()), .pbData = der.data()};
  std::array<wchar_t, 4> text = {L'?', L'?', L'?', L'?'};
  SetLastError(ERROR_SUCCESS);
  EXPECT_EQ(CertNameToStrW(encoding, &blob, type, text.data(), text.size()), 1U);
  EXPECT_EQ(GetLastError(), error);
  EXPECT_STREQ(text.data(), L"");
  EXPECT_EQ(CertNameToStrW(encoding, &blob, type, nullptr, 0), 1U);
}

TEST(NameToStr, RefusesUnknownEncodingsAndForms) {
  const DerName name = {{kC, kPrintable, "US"}};
  expectFailure(name.der(), 0, CERT_X500_NAME_STR, ERROR_FILE_NOT_FOUND);
  expectFailure(name.der(), PKCS_7_ASN_ENCODING, CERT_X500_NAME_STR, ERROR_FILE_NOT_FOUND);
  expectFailure(name.der(), kEncoding, CERT_XML_NAME_STR, E_INVALIDARG);
  EXPECT_EQ(CertNameToStrW(kEncoding, nullptr, CERT_X500_NAME_STR, nullptr, 0), 1U);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(NameToStr, RefusesWhatIsNoName) {
  expectFailure({}, kEncoding, CERT_X500_NAME_STR, CRYPT_E_ASN1_EOD);
  expectFailure({0x31, 0x00}, kEncoding, CERT_X500_NAME_STR, CRYPT_E_ASN1_BADTAG);
  expectFailure({0x30, 0x02, 0x31, 0x00}, kEncoding, CERT_X500_NAME_STR, CRYPT_E_ASN1_CORRUPT);
  expectFailure({0x30, 0x00, 0x00}, kEncoding, CERT_X500_NAME_STR, CRYPT_E_ASN1_CORRUPT);
}

// A name cut anywhere, or with any bit changed, is refused or rendered; the sanitizers watch.
TEST(NameToStr, SurvivesDamage) {
  const DerName name = {{kC, kPrintable, "US"},
                        {kCn, V_ASN1_BMPSTRING, std::string_view("\0a\0b", 4)},
                        {"2.5.4.5", kPrintable, "1", /*sameRdn=*/true},
                        {kO, kUtf8, "\xD0\x96"}};
  const std::vector<std::uint8_t>& whole = name.der();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    expectFailure({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)},
                  kEncoding,
                  CERT_X500_NAME_STR,
                  CRYPT_E_ASN1_EOD);
  }
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    std::vector<std::uint8_t> changed = whole;
    changed[bit / 8] = static_cast<std::uint8_t>(changed[bit / 8] ^ 1U << bit % 8);
    CERT_NAME_BLOB blob = {.cbData = static_cast<DWORD>(changed.size()), .pbData = changed.data()};
    const DWORD needed = CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, nullptr, 0);
    EXPECT_GE(needed, 1U);
    EXPECT_EQ(needed == 1, GetLastError() != ERROR_SUCCESS) << bit;
  }
}

// libcrypto's conversion to UTF-8, as the other opinion about a value's characters (it knows no
// surrogate pairs).
TEST(NameToStr, AgreesWithLibcryptoOnTheCharacters) {
  const std::vector<DerName::Attribute> values = {
      {kCn, kUtf8, "\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD"},
      {kCn, V_ASN1_BMPSTRING, std::string_view("\x04\x18\x20\xAC\x00\x7A", 6)},
      {kCn, V_ASN1_UNIVERSALSTRING, std::string_view("\0\0\x04\x18\0\x01\xF5\x11", 8)},
      {kCn, kPrintable, "Ivan"},
      {kCn, V_ASN1_IA5STRING, "a@b.example"}};
  for (const DerName::Attribute& value : values) {
    const OwnedString string(ASN1_STRING_type_new(value.type));
    ASSERT_EQ(
        ASN1_STRING_set(string.get(), value.octets.data(), static_cast<int>(value.octets.size())),
        1);
    unsigned char* utf8 = nullptr;
    const int size = ASN1_STRING_to_UTF8(&utf8, string.get());
    ASSERT_GT(size, 0);
    const qx::OpensslBytes owner(utf8);
    std::string ours;
    for (const wchar_t c : render(DerName({value}).der(), CERT_SIMPLE_NAME_STR)) {
      std::array<unsigned char, 6> bytes{};
      const int count = UTF8_putc(bytes.data(), bytes.size(), static_cast<unsigned long>(c));
      ours.append(bytes.begin(), bytes.begin() + count);
    }
    EXPECT_EQ(ours, std::string(utf8, utf8 + size));
  }
}

}  // namespace
}  // namespace qx::test::name_to_str_test
