#include "qxsapssf/owned_bytes.h"

#include <cstdint>

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::owned_bytes_test {
namespace {

using scripted::AllocationFailure;
using scripted::FreeWatch;

TEST(OwnedBytes, StartsWithoutMemory) {
  const OwnedBytes bytes;
  EXPECT_FALSE(bytes);
  EXPECT_EQ(bytes.size(), 0U);
  EXPECT_EQ(bytes.data(), nullptr);
}

TEST(OwnedBytes, HoldsExactlyWhatWasAskedFor) {
  const OwnedBytes bytes = OwnedBytes::allocate(7);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes.size(), 7U);
}

TEST(OwnedBytes, OfSizeZeroStillHasMemory) {
  OwnedBytes bytes = OwnedBytes::allocate(0);
  ASSERT_TRUE(bytes);
  EXPECT_EQ(bytes.size(), 0U);
  bytes.data()[0] = 1;  // the one byte that was asked for
  EXPECT_TRUE(OwnedBytes::copyOf(nullptr, 0));
}

TEST(OwnedBytes, CopiesAndZeroes) {
  const OwnedBytes copy = OwnedBytes::copyOf("abc", 3);
  EXPECT_EQ(std::memcmp(copy.data(), "abc", 3), 0);
  const OwnedBytes zeroed = OwnedBytes::allocateZeroed(64);
  for (std::size_t i = 0; i < zeroed.size(); ++i) {
    ASSERT_EQ(zeroed.data()[i], 0);
  }
}

TEST(OwnedBytes, AreEmptyWhenThereIsNoMemory) {
  OwnedBytes allocated;
  OwnedBytes copied;
  OwnedBytes zeroed;
  OwnedRecord<SigRcpSsfInformation> record;
  {
    const AllocationFailure failure(1, AllocationFailure::Extent::AllAfter);
    allocated = OwnedBytes::allocate(10);
    copied = OwnedBytes::copyOf("abc", 3);
    zeroed = OwnedBytes::allocateZeroed(3);
    record = allocateRecord<SigRcpSsfInformation>();
  }
  EXPECT_FALSE(allocated);
  EXPECT_EQ(allocated.size(), 0U);
  EXPECT_FALSE(copied);
  EXPECT_FALSE(zeroed);
  EXPECT_FALSE(record);
}

TEST(OwnedBytes, AreFreedWhenTheirOwnerEnds) {
  auto bytes = std::make_unique<OwnedBytes>(OwnedBytes::copyOf("abc", 3));
  const FreeWatch watch(bytes->data(), 3);
  bytes.reset();
  EXPECT_TRUE(watch.wasFreed());
}

TEST(OwnedBytes, AreTheCallersOnceReleased) {
  OwnedBytes bytes = OwnedBytes::copyOf("abc", 3);
  SAP_B8* data = bytes.release();
  EXPECT_FALSE(bytes);
  EXPECT_EQ(bytes.size(), 0U);
  const FreeWatch watch(data, 3);
  bytes = OwnedBytes();
  EXPECT_FALSE(watch.wasFreed());
  freeBytes(data);
  EXPECT_TRUE(watch.wasFreed());
}

TEST(OwnedBytes, MoveWithTheirSize) {
  OwnedBytes first = OwnedBytes::copyOf("abc", 3);
  OwnedBytes second = std::move(first);
  EXPECT_EQ(second.size(), 3U);
  second.shrinkTo(2);
  EXPECT_EQ(second.size(), 2U);
}

TEST(OwnedBytes, AreViewedAsTheRecordThatStandsThere) {
  const std::uint64_t value = 0x1122334455667788U;
  OwnedBytes bytes = OwnedBytes::copyOf(&value, sizeof(value));
  EXPECT_EQ(*bytes.as<std::uint64_t>(), value);
}

TEST(OwnedRecord, IsZeroed) {
  const auto record = allocateRecord<SigRcpSsfInformation>();
  ASSERT_TRUE(record);
  EXPECT_EQ(record->id, nullptr);
  EXPECT_EQ(record->passwordLength, 0);
  EXPECT_EQ(record->result, 0);
}

TEST(WipeWithSpaces, IsSeenByWhoeverFindsTheFreedMemory) {
  auto* secret = OwnedBytes::copyOf("top secret", 10).release();
  const FreeWatch watch(secret, 10);
  wipeWithSpaces(secret, 10);
  freeBytes(secret);
  ASSERT_TRUE(watch.wasFreed());
  EXPECT_EQ(watch.contents(), "          ");
}

}  // namespace
}  // namespace qx::owned_bytes_test
