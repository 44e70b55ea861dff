#include "tools/qxssf/page/stamps.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::ssf::stamps_test {
namespace {

using ::testing::IsEmpty;

const Library& library() {
  static const Library kLibrary(QX_LIBRARY);
  return kLibrary;
}

std::string timeIn(const std::string& info) {
  return stampTime(library(), {reinterpret_cast<const std::uint8_t*>(info.data()), info.size()});
}

std::string element(char tag, const std::string& content) {
  return std::string(1, tag) + static_cast<char>(content.size()) + content;
}

/// A TSTInfo (RFC 3161, 2.4.2): version 1, policy 1.2.3, an imprint of two bytes, serial number 7, and a time.
std::string infoAt(const std::string& time) {
  constexpr const char* kBefore =
      "\x02\x01\x01\x06\x02\x2A\x03\x30\x04\x04\x02\x11\x22\x02\x01\x07";
  return element('\x30', kBefore + element('\x18', time));
}

TEST(StampTime, IsTheTimeOfTheStamp) {
  EXPECT_EQ(timeIn(infoAt("20261120083005Z")), "2026-11-20T08:30:05Z");
}

TEST(StampTime, IsReadBehindALongLength) {
  std::string info = infoAt("20261120083005Z");
  const char length = info[1];
  info.replace(1, 1, std::string("\x82\0", 2) + length);
  EXPECT_EQ(timeIn(info), "2026-11-20T08:30:05Z");
}

TEST(StampTime, IsEmptyWhereThereIsNone) {
  EXPECT_EQ(timeIn(""), "");
  EXPECT_EQ(timeIn(infoAt("")), "");
  EXPECT_EQ(timeIn(infoAt("yesterday")), "");
}

// Each prefix lies in memory of its own, so that a read beyond it is noticed.
TEST(StampTime, IsEmptyWhereverTheInfoIsCut) {
  const std::string info = infoAt("20261120083005Z");
  for (std::size_t length = 0; length < info.size(); ++length) {
    const std::vector<std::uint8_t> cut(info.begin(),
                                        info.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(stampTime(library(), cut), "") << length;
  }
}

TEST(StampTime, DoesNotFollowALengthThatRunsPastTheEnd) {
  for (const char length : {'\x7F', '\x80', '\x84', '\x88', '\xFF'}) {
    for (const std::size_t at : {1U, 3U, 6U, 10U, 16U, 19U}) {
      std::string info = infoAt("20261120083005Z");
      info[at] = length;
      EXPECT_EQ(timeIn(info), "") << at << ": " << int{length};
    }
  }
}

TEST(Stamps, OfWhatIsNoMessageAreNone) {
  const std::uint8_t bytes[] = {0x30, 0x00};
  EXPECT_THAT(stampsOf(library(), MessageView(library(), bytes), 0), IsEmpty());
}

}  // namespace
}  // namespace qx::ssf::stamps_test
