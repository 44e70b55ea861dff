#include "qxsapssf/frame.h"

#include "qxsapssf/trace.h"

namespace qx {

Frame::Frame(const char* function) noexcept : function_(function) {
  QX_TRACE(function_, "****************#start#****************\n");
}

Frame::~Frame() {
  if (!hasEndBanner_) {
    return;
  }
  if (code_ == SSF_API_OK) {
    QX_TRACE(function_, "++++++++++++++++#success#++++++++++++++++\n");
  } else {
    QX_TRACE(function_, "!!!!!!!!!!!!!!!!#error#!!!!!!!!!!!!!!!!\n");
  }
}

}  // namespace qx
