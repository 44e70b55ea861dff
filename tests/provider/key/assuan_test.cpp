#include "provider/key/assuan.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "provider/support/files.h"

namespace qx {
namespace {

class Assuan : public ::testing::Test {
 protected:
  Assuan() {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ours_ = Fd(ends[0]);
    theirs_ = Fd(ends[1]);
  }

  void say(const std::string& text) const {
    ASSERT_EQ(write(theirs_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  std::string heard() const {
    std::array<char, 256> buffer{};
    const ssize_t count = recv(theirs_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }

  Fd ours_;
  Fd theirs_;
  Deadline deadline_{std::chrono::milliseconds(20000)};
};

TEST_F(Assuan, SendsLines) {
  const AssuanClient client(ours_.get(), deadline_);
  EXPECT_TRUE(client.send("SETDESC x"));
  EXPECT_EQ(heard(), "SETDESC x\n");
}

TEST_F(Assuan, ReadsAnswersOneByOne) {
  AssuanClient client(ours_.get(), deadline_);
  say("OK first\nERR 2 second\n# comment\nS status\nOK third\n");
  EXPECT_TRUE(client.awaitOk());
  EXPECT_FALSE(client.awaitOk());
  EXPECT_TRUE(client.awaitOk());
}

TEST_F(Assuan, TakesTheDataOfAnAnswer) {
  AssuanClient client(ours_.get(), deadline_);
  say("D %31%32x\nOK\n");
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_EQ(data.text(), "12x");
}

TEST_F(Assuan, LeavesOutDataThatNobodyWants) {
  AssuanClient client(ours_.get(), deadline_);
  say("D 12\nOK\nOK\n");
  EXPECT_TRUE(client.awaitOk());
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_TRUE(data.empty());
}

TEST_F(Assuan, EndsWithTheConnection) {
  AssuanClient client(ours_.get(), deadline_);
  say("D half a li");
  theirs_.reset();
  EXPECT_FALSE(client.awaitOk());
  EXPECT_FALSE(client.send("GETPIN"));
}

TEST_F(Assuan, EndsWithTheDeadline) {
  const Deadline over{std::chrono::milliseconds(0)};
  AssuanClient client(ours_.get(), over);
  EXPECT_FALSE(client.awaitOk());
}

TEST_F(Assuan, RefusesALineThatDoesNotEnd) {
  AssuanClient client(ours_.get(), deadline_);
  say(std::string(4096, 'D'));
  EXPECT_FALSE(client.awaitOk());
}

TEST_F(Assuan, TakesALineThatFillsItsBuffer) {
  AssuanClient client(ours_.get(), deadline_);
  say("D " + std::string(4093, 'x') + "\nOK\n");
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_EQ(data.size(), 4093U);
}

TEST(AssuanText, IsEscapedForACommand) {
  EXPECT_EQ(AssuanClient::encode("a%b"), "a%25b");
  EXPECT_EQ(AssuanClient::encode(""), "");
}

}  // namespace
}  // namespace qx
