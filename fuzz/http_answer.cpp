// The answer of a server that means no good, in pieces of any size, and where it sends us.

#include <algorithm>

#include "fuzz/input.h"
#include "provider/http/response.h"

namespace {

constexpr std::size_t kBodyLimit = 4096;

class GivenStream : public qx::Stream {
 public:
  GivenStream(std::string bytes, std::size_t step) : bytes_(std::move(bytes)), step_(step) {}

  void askAgain(const qx::Deadline& /*deadline*/) override {}

  qx::Result<void> send(std::span<const std::uint8_t> /*bytes*/) override { return {}; }

  qx::Result<std::size_t> receive(std::span<std::uint8_t> out) override {
    const std::size_t count = std::min({out.size(), step_, bytes_.size() - given_});
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(given_), count, out.begin());
    given_ += count;
    return count;
  }

 private:
  std::string bytes_;
  std::size_t step_;
  std::size_t given_ = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::Input input(data, size);
  const std::size_t step = std::size_t{input.byte()} + 1;
  GivenStream stream(input.rest(), step);
  qx::ResponseReader reader(stream);
  const auto head = reader.readHead();
  if (!head) {
    return 0;
  }
  qx::fuzz::expect(head->status >= 200 && head->status <= 999, "a final status");
  const auto from = qx::parseUrl("https://server.example:8443/path");
  if (const auto next = qx::redirectedUrl(*from, head->location)) {
    qx::fuzz::expect(next->host == from->host && next->secure,
                     "no redirect leaves the host or TLS");
  }
  if (const auto body = reader.readBody(*head, kBodyLimit)) {
    qx::fuzz::expect(body->size() <= kBodyLimit, "no body above its limit");
    qx::fuzz::expect(head->chunked || !head->length || head->length == body->size(),
                     "the body is as long as the head says");
  }
  return 0;
}
