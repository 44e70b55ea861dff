#include "tools/qxssf/message_files.h"

#include "tools/common/error.h"
#include "tools/qxssf/arguments.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

std::string notTwice(const std::string& message, const std::string& content) {
  if (message == "-" && content == "-") {
    throw ToolError(ExitCode::Usage, "message and content cannot both come from standard input");
  }
  return message;
}

}  // namespace

MessageFiles::MessageFiles(const std::string& message,
                           const std::string& content,
                           tools::InputKind kind)
    : message_(notTwice(message, content), kind),
      content_(content.empty() ? nullptr : std::make_unique<tools::Input>(content, kind)) {
  requireContent(message_);
  if (content_ != nullptr) {
    requireContent(*content_);
  }
}

std::span<const std::uint8_t> MessageFiles::contentBytes() const {
  return content_ == nullptr ? std::span<const std::uint8_t>() : content_->bytes();
}

void MessageFiles::refuseInput() const {
  if (content_ == nullptr) {
    throw ToolError(ExitCode::Input,
                    message_.name() + ": holds no content; name the signed file with --content");
  }
  throw ToolError(ExitCode::Changed,
                  content_->name() + ": is not the content that " + message_.name() + " holds");
}

}  // namespace qx::ssf
