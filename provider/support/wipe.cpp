#include "provider/support/wipe.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include <openssl/crypto.h>

namespace qx {
namespace {

// From here on the kernel's work for each small page costs more than large pages do.
constexpr std::size_t kLarge = std::size_t{4} << 20U;

std::size_t wholePages(std::size_t size) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  if (size > std::numeric_limits<std::size_t>::max() - page) {
    throw std::bad_alloc();
  }
  return (size + page - 1) / page * page;
}

}  // namespace

void wipe(void* memory, std::size_t size) {
  OPENSSL_cleanse(memory, size);
}

SecretBytes::SecretBytes(std::size_t size) : size_(size) {
  if (size == 0) {
    return;
  }
  mapped_ = wholePages(size);
  void* pages = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) {
    throw std::bad_alloc();
  }
  // A kernel that cannot leave the pages out of a dump is no reason to fail.
  static_cast<void>(madvise(pages, mapped_, MADV_DONTDUMP));
  if (size >= kLarge) {
    static_cast<void>(madvise(pages, mapped_, MADV_HUGEPAGE));
  }
  data_ = static_cast<std::uint8_t*>(pages);
}

SecretBytes::SecretBytes(std::span<const std::uint8_t> bytes) : SecretBytes(bytes.size()) {
  std::ranges::copy(bytes, data_);
}

SecretBytes::SecretBytes(std::string_view text) : SecretBytes(text.size()) {
  std::ranges::copy(text, data_);
}

SecretBytes::~SecretBytes() {
  release();
}

SecretBytes::SecretBytes(SecretBytes&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      mapped_(std::exchange(other.mapped_, 0)) {}

SecretBytes& SecretBytes::operator=(SecretBytes&& other) noexcept {
  if (this != &other) {
    release();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    mapped_ = std::exchange(other.mapped_, 0);
  }
  return *this;
}

void SecretBytes::truncate(std::size_t size) {
  if (size < size_) {
    wipe(data_ + size, size_ - size);
    size_ = size;
  }
}

void SecretBytes::release() {
  if (data_ != nullptr) {
    wipe(data_, mapped_);
    static_cast<void>(munmap(data_, mapped_));
    data_ = nullptr;
  }
}

}  // namespace qx
