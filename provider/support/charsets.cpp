#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string_view>
#include <vector>

#include "platform/support.h"

#include "provider/api.h"

namespace {

using qx::fail;
using qx::Result;
using Bytes = std::vector<char>;

// Owns one conversion of the C library.
class Converter {
 public:
  Converter(const char* to, const char* from) : handle_(iconv_open(to, from)) {}

  ~Converter() {
    if (isOpen()) {
      iconv_close(handle_);
    }
  }

  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  Converter(Converter&&) = delete;
  Converter& operator=(Converter&&) = delete;

  bool isOpen() const {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the C library's way to say that it failed
    return handle_ != reinterpret_cast<iconv_t>(-1);
  }

  // Converts everything, with the shift sequence that ends some charsets.
  Result<Bytes> convert(std::string_view input) {
    Bytes out;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): iconv does not write to its input
    char* from = const_cast<char*>(input.data());
    std::size_t left = input.size();
    bool flushed = false;
    while (!flushed) {
      std::array<char, 512> piece{};
      char* to = piece.data();
      std::size_t room = piece.size();
      const bool flushing = left == 0;
      const std::size_t status = flushing ? iconv(handle_, nullptr, nullptr, &to, &room)
                                          : iconv(handle_, &from, &left, &to, &room);
      if (status == static_cast<std::size_t>(-1) && errno != E2BIG) {
        return fail(ERROR_NO_UNICODE_TRANSLATION);
      }
      out.insert(out.end(), piece.data(), to);
      flushed = flushing && status != static_cast<std::size_t>(-1);
    }
    return out;
  }

 private:
  iconv_t handle_;
};

Result<Bytes> convert(const char* to, const char* from, std::string_view input) {
  Converter converter(to, from);
  if (!converter.isOpen()) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  return converter.convert(input);
}

// Copies units with a terminating 0; without a buffer it counts them with it.
template <class Unit>
std::size_t deliver(const Bytes& bytes, Unit* out, std::size_t capacity) {
  const std::size_t units = bytes.size() / sizeof(Unit);
  if (out == nullptr) {
    return units + 1;
  }
  if (units >= capacity) {
    return 0;
  }
  std::copy_n(bytes.data(), units * sizeof(Unit), reinterpret_cast<char*>(out));
  out[units] = 0;
  return units;
}

}  // namespace

size_t qxsup_cp1251_to_utf16le(const char* text, uint16_t* out, size_t capacity) {
  if (text == nullptr) {
    return 0;
  }
  const Result<Bytes> bytes = qx::guarded([&] { return convert("UTF-16LE", "CP1251", text); });
  return bytes ? deliver(*bytes, out, capacity) : 0;
}

size_t qxsup_utf16le_to_charset(
    const uint16_t* text, size_t length, const char* charset, char* out, size_t capacity) {
  const bool tooLong = length > std::numeric_limits<size_t>::max() / sizeof(uint16_t);
  if (text == nullptr || charset == nullptr || tooLong) {
    return 0;
  }
  const std::string_view input(reinterpret_cast<const char*>(text), length * sizeof(uint16_t));
  const Result<Bytes> bytes = qx::guarded([&] { return convert(charset, "UTF-16LE", input); });
  return bytes ? deliver(*bytes, out, capacity) : 0;
}

size_t qxsup_mbsrtowcs(wchar_t* out, const char** text, size_t capacity, mbstate_t* state) {
  if (text == nullptr || *text == nullptr || (out != nullptr && capacity == 0)) {
    return 0;
  }
  mbstate_t fresh{};
  mbstate_t* const used = state != nullptr ? state : &fresh;
  if (out == nullptr) {
    const char* start = *text;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is never the shared one
    return std::mbsrtowcs(nullptr, &start, 0, used);
  }
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the state is never the shared one
  const size_t count = std::mbsrtowcs(out, text, capacity - 1, used);
  if (count == static_cast<size_t>(-1)) {
    out[0] = L'\0';
    return count;
  }
  // The C library leaves a full buffer without an end, and the text before its NUL.
  out[count] = L'\0';
  if (*text != nullptr && **text == '\0') {
    *text = nullptr;
  }
  return count;
}
