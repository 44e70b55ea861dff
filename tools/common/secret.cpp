#include "tools/common/secret.h"

#include <cstring>
#include <utility>

#include "tools/common/error.h"

namespace qx::tools {

Secret::Secret() {
  bytes_.reserve(kMaxSize);
}

Secret::Secret(std::string_view text) : Secret() {
  for (const char byte : text) {
    if (!append(byte)) {
      throw ToolError(ExitCode::Usage, "a PIN has at most 1024 bytes");
    }
  }
}

Secret::~Secret() {
  wipe();
}

Secret& Secret::operator=(Secret&& other) noexcept {
  wipe();
  bytes_ = std::move(other.bytes_);
  return *this;
}

bool Secret::append(char byte) {
  if (bytes_.size() >= bytes_.capacity()) {
    return false;
  }
  bytes_.push_back(byte);
  return true;
}

void Secret::wipe() {
  if (!bytes_.empty()) {
    explicit_bzero(bytes_.data(), bytes_.size());
  }
}

}  // namespace qx::tools
