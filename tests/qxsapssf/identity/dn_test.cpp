#include "qxsapssf/identity/dn.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::dn_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Parsed {
  int result;
  DnEntries entries;
};

Parsed parse(std::string_view text) {
  Parsed parsed{-99, {"left over"}};
  parsed.result =
      parse_dn_string(text.data(), static_cast<std::int32_t>(text.size()), parsed.entries);
  return parsed;
}

/// The single entry of a name of one attribute.
std::string entryOf(std::string_view text) {
  const Parsed parsed = parse(text);
  EXPECT_EQ(parsed.result, 0) << text;
  EXPECT_EQ(parsed.entries.size(), 1U) << text;
  return parsed.entries.empty() ? std::string() : parsed.entries.front();
}

TEST(ParseDnString, TurnsKeywordsIntoOidsAndKeepsAQuotedComma) {
  const Parsed parsed = parse("CN=Ivan Petrov , O = \"Bank, Ltd\" , C=RU");
  EXPECT_EQ(parsed.result, 0);
  EXPECT_THAT(parsed.entries,
              ElementsAre("2.5.4.3=Ivan Petrov", "2.5.4.10=Bank, Ltd", "2.5.4.6=RU"));
}

TEST(ParseDnString, MapsEveryKeyword) {
  const std::vector<std::pair<std::string, std::string>> keywords{
      {"E", "1.2.840.113549.1.9.1"},
      {"EMAIL", "1.2.840.113549.1.9.1"},
      {"EMAILADDRESS", "1.2.840.113549.1.9.1"},
      {"EUNKNOWN", "1.2.840.113549.1.9.1"},
      {"CN", "2.5.4.3"},
      {"CNX", "2.5.4.3"},
      {"C", "2.5.4.6"},
      {"COUNTRY", "2.5.4.6"},
      {"S", "2.5.4.8"},
      {"ST", "2.5.4.8"},
      {"STRE", "2.5.4.8"},
      {"SERIALNUMBER", "2.5.4.8"},
      {"L", "2.5.4.7"},
      {"LOCALITY", "2.5.4.7"},
      {"STREET", "2.5.4.9"},
      {"STREE", "2.5.4.9"},
      {"O", "2.5.4.10"},
      {"OGR", "2.5.4.10"},
      {"ORG", "2.5.4.10"},
      {"OU", "2.5.4.11"},
      {"OUX", "2.5.4.11"},
      {"T", "2.5.4.12"},
      {"TITLE", "2.5.4.12"},
      {"TEL", "2.5.4.12"},
      {"G", "2.5.4.42"},
      {"GIVENNAME", "2.5.4.42"},
      {"GN", "2.5.4.42"},
      {"I", "2.5.4.43"},
      {"IN", "2.5.4.43"},
      {"INITIALS", "2.5.4.43"},
      {"INN", "1.2.643.3.131.1.1"},
      {"INNLE", "1.2.643.3.131.1.1"},
      {"SN", "2.5.4.4"},
      {"SNX", "2.5.4.4"},
      {"SNILS", "1.2.643.100.3"},
      {"DC", "0.9.2342.19200300.100.1.25"},
      {"PS", "2.5.4.65"},
      {"PSEUDONYM", "2.5.4.65"},
      {"OGRN", "1.2.643.100.1"},
      {"OGRNI", "1.2.643.100.1"},
      {"OGRNIP", "1.2.643.100.5"},
  };
  for (const auto& [keyword, oid] : keywords) {
    EXPECT_EQ(entryOf(keyword + "=x"), oid + "=x") << keyword;
  }
}

TEST(ParseDnString, KeepsAnUnknownKeywordAsItIsWritten) {
  for (const std::string keyword : {"cn", "UID", "P", "D", "2.5.4.3", "X Y", "\xD0"}) {
    EXPECT_EQ(entryOf(keyword + "=7"), keyword + "=7");
  }
}

