#include "provider/der/slice.h"

#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"

namespace qx::der::slice_test {
namespace {

using test::toHex;
using Octets = std::vector<std::uint8_t>;

TEST(DerSlice, OfNothingIsEmpty) {
  EXPECT_TRUE(Slice().bytes().empty());
  EXPECT_TRUE(Slice::borrowed({}).bytes().empty());
  EXPECT_TRUE(Slice::owned({}).bytes().empty());
}

TEST(DerSlice, ShowsBorrowedBytesWhereTheyLie) {
  Octets bytes{1, 2, 3};
  const Slice slice = Slice::borrowed(bytes);
  EXPECT_EQ(slice.bytes().data(), bytes.data());
  bytes[1] = 9;
  EXPECT_EQ(toHex(slice.bytes()), "010903");
}

TEST(DerSlice, TakesItsOwnBytesWithoutCopyingThem) {
  Octets bytes{1, 2, 3};
  const std::uint8_t* place = bytes.data();
  const Slice slice = Slice::owned(std::move(bytes));
  EXPECT_EQ(slice.bytes().data(), place);
  EXPECT_EQ(toHex(slice.bytes()), "010203");
}

TEST(DerSlice, LeavesItsBytesWhereTheyAreWhenItIsMoved) {
  Slice first = Slice::owned(Octets(100, 7));
  const Bytes before = first.bytes();
  Slice second = std::move(first);
  EXPECT_EQ(second.bytes().data(), before.data());
  Slice third;
  third = std::move(second);
  EXPECT_EQ(third.bytes().data(), before.data());
  EXPECT_EQ(third.bytes().size(), before.size());
}

TEST(DerSlice, LeavesThemAlsoWhenAVectorOfSlicesGrows) {
  std::vector<Slice> slices;
  std::vector<const std::uint8_t*> places;
  for (std::uint8_t i = 0; i < 100; ++i) {
    slices.push_back(Slice::owned({i, i}));
    places.push_back(slices.back().bytes().data());
  }
  for (std::size_t i = 0; i < slices.size(); ++i) {
    EXPECT_EQ(slices[i].bytes().data(), places[i]) << i;
    EXPECT_EQ(slices[i].bytes()[0], i);
  }
}

// A copy would have to say whose bytes it shows.
TEST(DerSlice, IsMovedAndNeverCopied) {
  static_assert(std::is_nothrow_move_constructible_v<Slice>);
  static_assert(std::is_nothrow_move_assignable_v<Slice>);
  static_assert(!std::is_copy_constructible_v<Slice>);
  static_assert(!std::is_copy_assignable_v<Slice>);
  Slice target = Slice::owned({1});
  target = Slice::borrowed({});
  EXPECT_TRUE(target.bytes().empty()) << "what it held before is gone";
}

}  // namespace
}  // namespace qx::der::slice_test
