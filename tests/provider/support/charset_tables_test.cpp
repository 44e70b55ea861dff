#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/support.h"

namespace qx::test::charset_tables_test {
namespace {

// The upper half of windows-1251 as the Unicode consortium publishes it (CP1251.TXT); 0 is not
// assigned. From 0xC0 on the letters stand in their order.
constexpr std::uint16_t kCp1251[] = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409,
    0x2039, 0x040A, 0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x0000, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0,
    0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB,
    0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6,
    0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457};

std::uint16_t published(unsigned byte) {
  if (byte < 0x80) {
    return static_cast<std::uint16_t>(byte);
  }
  return byte < 0xC0 ? kCp1251[byte - 0x80] : static_cast<std::uint16_t>(0x0410 + byte - 0xC0);
}

// Empty when it fails; the two-pass protocol is followed.
std::string toCharset(const std::vector<std::uint16_t>& text, const char* charset) {
  const std::size_t size = qxsup_utf16le_to_charset(text.data(), text.size(), charset, nullptr, 0);
  std::string out(size, '?');
  const std::size_t written =
      qxsup_utf16le_to_charset(text.data(), text.size(), charset, out.data(), out.size());
  EXPECT_EQ(written + (size == 0 ? 0 : 1), size);
  out.resize(written);
  return out;
}

TEST(Cp1251Table, IsThePublishedOne) {
  for (unsigned byte = 1; byte < 0x100; ++byte) {
    const char text[2] = {static_cast<char>(byte), '\0'};
    std::uint16_t out[2] = {0xFFFF, 0xFFFF};
    const std::size_t units = qxsup_cp1251_to_utf16le(text, out, 2);
    if (published(byte) == 0) {
      EXPECT_EQ(units, 0U);
      continue;
    }
    ASSERT_EQ(units, 1U) << byte;
    EXPECT_EQ(out[0], published(byte)) << byte;
    EXPECT_EQ(out[1], 0);
  }
}

TEST(Cp1251Table, LeadsBackToEveryByte) {
  for (unsigned byte = 1; byte < 0x100; ++byte) {
    if (published(byte) != 0) {
      EXPECT_EQ(toCharset({published(byte)}, "CP1251"), std::string(1, static_cast<char>(byte)));
    }
  }
}

TEST(Cp1251Table, SpoilsAWholeTextByOneByteThatIsNotAssigned) {
  std::uint16_t out[16] = {};
  EXPECT_EQ(qxsup_cp1251_to_utf16le("ab\x98"
                                    "cd",
                                    out,
                                    16),
            0U);
}

// The Russian alphabet in small letters, without the ё that stands apart everywhere.
std::vector<std::uint16_t> alphabet() {
  std::vector<std::uint16_t> letters;
  for (std::uint16_t letter = 0x0430; letter <= 0x044F; ++letter) {
    letters.push_back(letter);
  }
  return letters;
}

TEST(Charsets, OfTheRussianAlphabetAreThePublishedOnes) {
  // RFC 1489 has the letters in the order of the Latin ones that sound alike.
  EXPECT_EQ(toCharset(alphabet(), "KOI8-R"),
            "\xC1\xC2\xD7\xC7\xC4\xC5\xD6\xDA\xC9\xCA\xCB\xCC\xCD\xCE\xCF\xD0"
            "\xD2\xD3\xD4\xD5\xC6\xC8\xC3\xDE\xDB\xDD\xDF\xD9\xD8\xDC\xC0\xD1");
  std::string iso;
  std::string dos;
  for (unsigned i = 0; i < 32; ++i) {
    iso += static_cast<char>(0xD0 + i);                           // ISO 8859-5
    dos += static_cast<char>(i < 16 ? 0xA0 + i : 0xE0 + i - 16);  // code page 866 has lines between
  }
  EXPECT_EQ(toCharset(alphabet(), "ISO-8859-5"), iso);
  EXPECT_EQ(toCharset(alphabet(), "CP866"), dos);
}

TEST(Charsets, AreTheSameInPiecesAndAtOnce) {
  // One conversion gives 512 bytes at a time; characters of three bytes do not end there.
  for (const std::size_t length : {170U, 171U, 172U, 341U, 342U, 511U, 512U, 513U, 5000U}) {
    const std::vector<std::uint16_t> text(length, 0x20AC);
    std::string expected;
    for (std::size_t i = 0; i < length; ++i) {
      expected += "\xE2\x82\xAC";
    }
    EXPECT_EQ(toCharset(text, "UTF-8"), expected) << length;
  }
}

TEST(Charsets, KeepNulsInACountedText) {
  EXPECT_EQ(toCharset({'a', 0, 'b'}, "UTF-8"), std::string("a\0b", 3));
}

TEST(Charsets, RefuseHalvesOfPairsWhereverTheyStand) {
  EXPECT_EQ(toCharset({0xD83D, 0xDE00}, "UTF-8"), "\xF0\x9F\x98\x80");
  const std::vector<std::vector<std::uint16_t>> broken = {
      {0xD83D}, {0xDE00}, {'a', 0xD83D}, {0xD83D, 'a'}, {0xDE00, 0xD83D}, {0xD83D, 0xD83D}};
  for (const auto& text : broken) {
    EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), text.size(), "UTF-8", nullptr, 0), 0U);
  }
}

TEST(Charsets, LeaveABufferAloneThatIsTooSmall) {
  const std::vector<std::uint16_t> text(10, 'x');
  for (std::size_t capacity = 0; capacity <= 10; ++capacity) {
    std::string out(16, '?');
    EXPECT_EQ(qxsup_utf16le_to_charset(text.data(), text.size(), "UTF-8", out.data(), capacity),
              0U);
    EXPECT_EQ(out, std::string(16, '?')) << capacity;
  }
}

}  // namespace
}  // namespace qx::test::charset_tables_test
