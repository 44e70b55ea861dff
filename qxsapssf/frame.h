#ifndef QX_QXSAPSSF_FRAME_H_
#define QX_QXSAPSSF_FRAME_H_

#include <utility>

#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// guarded runs `body`; when an exception ends it, `onException` gives the answer. Nothing is thrown in
/// this library but by the standard library for want of memory, and nothing may leave it: every export
/// is one call of this function, of runRecordFunction or of runOperation.
template <class Body, class OnException>
auto guarded(Body&& body, OnException&& onException) noexcept -> decltype(body()) {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    return std::forward<OnException>(onException)();
  }
}

/// runRecordFunction runs the body of a function of records and lists, which has no frame.
template <class Body>
SAPRETURN runRecordFunction(Body&& body) noexcept {
  return guarded(std::forward<Body>(body), []() -> SAPRETURN { return SSF_API_INFO_NO_MEMORY; });
}

/// Frame is the frame of one SSF operation in the trace: the start banner when it is made, exactly one
/// end banner when it ends.
class Frame {
 public:
  /// `function` is the name of the operation, under which all its lines are written.
  explicit Frame(const char* function) noexcept;
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;
  Frame(Frame&&) = delete;
  Frame& operator=(Frame&&) = delete;
  ~Frame();

  /// finish decides which banner ends the frame and returns the code as it is.
  SAPRETURN finish(SAPRETURN code) noexcept {
    code_ = code;
    return code;
  }

  /// omitEndBanner is for the one way out that ends without a banner.
  void omitEndBanner() noexcept { hasEndBanner_ = false; }

 private:
  const char* function_;
  SAPRETURN code_ = SSF_API_NO_MEMORY;
  bool hasEndBanner_ = true;
};

/// runOperation runs the body of an SSF operation, which gets its Frame, in frame and wall. What the
/// body owns is released before the end banner. For want of memory it ends as a failed output buffer
/// does.
template <class Body>
SAPRETURN runOperation(const char* function, Body&& body) noexcept {
  Frame frame(function);
  return frame.finish(guarded([&] { return std::forward<Body>(body)(frame); },
                              [&] { return failedCall(function, SSF_API_NO_MEMORY); }));
}

}  // namespace qx

#endif
