#include "provider/key/assuan.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "provider/support/files.h"

namespace qx::assuan_test {
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

TEST_F(Assuan, JoinsDataThatComesInSeveralLines) {
  AssuanClient client(ours_.get(), deadline_);
  say("D 12\nS status\nD %2533\nD \nD 4\nOK\nD 5\nOK\n");
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_EQ(data.text(), "12%334");
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_EQ(data.text(), "5") << "the answer before this one is not in it";
}

TEST_F(Assuan, GivesNoDataOfAnEarlierAnswer) {
  AssuanClient client(ours_.get(), deadline_);
  say("D 1234\nOK\nOK\n");
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_TRUE(data.empty());
}

TEST_F(Assuan, RefusesMoreDataThanAnyPinHas) {
  AssuanClient client(ours_.get(), deadline_);
  const std::string kilobyte = "D " + std::string(1024, 'x') + "\n";
  say(kilobyte + kilobyte + kilobyte + kilobyte + "OK\n");
  SecretBytes data;
  EXPECT_TRUE(client.awaitOk(&data));
  EXPECT_EQ(data.size(), 4096U);
  say(kilobyte + kilobyte + kilobyte + kilobyte + "D y\nOK\n");
  EXPECT_FALSE(client.awaitOk(&data));
}

TEST_F(Assuan, DecodesBothCasesOfItsDigits) {
  AssuanClient client(ours_.get(), deadline_);
  const std::pair<std::string, std::string> lines[] = {
      {"%4a%4A", "JJ"}, {"%e2%82%AC", "€"}, {"%00x", std::string("\0x", 2)}, {"%25%25", "%%"}};
  for (const auto& [sent, meant] : lines) {
    say("D " + sent + "\nOK\n");
    SecretBytes data;
    ASSERT_TRUE(client.awaitOk(&data));
    EXPECT_EQ(data.text(), meant);
  }
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
}  // namespace qx::assuan_test
