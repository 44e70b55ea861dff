#include "provider/message/param_output.h"

#include <algorithm>
#include <cstring>

#include "provider/support/huge_pages.h"
#include "provider/support/two_pass.h"

namespace qx {

Result<std::uint8_t*> ParamOutput::reserve(std::size_t size) {
  const Result<std::uint8_t*> out = twoPass(data_, size_, size);
  if (out && *out != nullptr) {
    fillInHugePages(*out, size);
  }
  return out;
}

Result<void> ParamOutput::putNumber(std::size_t number) {
  const auto value = static_cast<DWORD>(number);
  return put(sizeof value, [&value](std::uint8_t* out) { std::memcpy(out, &value, sizeof value); });
}

Result<void> ParamOutput::putText(std::string_view text) {
  return put(text.size() + 1, [text](std::uint8_t* out) {
    std::ranges::copy(text, out);
    out[text.size()] = 0;
  });
}

Result<void> ParamOutput::putBytes(der::Bytes bytes) {
  return put(bytes.size(), [bytes](std::uint8_t* out) { der::copyTo(out, bytes); });
}

Result<void> ParamOutput::putEncoding(const der::Encoding& encoding) {
  return put(encoding.size(), [&encoding](std::uint8_t* out) { encoding.writeTo(out); });
}

}  // namespace qx
