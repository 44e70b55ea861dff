#ifndef QX_QXSAPSSF_SSFXXMAIN_SIGNING_TIME_H_
#define QX_QXSAPSSF_SSFXXMAIN_SIGNING_TIME_H_

#include <array>
#include <string_view>

#include "platform/types.h"

namespace qx {

/// SigningTimeText is what a signer's record tells of the time of his signature: the signing time, then,
/// behind one NUL, that of the time stamp. A time that is not given, or that no calendar shows, is
/// left out.
class SigningTimeText {
 public:
  SigningTimeText(const FILETIME* signingTime, const FILETIME* timeStampTime) noexcept;

  std::string_view view() const noexcept { return {text_.data(), length_}; }

 private:
  void append(const FILETIME& time, const char* suffix) noexcept;

  std::array<char, 320> text_{};
  std::size_t length_ = 0;
};

/// FileTimeToLocalFileTime turns UTC into local time. Daylight saving counts when it is in force now,
/// whatever the time converted. Always TRUE.
BOOL FileTimeToLocalFileTime(const FILETIME* utc, FILETIME* local) noexcept;

}  // namespace qx

#endif
