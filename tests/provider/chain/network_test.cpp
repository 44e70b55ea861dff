#include "provider/chain/network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/chain/fake_network.h"

namespace qx::test::network_test {
namespace {

using lab::Bytes;
using std::chrono::milliseconds;

class NetworkTest : public ::testing::Test {
 protected:
  Result<Bytes> ask(Network& network) {
    return network.ask({.url = "http://a", .contentType = {}, .accept = {}, .body = {}}, 100);
  }

  FakeNetwork fake;
};

TEST_F(NetworkTest, GivesTheAnswerAndPassesTheLimits) {
  fake.serve("http://a", {1, 2, 3});
  Network network(fake.exchange(), {.time = milliseconds(5000)});
  const Result<Bytes> answer = ask(network);
  ASSERT_TRUE(answer);
  EXPECT_EQ(*answer, Bytes({1, 2, 3}));
  EXPECT_EQ(fake.limits.at(0).bytes, 100U);
  EXPECT_EQ(fake.limits.at(0).time, milliseconds(5000));
}

TEST_F(NetworkTest, HandsFailuresOn) {
  Network network(fake.exchange(), {.time = milliseconds(5000)});
  EXPECT_EQ(ask(network).error(), static_cast<DWORD>(ERROR_CONNECTION_REFUSED));
}

TEST_F(NetworkTest, CountsTheRequestsOfAWholeCall) {
  fake.serve("http://a", {1});
  Network network(fake.exchange(), {.time = milliseconds(5000), .requests = 2});
  EXPECT_TRUE(ask(network));
  EXPECT_TRUE(ask(network));
  EXPECT_EQ(ask(network).error(), static_cast<DWORD>(ERROR_TIMEOUT));
  EXPECT_EQ(fake.requests.size(), 2U) << "nothing was sent";
}

TEST_F(NetworkTest, LeavesLaterRequestsTheTimeThatIsLeft) {
  fake.answer("http://a", [](const HttpRequest&) -> Result<Bytes> {
    // A busy wait: the time must pass, nobody is waited for.
    const auto end = std::chrono::steady_clock::now() + milliseconds(20);
    while (std::chrono::steady_clock::now() < end) {
    }
    return Bytes{1};
  });
  Network network(fake.exchange(), {.time = milliseconds(60'000)});
  EXPECT_TRUE(ask(network));
  EXPECT_TRUE(ask(network));
  EXPECT_LE(fake.limits.at(1).time, milliseconds(60'000 - 20));
  Network hasty(fake.exchange(), {.time = milliseconds(1)});
  EXPECT_TRUE(ask(hasty));
  EXPECT_EQ(ask(hasty).error(), static_cast<DWORD>(ERROR_TIMEOUT));
  EXPECT_EQ(fake.requests.size(), 3U) << "the last one was not sent";
}

TEST_F(NetworkTest, SendsNothingWithoutTime) {
  Network network(fake.exchange(), {.time = milliseconds(0)});
  EXPECT_EQ(ask(network).error(), static_cast<DWORD>(ERROR_TIMEOUT));
  EXPECT_TRUE(fake.requests.empty());
}

}  // namespace
}  // namespace qx::test::network_test