TEST(ParseDnString, MatchesAKeywordAgainstTheWholeRestOfTheName) {
  // No keyword reaches over the "=", which stands in none of them; a longer one wins by its prefix.
  EXPECT_EQ(entryOf("S=N"), "2.5.4.8=N");
  EXPECT_EQ(entryOf("O=U"), "2.5.4.10=U");
  EXPECT_EQ(entryOf("CN 2=a"), "2.5.4.3=a");
}

TEST(ParseDnString, ReadsAnEmptyNameAsNoAttributes) {
  for (const std::string_view text : {"", " ", "     ", ",", " , "}) {
    const Parsed parsed = parse(text);
    EXPECT_EQ(parsed.result, 0) << '[' << text << ']';
    EXPECT_THAT(parsed.entries, IsEmpty());
  }
}

TEST(ParseDnString, ReadsNothingOfANegativeLength) {
  DnEntries entries{"left over"};
  EXPECT_EQ(parse_dn_string("CN=a", -1, entries), 0);
  EXPECT_THAT(entries, IsEmpty());
}

TEST(ParseDnString, EndsAtItsLengthAndAtANul) {
  DnEntries entries;
  EXPECT_EQ(parse_dn_string("CN=abcdef", 5, entries), 0);
  EXPECT_THAT(entries, ElementsAre("2.5.4.3=ab"));
  EXPECT_THAT(parse(std::string_view("CN=a\0,O=b", 9)).entries, ElementsAre("2.5.4.3=a"));
}

TEST(ParseDnString, AcceptsOneSeparatorAtTheEnd) {
  const Parsed parsed = parse("CN=a,");
  EXPECT_EQ(parsed.result, 0);
  EXPECT_THAT(parsed.entries, ElementsAre("2.5.4.3=a"));
}

TEST(ParseDnString, TakesASecondCommaIntoTheNextKeyword) {
  EXPECT_THAT(parse("CN=a,,O=b").entries, ElementsAre("2.5.4.3=a", ",O=b"));
  EXPECT_EQ(parse("CN=a,,").result, -1);
}

TEST(ParseDnString, RefusesAnAttributeWithoutKeywordOrEqualsSign) {
  for (const std::string_view text : {"=x", " =x", ",=x", "CN", "CN ", "CN,O", " , x"}) {
    EXPECT_EQ(parse(text).result, -1) << '[' << text << ']';
  }
}

TEST(ParseDnString, RefusesAnAttributeWithNothingBehindItsEqualsSign) {
  for (const std::string_view text : {"CN=", "CN= ", "CN =   "}) {
    EXPECT_EQ(parse(text).result, 24) << '[' << text << ']';
  }
}

TEST(ParseDnString, KeepsTheEntriesBeforeTheFailingAttribute) {
  const Parsed missing = parse("CN=a,O=b,C=");
  EXPECT_EQ(missing.result, 24);
  EXPECT_THAT(missing.entries, ElementsAre("2.5.4.3=a", "2.5.4.10=b"));
  const Parsed nameless = parse("CN=a,=b");
  EXPECT_EQ(nameless.result, -1);
  EXPECT_THAT(nameless.entries, ElementsAre("2.5.4.3=a"));
}

TEST(ParseDnString, TrimsSpacesBeforeACommaButNotAtTheEnd) {
  EXPECT_THAT(parse("  CN  =  a b   ,  UID x =  c   ").entries,
              ElementsAre("2.5.4.3=a b", "UID x=c   "));
}

TEST(ParseDnString, TakesTabsForOrdinaryCharacters) {
  EXPECT_EQ(entryOf("\tCN=\ta"), "\tCN=\ta");
}

TEST(ParseDnString, SeparatesAtCommasOnly) {
  EXPECT_EQ(entryOf("CN=a+SN=b;O=c"), "2.5.4.3=a+SN=b;O=c");
}

TEST(ParseDnString, TakesAnEarlierCommaIntoTheKeyword) {
  EXPECT_EQ(entryOf("X,Y=b"), "X,Y=b");
}

