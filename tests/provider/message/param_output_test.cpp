#include "provider/message/param_output.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "platform/types.h"

#include "provider/message/limits.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/der/large_memory.h"
#include "tests/provider/message/messages.h"

namespace qx::param_output_test {
namespace {

using test::fromHex;
using test::LargeMemory;
using test::Octets;
using test::toHex;

struct Record {
  DWORD number;
  LPSTR name;
};

/// One way to put something, and how much that is.
struct Put {
  const char* name;
  std::function<Result<void>(ParamOutput&)> work;
  DWORD size;
};

const Octets kBytes = fromHex("0102030405");

const std::vector<Put>& puts() {
  static const std::vector<Put> all = {
      {.name = "number", .work = [](ParamOutput& out) { return out.putNumber(7); }, .size = 4},
      {.name = "text", .work = [](ParamOutput& out) { return out.putText("1.2.3"); }, .size = 6},
      {.name = "no text", .work = [](ParamOutput& out) { return out.putText(""); }, .size = 1},
      {.name = "bytes", .work = [](ParamOutput& out) { return out.putBytes(kBytes); }, .size = 5},
      {.name = "encoding",
       .work = [](ParamOutput& out) { return out.putEncoding(der::octetString(kBytes)); },
       .size = 7},
      {.name = "record",
       .work =
           [](ParamOutput& out) {
             return out.putRecord<Record>([](Record& record, OnePiece& piece) {
               record.number = 7;
               record.name = piece.text("seven");
             });
           },
       .size = sizeof(Record) + sizeof "seven"},
  };
  return all;
}

TEST(ParamOutputs, TellTheSizeWithoutABuffer) {
  for (const Put& put : puts()) {
    DWORD size = 0xDEAD;
    ParamOutput output(nullptr, &size);
    EXPECT_TRUE(put.work(output)) << put.name;
    EXPECT_EQ(size, put.size) << put.name;
  }
}

TEST(ParamOutputs, RefuseEveryBufferThatIsTooSmall) {
  for (const Put& put : puts()) {
    for (DWORD less = 0; less < put.size; ++less) {
      alignas(8) std::uint8_t buffer[64];
      std::ranges::fill(buffer, 0xEE);
      DWORD size = less;
      ParamOutput output(buffer, &size);
      EXPECT_EQ(put.work(output).error(), ERROR_MORE_DATA) << put.name;
      EXPECT_EQ(size, put.size) << put.name << ' ' << less;
      EXPECT_TRUE(std::ranges::all_of(buffer, [](std::uint8_t octet) { return octet == 0xEE; }));
    }
  }
}

TEST(ParamOutputs, FillABufferThatFitsAndNothingBehindIt) {
  for (const Put& put : puts()) {
    for (const DWORD more : {0U, 1U, 10U}) {
      alignas(8) std::uint8_t buffer[64];
      std::ranges::fill(buffer, 0xEE);
      DWORD size = put.size + more;
      ParamOutput output(buffer, &size);
      EXPECT_TRUE(put.work(output)) << put.name;
      EXPECT_EQ(size, put.size) << put.name;
      EXPECT_EQ(buffer[put.size], 0xEE) << put.name;
    }
  }
}

TEST(ParamOutputs, WriteWhatTheySay) {
  alignas(8) std::uint8_t buffer[64];
  const auto written = [&buffer](std::size_t index) {
    DWORD size = sizeof buffer;
    ParamOutput output(buffer, &size);
    EXPECT_TRUE(puts()[index].work(output));
    return toHex({buffer, size});
  };
  EXPECT_EQ(written(0), "07000000");
  EXPECT_EQ(written(1), "312e322e3300");
  EXPECT_EQ(written(2), "00");
  EXPECT_EQ(written(3), "0102030405");
  EXPECT_EQ(written(4), "04050102030405");
  (void)written(5);
  const auto* record = reinterpret_cast<const Record*>(buffer);
  EXPECT_EQ(record->number, 7U);
  EXPECT_STREQ(record->name, "seven");
  EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(record->name), buffer + sizeof(Record))
      << "behind the record, in the same piece";
}

TEST(ParamOutputs, RefuseARecordWithPointersOnAnOddAddress) {
  alignas(8) std::uint8_t buffer[64];
  for (std::size_t odd = 1; odd < 8; ++odd) {
    DWORD size = 40;
    ParamOutput output(buffer + odd, &size);
    EXPECT_EQ(puts()[5].work(output).error(), E_INVALIDARG) << odd;
  }
}

TEST(ParamOutputs, WriteARecordWithoutPointersOnFourBytes) {
  alignas(8) std::uint8_t buffer[16];
  DWORD size = sizeof(FILETIME);
  ParamOutput output(buffer + 4, &size);
  EXPECT_TRUE(output.putRecord<FILETIME>(
      [](FILETIME& time, OnePiece&) { time = {.dwLowDateTime = 1, .dwHighDateTime = 2}; }));
  FILETIME time{};
  std::memcpy(&time, buffer + 4, sizeof time);
  EXPECT_EQ(time.dwHighDateTime, 2U);
}

TEST(ParamOutputs, WriteNumbersOfEveryAlignment) {
  for (std::size_t at = 0; at < 8; ++at) {
    alignas(8) std::uint8_t buffer[16] = {};
    DWORD size = sizeof(DWORD);
    ParamOutput output(buffer + at, &size);
    EXPECT_TRUE(output.putNumber(0x01020304));
    EXPECT_EQ(toHex({buffer + at, 4}), "04030201");
  }
}

TEST(ParamOutputs, SayThatThereIsNothing) {
  DWORD size = 100;
  ParamOutput output(nullptr, &size);
  output.putNothing();
  EXPECT_EQ(size, 0U);
}

TEST(ParamOutputs, TakeNothingForNothing) {
  std::uint8_t octet = 0xEE;
  DWORD size = 0;
  ParamOutput output(&octet, &size);
  EXPECT_TRUE(output.putBytes({}));
  EXPECT_EQ(size, 0U);
  EXPECT_EQ(octet, 0xEE);
}

// A size beyond what a signed number holds is no size that a caller could make a buffer of.
TEST(ParamOutputs, RefuseMoreThanASignedSizeCanTell) {
  const LargeMemory memory(kMaxSize + 1);
  for (void* buffer : {static_cast<void*>(nullptr), static_cast<void*>(memory.data())}) {
    DWORD size = 0xFFFFFFFF;
    ParamOutput output(buffer, &size);
    EXPECT_EQ(output.putBytes(memory.bytes()).error(), CRYPT_E_ASN1_LARGE);
    EXPECT_EQ(size, 0xFFFFFFFFU) << "as it was";
  }
  DWORD size = 0;
  ParamOutput output(nullptr, &size);
  EXPECT_TRUE(output.putBytes(memory.bytes().first(kMaxSize)));
  EXPECT_EQ(size, kMaxSize);
  EXPECT_EQ(output.putEncoding(der::octetString(memory.bytes().first(kMaxSize))).error(),
            CRYPT_E_ASN1_LARGE)
      << "with its header";
}

}  // namespace
}  // namespace qx::param_output_test
