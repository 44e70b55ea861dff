#include "qxsapssf/frame.h"

#include <stdexcept>

#include "qxsapssf/trace.h"
#include "tests/scripted_provider/ssf_fixture.h"

namespace qx::frame_test {
namespace {

using scripted::kError;
using scripted::kStart;
using scripted::kSuccess;
using scripted::provider;
using testing::ElementsAre;

class FrameTest : public scripted::ScriptedTest {};

TEST_F(FrameTest, AnOperationThatSucceedsStandsBetweenStartAndSuccess) {
  const SAPRETURN code = runOperation("SsfTest", [](Frame& /*frame*/) -> SAPRETURN {
    QX_TRACE("SsfTest", "#trace# at work\n");
    return SSF_API_OK;
  });
  EXPECT_EQ(code, 0);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, "#trace# at work\n", kSuccess));
  EXPECT_EQ(provider().trace().front().function, "SsfTest");
  EXPECT_EQ(provider().trace().back().function, "SsfTest");
}

TEST_F(FrameTest, AnyOtherCodeEndsWithTheErrorBanner) {
  EXPECT_EQ(runOperation("SsfTest", [](Frame& /*frame*/) -> SAPRETURN { return 13; }), 13);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, kError));
}

TEST_F(FrameTest, TheEndBannerComesAfterTheBodyHasReleasedWhatItOwns) {
  struct TracesItsEnd {
    TracesItsEnd() = default;
    TracesItsEnd(const TracesItsEnd&) = delete;
    TracesItsEnd& operator=(const TracesItsEnd&) = delete;

    ~TracesItsEnd() { QX_TRACE("SsfTest", "released\n"); }
  };

  runOperation("SsfTest", [](Frame& /*frame*/) -> SAPRETURN {
    const TracesItsEnd owned;
    return SSF_API_INVALID_INPUT;
  });
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart, "released\n", kError));
}

TEST_F(FrameTest, TheEndBannerCanBeOmitted) {
  EXPECT_EQ(runOperation("SsfTest",
                         [](Frame& frame) -> SAPRETURN {
                           frame.omitEndBanner();
                           return SSF_API_INVALID_HASH_ALG;
                         }),
            10);
  EXPECT_THAT(provider().traceTexts(), ElementsAre(kStart));
}

TEST_F(FrameTest, WantOfMemoryEndsLikeAFailedBuffer) {
  SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  EXPECT_EQ(runOperation("SsfTest", [](Frame& /*frame*/) -> SAPRETURN { throw std::bad_alloc(); }),
            4);
  EXPECT_THAT(provider().traceTexts(),
              ElementsAre(kStart, "#error#: 00000008\n", "Text of error 00000008. \r\n", kError));
}

TEST_F(FrameTest, NoExceptionOfAnyKindLeavesTheWall) {
  EXPECT_EQ(runOperation("SsfTest",
                         [](Frame& /*frame*/) -> SAPRETURN { throw std::length_error("long"); }),
            4);
  EXPECT_EQ(guarded([]() -> int { throw 17; }, [] { return 51; }), 51);
  EXPECT_EQ(guarded([] { return 1; }, [] { return 51; }), 1);
}

TEST_F(FrameTest, WithTracingOffTheFrameWritesAndReadsNothing) {
  provider().setTraceMask(0);
  runOperation("SsfTest", [](Frame& /*frame*/) -> SAPRETURN { return 5; });
  EXPECT_THAT(provider().journal(), testing::IsEmpty());
  EXPECT_EQ(provider().lastErrorReads(), 0U);
}

}  // namespace
}  // namespace qx::frame_test
