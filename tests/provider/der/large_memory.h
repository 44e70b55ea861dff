#ifndef QX_TESTS_PROVIDER_DER_LARGE_MEMORY_H_
#define QX_TESTS_PROVIDER_DER_LARGE_MEMORY_H_

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>

namespace qx::test {

/// LargeMemory is address space full of zeros, of which only what is written takes memory.
class LargeMemory {
 public:
  explicit LargeMemory(std::size_t size) : size_(size) {
    constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    begin_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, kFlags, /*fd=*/-1, /*offset=*/0);
    if (begin_ == MAP_FAILED) {
      throw std::runtime_error("no address space");
    }
  }

  ~LargeMemory() { munmap(begin_, size_); }

  LargeMemory(const LargeMemory&) = delete;
  LargeMemory& operator=(const LargeMemory&) = delete;
  LargeMemory(LargeMemory&&) = delete;
  LargeMemory& operator=(LargeMemory&&) = delete;

  std::uint8_t* data() const { return static_cast<std::uint8_t*>(begin_); }

  std::span<const std::uint8_t> bytes() const { return {data(), size_}; }

 private:
  void* begin_ = nullptr;
  std::size_t size_;
};

}  // namespace qx::test

#endif
