#ifndef QX_TOOLS_COMMON_DESCRIPTOR_H_
#define QX_TOOLS_COMMON_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

namespace qx::tools {

/// Descriptor owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}

  ~Descriptor() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }

  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }

  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_;
};

}  // namespace qx::tools

#endif
