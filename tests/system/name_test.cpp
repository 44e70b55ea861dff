// What the provider writes as a name and what the library reads from it: whatever stands in a
// certificate's subject, its values stay the values of its attributes.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qxsapssf/encoding.h"
#include "qxsapssf/identity/cert_name.h"
#include "qxsapssf/identity/dn.h"
#include "tests/provider/name/der_name.h"

namespace qx::test::name_test {
namespace {

using testing::ElementsAre;

constexpr int kUtf8 = 0x0C;
constexpr int kBmp = 0x1E;

/// The entries that the library reads from a name.
std::vector<std::string> entriesOf(const DerName& name) {
  std::vector<std::uint8_t> der = name.der();
  const CRYPT_INTEGER_BLOB blob = {.cbData = static_cast<DWORD>(der.size()), .pbData = der.data()};
  const std::string text = certNameText(blob, CERT_OID_NAME_STR);
  DnEntries entries;
  EXPECT_EQ(parse_dn_string(text.data(), static_cast<std::int32_t>(text.size()), entries), 0)
      << text;
  return {entries.begin(), entries.end()};
}

std::vector<std::string> entriesAround(std::string_view value) {
  return entriesOf({{"2.5.4.6", kUtf8, "RU"}, {"2.5.4.3", kUtf8, value}, {"2.5.4.10", kUtf8, "x"}});
}

std::string hexOf(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "#";
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4U];
    text += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return text;
}

/// What may stand for a value: its digits, or its characters without their quotes.
bool standsFor(const std::string& entry, std::string_view value) {
  std::string plain(value);
  std::erase(plain, '"');
  return entry == "2.5.4.3=" + plain || entry == "2.5.4.3=" + hexOf(value);
}

void expectOneAttribute(std::string_view value) {
  const std::vector<std::string> entries = entriesAround(value);
  ASSERT_EQ(entries.size(), 3U) << testing::PrintToString(value);
  EXPECT_EQ(entries.front(), "2.5.4.6=RU") << testing::PrintToString(value);
  EXPECT_TRUE(standsFor(entries[1], value)) << testing::PrintToString(value) << entries[1];
  EXPECT_EQ(entries.back(), "2.5.4.10=x") << testing::PrintToString(value);
}

/// Every text of at most so many characters over those that mean something to the one or the other.
std::vector<std::string> hostileTexts(std::size_t longest) {
  constexpr std::string_view kAlphabet("a,=\"\\u +\0#0", 11);
  std::vector<std::string> texts = {""};
  for (std::size_t from = 0, length = 0; length < longest; ++length) {
    const std::size_t to = texts.size();
    for (std::size_t i = from; i < to; ++i) {
      for (const char c : kAlphabet) {
        texts.push_back(texts[i] + c);
      }
    }
    from = to;
  }
  return texts;
}

TEST(NameRoundTrip, KeepsEveryValueInItsAttribute) {
  for (const std::string& value : hostileTexts(4)) {
    expectOneAttribute(value);
    if (testing::Test::HasFailure()) {
      return;
    }
  }
}

TEST(NameRoundTrip, KeepsAValueThatLooksLikeAName) {
  for (const char* value : {"a, CN=b",
                            "a,CN=b",
                            "a\", CN=\"b",
                            "a\\\", CN=b",
                            "\\u0022, CN=b",
                            "a\r\nCN=b",
                            "a; CN=b",
                            "a + 2.5.4.10=b",
                            "2.5.4.3=b",
                            " ,CN=b, ",
                            "\", 2.5.4.10=\"y",
                            "\\",
                            "\\\\",
                            "a\\",
                            "\\u002C CN=b",
                            "\\u0041\\u0042"}) {
    expectOneAttribute(value);
  }
}

TEST(NameRoundTrip, TellsValuesApartThatDifferInMoreThanQuotes) {
  std::vector<std::pair<std::string, std::string>> seen;
  for (const std::string& value : hostileTexts(3)) {
    // A text that is digits by itself may meet the digits that stand for another.
    if (!value.starts_with('#')) {
      std::string plain = value;
      std::erase(plain, '"');
      const std::vector<std::string> entries = entriesAround(value);
      ASSERT_EQ(entries.size(), 3U);
      seen.emplace_back(entries[1], entries[1] == "2.5.4.3=" + plain ? plain : value);
    }
  }
  std::ranges::sort(seen);
  for (std::size_t i = 1; i < seen.size(); ++i) {
    if (seen[i].first == seen[i - 1].first) {
      EXPECT_EQ(seen[i].second, seen[i - 1].second) << seen[i].first;
    }
  }
}

TEST(NameRoundTrip, ReadsOneValueOfAnyTypeAlike) {
  const std::string_view wide("\x04\x18\x04\x32", 4);
  EXPECT_THAT(entriesOf({{"2.5.4.3", kBmp, wide}}), ElementsAre("2.5.4.3=\xD0\x98\xD0\xB2"));
  EXPECT_THAT(entriesOf({{"2.5.4.3", kUtf8, "\xD0\x98\xD0\xB2"}}),
              ElementsAre("2.5.4.3=\xD0\x98\xD0\xB2"));
  EXPECT_THAT(entriesOf({{"2.5.4.3",
                          kBmp,
                          std::string_view("\0\\\0u\0"
                                           "0",
                                           6)}}),
              ElementsAre("2.5.4.3=#005C00750030"));
}

TEST(NameRoundTrip, TakesSeveralValuesOfOneRdnForOne) {
  EXPECT_THAT(entriesOf({{"2.5.4.3", kUtf8, "a"},
                         {"2.5.4.10", kUtf8, "b", /*sameRdn=*/true},
                         {"2.5.4.6", kUtf8, "RU"}}),
              ElementsAre("2.5.4.3=a + 2.5.4.10=b", "2.5.4.6=RU"));
}

TEST(NameRoundTrip, IsFoundByTheKeywordsOfAnIdentity) {
  const std::vector<std::string> subject = entriesOf({{"2.5.4.3", kUtf8, "Ivan"},
                                                      {"2.5.4.4", kUtf8, "Petrov"},
                                                      {"2.5.4.8", kUtf8, "Moscow"},
                                                      {"1.2.840.113549.1.9.1", kUtf8, "i@b"},
                                                      {"1.2.643.3.131.1.1", kUtf8, "0077"},
                                                      {"1.2.643.100.3", kUtf8, "12"}});
  const std::string identity = "INN=0077, E=i@b, SN=Petrov, ST=Moscow, SNILS=12, CN=Ivan";
  DnEntries wanted;
  ASSERT_EQ(parse_dn_string(identity.data(), static_cast<std::int32_t>(identity.size()), wanted),
            0);
  EXPECT_TRUE(is_equal_dns(wanted, {subject.begin(), subject.end()}));
}

}  // namespace
}  // namespace qx::test::name_test
