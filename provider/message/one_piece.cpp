#include "provider/message/one_piece.h"

#include <algorithm>

namespace qx {

std::uint8_t* OnePiece::reserve(std::size_t bytes) {
  size_ = (size_ + kAlignment - 1) / kAlignment * kAlignment;
  std::uint8_t* place = base_ == nullptr ? nullptr : base_ + size_;
  size_ += bytes;
  return place;
}

CRYPT_DATA_BLOB OnePiece::blob(der::Bytes bytes) {
  if (bytes.empty()) {
    return {};
  }
  std::uint8_t* copy = reserve(bytes.size());
  if (copy != nullptr) {
    std::ranges::copy(bytes, copy);
  }
  return {.cbData = static_cast<DWORD>(bytes.size()), .pbData = copy};
}

CRYPT_INTEGER_BLOB OnePiece::integer(der::Bytes content) {
  const CRYPT_INTEGER_BLOB value = blob(content);
  if (value.pbData != nullptr) {
    std::reverse(value.pbData, value.pbData + value.cbData);
  }
  return value;
}

LPSTR OnePiece::text(std::string_view text) {
  auto* copy = reinterpret_cast<char*>(reserve(text.size() + 1));
  if (copy != nullptr) {
    std::ranges::copy(text, copy);
    copy[text.size()] = '\0';
  }
  return copy;
}

}  // namespace qx