TEST(ParseDnString, TakesAValueThatBeginsWithACommaUpToTheNext) {
  EXPECT_EQ(entryOf("CN=,O=x"), "2.5.4.3=,O=x");
  EXPECT_THAT(parse("CN=,O=x,C=y").entries, ElementsAre("2.5.4.3=,O=x", "2.5.4.6=y"));
}

TEST(ParseDnString, RemovesEveryQuote) {
  EXPECT_EQ(entryOf("CN=\"a\""), "2.5.4.3=a");
  EXPECT_EQ(entryOf("CN=\"\""), "2.5.4.3=");
  EXPECT_EQ(entryOf("CN=\"a \\\"b\\\" c\""), "2.5.4.3=a b c");
  EXPECT_EQ(entryOf("CN=\"a \"\"b\"\" c\""), "2.5.4.3=a b c");
  EXPECT_EQ(entryOf("CN=a\"b"), "2.5.4.3=ab");
  EXPECT_EQ(entryOf("\"UID\"=a"), "UID=a");
}

TEST(ParseDnString, RemovesABackslashOnlyWithTheQuoteItPrecedes) {
  EXPECT_EQ(entryOf("CN=a\\\\\"\"b"), "2.5.4.3=a\\b");
  EXPECT_EQ(entryOf("CN=a\\\\b"), "2.5.4.3=a\\\\b");
}

TEST(ParseDnString, EndsAQuotedValueAtASingleQuote) {
  EXPECT_THAT(parse("CN=\"a\",O=b").entries, ElementsAre("2.5.4.3=a", "2.5.4.10=b"));
  EXPECT_THAT(parse("CN=\"a\" , O=b").entries, ElementsAre("2.5.4.3=a", "2.5.4.10=b"));
  EXPECT_THAT(parse("CN=\"\",O=b").entries, ElementsAre("2.5.4.3=", "2.5.4.10=b"));
}

TEST(ParseDnString, TakesTextBehindAClosingQuoteForTheNextKeyword) {
  EXPECT_THAT(parse("CN=\"a\"b,O=c").entries, ElementsAre("2.5.4.3=a", "b,O=c"));
  EXPECT_EQ(parse("CN=\"a\"b").result, -1);
}

TEST(ParseDnString, EndsAnUnclosedQuoteAtTheEndOfTheName) {
  EXPECT_EQ(entryOf("CN=\"a, O=b"), "2.5.4.3=a, O=b");
  EXPECT_EQ(entryOf("CN=\"a\\\""), "2.5.4.3=a");
  EXPECT_EQ(entryOf("CN=\""), "2.5.4.3=");
  EXPECT_EQ(entryOf("CN=\"a\"\""), "2.5.4.3=a");
}

TEST(ParseDnString, LeavesOtherEscapesAlone) {
  EXPECT_THAT(parse("CN=a\\,O=b").entries, ElementsAre("2.5.4.3=a\\", "2.5.4.10=b"));
  EXPECT_EQ(entryOf("CN=a\\2Cb"), "2.5.4.3=a\\2Cb");
}

TEST(ParseDnString, DecodesUnicodeEscapesOfAsciiEntries) {
  EXPECT_EQ(entryOf("CN=A\\u0042C"), "2.5.4.3=ABC");
  EXPECT_EQ(entryOf("CN=\\u0418\\u0432\\u0430\\u043D"), "2.5.4.3=Иван");
  EXPECT_EQ(entryOf("CN=Ив\\u0430н"), "2.5.4.3=Ив\\u0430н");
}

TEST(ParseDnString, ParsesALongNameWithoutLimit) {
  std::string name;
  for (int i = 0; i < 10000; ++i) {
    name += "OU=" + std::string(20, 'x') + ",";
  }
  const Parsed parsed = parse(name);
  EXPECT_EQ(parsed.result, 0);
  EXPECT_EQ(parsed.entries.size(), 10000U);
}

