#include "provider/http/resolve.h"

#include <arpa/inet.h>

#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qx::resolve_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

constexpr std::chrono::milliseconds kPatience{30'000};
constexpr std::uint16_t kPort = 318;

std::string textOf(const addrinfo& address) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> port{};
  getnameinfo(address.ai_addr,
              address.ai_addrlen,
              host.data(),
              host.size(),
              port.data(),
              port.size(),
              NI_NUMERICHOST | NI_NUMERICSERV);
  return std::string(host.data()) + " " + port.data();
}

std::vector<std::string> addressesOf(const std::string& host) {
  const Result<AddressList> list = resolve(host, kPort, Deadline(kPatience));
  std::vector<std::string> texts;
  for (const addrinfo* at = list ? list->get() : nullptr; at != nullptr; at = at->ai_next) {
    texts.push_back(textOf(*at));
  }
  return texts;
}

TEST(Resolve, TakesAddressesAsTheyAre) {
  EXPECT_THAT(addressesOf("127.0.0.1"), ElementsAre("127.0.0.1 318"));
  EXPECT_THAT(addressesOf("::1"), ElementsAre("::1 318"));
}

TEST(Resolve, FindsNames) {
  EXPECT_THAT(addressesOf("localhost"), Contains("127.0.0.1 318"));
}

TEST(Resolve, DoesNotKnowEveryName) {
  for (const char* host : {"no-such-host.invalid", "1.2.3.4.5", "1:2", "999.1.1.1"}) {
    EXPECT_EQ(resolve(host, kPort, Deadline(kPatience)).error(), ERROR_WINHTTP_NAME_NOT_RESOLVED)
        << host;
  }
}

// The resolver may still be at work for those whom nobody waits for any more.
TEST(Resolve, EndsWithItsDeadline) {
  for (int i = 0; i < 20; ++i) {
    const Result<AddressList> late =
        resolve("late.invalid", kPort, Deadline(std::chrono::milliseconds(0)));
    EXPECT_TRUE(!late &&
                (late.error() == ERROR_TIMEOUT || late.error() == ERROR_WINHTTP_NAME_NOT_RESOLVED));
  }
  EXPECT_THAT(addressesOf("localhost"), Contains("127.0.0.1 318"));
}

}  // namespace
}  // namespace qx::resolve_test
