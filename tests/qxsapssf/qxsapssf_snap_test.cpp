#include "qxsapssf/qxsapssf_snap.h"

#include <clocale>

#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::qxsapssf_snap_test {
namespace {

using scripted::provider;
using testing::ElementsAre;

class SnapTest : public scripted::ScriptedTest {
 protected:
  void TearDown() override {
    std::setlocale(LC_ALL, "C");
    ScriptedTest::TearDown();
  }
};

TEST_F(SnapTest, UnicodeIsWideWithItsNul) {
  EXPECT_THAT(*snapUnicode("My"), ElementsAre(L'M', L'y', L'\0'));
  EXPECT_THAT(provider().journal(), ElementsAre("qxsup_mbsrtowcs(My, 3)"));
}

TEST_F(SnapTest, UnicodeFollowsTheLocale) {
  std::setlocale(LC_ALL, "C.UTF-8");
  EXPECT_THAT(*snapUnicode("\xD0\x9C"), ElementsAre(L'\x41C', L'\0', L'\0'));
}

TEST_F(SnapTest, WhatCannotBeConvertedLeavesZeros) {
  provider().failFirst("qxsup_mbsrtowcs", 0);
  EXPECT_THAT(*snapUnicode("My"), ElementsAre(L'\0', L'\0', L'\0'));
  std::setlocale(LC_ALL, "C.UTF-8");
  EXPECT_THAT(*snapUnicode("M\xFFy"), ElementsAre(L'M', L'\0', L'\0', L'\0'));
}

TEST_F(SnapTest, AnEmptyStringIsItsNul) {
  EXPECT_THAT(*snapUnicode(""), ElementsAre(L'\0'));
  EXPECT_THAT(*snapAscii(""), ElementsAre('\0'));
}

TEST_F(SnapTest, NarrowCopiesKeepEveryByte) {
  EXPECT_THAT(*snapTCHAR("a\xFF"), ElementsAre('a', '\xFF', '\0'));
  EXPECT_THAT(*snapAscii("a\xFF"), ElementsAre('a', '\xFF', '\0'));
}

TEST_F(SnapTest, WantOfMemoryIsAnException) {
  for (unsigned n = 1; n <= 2; ++n) {
    bool thrown = false;
    {
      const scripted::AllocationFailure failure(n);
      try {
        snapUnicode("My");
      } catch (const std::bad_alloc&) {
        thrown = true;
      }
    }
    EXPECT_TRUE(thrown) << n;
  }
}

}  // namespace
}  // namespace qx::qxsapssf_snap_test
