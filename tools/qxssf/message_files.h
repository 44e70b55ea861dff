#ifndef QX_TOOLS_QXSSF_MESSAGE_FILES_H_
#define QX_TOOLS_QXSSF_MESSAGE_FILES_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/common/input.h"

namespace qx::ssf {

/// MessageFiles is a signed message and, when it was named, the content beside it.
class MessageFiles {
 public:
  /// `content` is empty for none. Both are of one kind. Throws ToolError: Usage when both are standard input, Input when a
  /// file is empty or cannot be read.
  MessageFiles(const std::string& message,
               const std::string& content,
               tools::InputKind kind = tools::InputKind::Any);

  const tools::Input& message() const { return message_; }

  /// The content, or no bytes when none was named.
  std::span<const std::uint8_t> contentBytes() const;

  /// refuseInput throws the ToolError of what the library refuses as input: a detached message without
  /// content (Input), or another content than was signed (Changed).
  [[noreturn]] void refuseInput() const;

 private:
  tools::Input message_;
  std::unique_ptr<tools::Input> content_;
};

}  // namespace qx::ssf

#endif