std::string unescaped(std::string entry) {
  EXPECT_EQ(unescape_rdn(entry), 0);
  return entry;
}

TEST(UnescapeRdn, LeavesAnEntryWithoutEscapesAlone) {
  EXPECT_EQ(unescaped("2.5.4.3=Ivan"), "2.5.4.3=Ivan");
  EXPECT_EQ(unescaped(""), "");
  EXPECT_EQ(unescaped("a\\U0041"), "a\\U0041");
}

TEST(UnescapeRdn, LeavesAnEntryWithHighBytesAlone) {
  EXPECT_EQ(unescaped("a\x80\\u0041"), "a\x80\\u0041");
  EXPECT_EQ(unescaped("\\u0041\xFF"), "\\u0041\xFF");
}

TEST(UnescapeRdn, ReadsTheLeadingHexadecimalDigits) {
  EXPECT_EQ(unescaped("\\u0041\\u42zzx"), "ABx");
  EXPECT_EQ(unescaped("\\u004A\\u004a"), "JJ");
}

TEST(UnescapeRdn, StoresAnEscapeThatTheEntryCutsShortAndStops) {
  EXPECT_EQ(unescaped("a\\u41"), "aA");
  EXPECT_EQ(unescaped("a\\u041"), "aA");
  EXPECT_EQ(unescaped("a\\u4"), std::string("a\x04"));
}

TEST(UnescapeRdn, EndsTheEntryAtADecodedNul) {
  EXPECT_EQ(unescaped("ab\\u0000cd"), "ab");
  EXPECT_EQ(unescaped("ab\\uzzzzcd"), "ab");
  EXPECT_EQ(unescaped("ab\\u"), "ab");
}

TEST(UnescapeRdn, WritesCharactersBeyondAsciiAsNarrowText) {
  EXPECT_EQ(unescaped("\\u00e9\\u20AC"), "é€");
}

TEST(SkipWhiteSpaces, MovesOverSpacesInEitherDirection) {
  std::size_t position = 1;
  skipWhiteSpaces("a   b", position, true);
  EXPECT_EQ(position, 4U);
  position = 3;
  skipWhiteSpaces("a   b", position, false);
  EXPECT_EQ(position, 0U);
}

TEST(SkipWhiteSpaces, StaysOnAnyOtherCharacter) {
  std::size_t position = 1;
  skipWhiteSpaces("a\tb", position, true);
  EXPECT_EQ(position, 1U);
  skipWhiteSpaces("a\tb", position, false);
  EXPECT_EQ(position, 1U);
}

TEST(SkipWhiteSpaces, StopsAtTheNul) {
  std::size_t position = 0;
  skipWhiteSpaces("   ", position, true);
  EXPECT_EQ(position, 3U);
}

TEST(IsEqualDns, WantsEveryEntryInTheCandidateInAnyOrder) {
  EXPECT_TRUE(is_equal_dns({"CN=a", "O=b"}, {"C=c", "O=b", "CN=a"}));
  EXPECT_FALSE(is_equal_dns({"CN=a", "O=b"}, {"CN=a"}));
  EXPECT_FALSE(is_equal_dns({"CN=a"}, {"CN=ab"}));
  EXPECT_FALSE(is_equal_dns({"CN=a"}, {"CN=A"}));
}

TEST(IsEqualDns, FindsAnEmptyNameInEveryOther) {
  EXPECT_TRUE(is_equal_dns({}, {}));
  EXPECT_TRUE(is_equal_dns({}, {"CN=a"}));
  EXPECT_FALSE(is_equal_dns({"CN=a"}, {}));
}

TEST(IsEqualDns, SatisfiesARepeatedEntryWithOne) {
  EXPECT_TRUE(is_equal_dns({"OU=a", "OU=a"}, {"OU=a"}));
}

}  // namespace
}  // namespace qx::dn_test
