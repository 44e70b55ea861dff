#ifndef QX_FUZZ_INPUT_H_
#define QX_FUZZ_INPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

/// Every target of this folder: one run over `size` bytes, which must neither crash, leak nor break an
/// expectation, whatever they are. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace qx::fuzz {

/// Input hands out the bytes of one run from left to right. Of what is missing it gives nothing.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  /// The next byte; 0 at the end.
  unsigned byte() {
    const std::span<const std::uint8_t> one = take(1);
    return one.empty() ? 0 : one[0];
  }

  /// As many bytes as the next byte says.
  std::string counted() { return text(take(byte())); }

  /// All that is left.
  std::string rest() { return text(take(rest_.size())); }

  std::span<const std::uint8_t> restBytes() { return take(rest_.size()); }

 private:
  static std::string text(std::span<const std::uint8_t> bytes) {
    return {bytes.begin(), bytes.end()};
  }

  std::span<const std::uint8_t> take(std::size_t count) {
    const auto taken = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(taken.size());
    return taken;
  }

  std::span<const std::uint8_t> rest_;
};

/// expect ends the process with a word about it when a promise is broken.
inline void expect(bool kept, const char* promise) {
  if (!kept) {
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
  }
}

}  // namespace qx::fuzz

#endif
