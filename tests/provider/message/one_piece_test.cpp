#include "provider/message/one_piece.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "provider/message/param_output.h"
#include "tests/provider/der/hex.h"

namespace qx::one_piece_test {
namespace {

using test::fromHex;
using test::toHex;

struct Inner {
  LPSTR name;
  CRYPT_DATA_BLOB value;
};

struct Outer {
  DWORD count;
  Inner* items;
  CRYPT_INTEGER_BLOB serial;
};

void fill(Outer& outer, OnePiece& piece) {
  outer.count = 3;
  outer.items = piece.array<Inner>(3, [&piece](Inner& item, std::size_t i) {
    item.name = piece.text(std::string(i, 'n'));
    const std::vector<std::uint8_t> value(i, static_cast<std::uint8_t>(i));
    item.value = piece.blob(value);
  });
  outer.serial = piece.integer(fromHex("010203"));
}

std::size_t measured() {
  OnePiece measure(nullptr);
  measure.allocate<Outer>(1);
  Outer scratch{};
  fill(scratch, measure);
  return measure.size();
}

TEST(OnePiece, MeasuresWhatItWillWrite) {
  alignas(8) std::uint8_t buffer[512];
  std::memset(buffer, 0xEE, sizeof buffer);
  OnePiece piece(buffer);
  auto* outer = new (piece.allocate<Outer>(1)) Outer{};
  fill(*outer, piece);
  EXPECT_EQ(piece.size(), measured());
  EXPECT_EQ(buffer[piece.size()], 0xEE) << "and nothing behind it";
  ASSERT_EQ(static_cast<void*>(outer), static_cast<void*>(buffer));
  EXPECT_STREQ(outer->items[0].name, "");
  EXPECT_STREQ(outer->items[2].name, "nn");
  EXPECT_EQ(outer->items[0].value.pbData, nullptr);
  EXPECT_EQ(toHex({outer->items[2].value.pbData, outer->items[2].value.cbData}), "0202");
  EXPECT_EQ(toHex({outer->serial.pbData, outer->serial.cbData}), "030201") << "least octet first";
  for (const Inner* item = outer->items; item != outer->items + 3; ++item) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(item) % 8, 0U);
    EXPECT_GE(reinterpret_cast<std::uint8_t*>(item->name), buffer);
    EXPECT_LT(reinterpret_cast<std::uint8_t*>(item->name), buffer + piece.size());
  }
}

TEST(OnePiece, GivesNoPointersWhileItMeasures) {
  OnePiece measure(nullptr);
  Outer outer{};
  fill(outer, measure);
  EXPECT_EQ(outer.items, nullptr);
  EXPECT_EQ(outer.serial.pbData, nullptr);
  EXPECT_EQ(outer.serial.cbData, 3U);
}

TEST(OnePiece, HasNoArrayOfNothing) {
  alignas(8) std::uint8_t buffer[64];
  OnePiece piece(buffer);
  EXPECT_EQ(piece.array<Inner>(0, [](Inner& /*item*/, std::size_t /*index*/) { FAIL(); }), nullptr);
  EXPECT_EQ(piece.size(), 0U);
}

TEST(ParamOutput, AsksWritesAndRefuses) {
  const auto bytes = fromHex("0102030405");
  DWORD size = 0;
  EXPECT_TRUE(ParamOutput(nullptr, &size).putBytes(bytes));
  EXPECT_EQ(size, 5U);
  std::uint8_t buffer[8] = {};
  size = 4;
  EXPECT_EQ(ParamOutput(buffer, &size).putBytes(bytes).error(), ERROR_MORE_DATA);
  EXPECT_EQ(size, 5U);
  EXPECT_EQ(buffer[0], 0);
  size = 8;
  EXPECT_TRUE(ParamOutput(buffer, &size).putBytes(bytes));
  EXPECT_EQ(size, 5U);
  EXPECT_EQ(toHex(buffer), "0102030405000000");
}

TEST(ParamOutput, WritesNumbersAndTexts) {
  std::uint8_t buffer[8] = {};
  DWORD size = sizeof buffer;
  EXPECT_TRUE(ParamOutput(buffer, &size).putNumber(0x01020304));
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(toHex(buffer), "0403020100000000");
  size = sizeof buffer;
  EXPECT_TRUE(ParamOutput(buffer, &size).putText("1.2"));
  EXPECT_EQ(size, 4U);
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "1.2");
  size = 0;
  EXPECT_TRUE(ParamOutput(buffer, &size).putBytes({})) << "nothing needs no room";
  EXPECT_EQ(size, 0U);
}

TEST(ParamOutput, RefusesWhatNoSizeCanTell) {
  DWORD size = 7;
  const auto never = [](std::uint8_t* /*out*/) { FAIL(); };
  EXPECT_EQ(ParamOutput(nullptr, &size).put(std::size_t{1} << 31U, never).error(),
            CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(size, 7U);
  EXPECT_TRUE(ParamOutput(nullptr, &size).put((std::size_t{1} << 31U) - 1, never));
  EXPECT_EQ(size, 0x7FFFFFFFU);
}

TEST(ParamOutput, WritesARecordInOnePiece) {
  DWORD size = 0;
  ASSERT_TRUE(ParamOutput(nullptr, &size).putRecord<Outer>(fill));
  EXPECT_EQ(size, measured());
  alignas(8) std::uint8_t buffer[512] = {};
  size = sizeof buffer;
  ASSERT_TRUE(ParamOutput(buffer, &size).putRecord<Outer>(fill));
  EXPECT_EQ(size, measured());
  EXPECT_STREQ(reinterpret_cast<Outer*>(buffer)->items[1].name, "n");
  size = sizeof buffer - 1;
  EXPECT_EQ(ParamOutput(buffer + 1, &size).putRecord<Outer>(fill).error(), E_INVALIDARG);
}

}  // namespace
}  // namespace qx::one_piece_test
