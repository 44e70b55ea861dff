#include "provider/http/response.h"

#include <algorithm>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace qx::response_test {
namespace {

constexpr std::size_t kLimit = 100;

// Gives a text in pieces; behind it the end, or an error.
class TextStream final : public Stream {
 public:
  TextStream(std::string text, std::size_t piece, DWORD error = ERROR_SUCCESS)
      : text_(std::move(text)), piece_(piece), error_(error) {}

  void askAgain(const Deadline& /*deadline*/) override {}

  Result<void> send(std::span<const std::uint8_t> /*bytes*/) override { return {}; }

  Result<std::size_t> receive(std::span<std::uint8_t> out) override {
    const std::size_t count = std::min({piece_, out.size(), text_.size() - at_});
    if (count == 0 && error_ != ERROR_SUCCESS) {
      return fail(error_);
    }
    std::ranges::copy(text_.substr(at_, count), out.data());
    at_ += count;
    return count;
  }

 private:
  std::string text_;
  std::size_t piece_;
  DWORD error_;
  std::size_t at_ = 0;
};

std::string answerOf(Stream& stream) {
  ResponseReader reader(stream);
  const Result<HttpHead> head = reader.readHead();
  if (!head) {
    return "error " + std::to_string(head.error());
  }
  const Result<std::vector<std::uint8_t>> body = reader.readBody(*head, kLimit);
  return body ? std::to_string(head->status) + " " + std::string(body->begin(), body->end())
              : "error " + std::to_string(body.error());
}

// The status and the body, or the error: the same however the text is cut into pieces.
std::string read(const std::string& text) {
  TextStream whole(text, text.size() + 1);
  const std::string answer = answerOf(whole);
  for (const std::size_t piece : {1U, 2U, 3U, 7U}) {
    TextStream stream(text, piece);
    EXPECT_EQ(answerOf(stream), answer) << piece;
  }
  return answer;
}

std::string error(DWORD code) {
  return "error " + std::to_string(code);
}

const std::string kInvalid = error(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);
const std::string kTooLarge = error(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW);
const std::string kCutOff = error(ERROR_WINHTTP_CONNECTION_ERROR);

TEST(ResponseReader, ReadsABodyOfAGivenLength) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"), "200 hello");
  EXPECT_EQ(read("HTTP/1.0 200\r\ncontent-length:5\r\n\r\nhello"), "200 hello");
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"), "200 ");
}

TEST(ResponseReader, TakesBareLineFeeds) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\nContent-Length: 5\n\nhello"), "200 hello");
}

TEST(ResponseReader, ReadsABodyThatEndsWithTheConnection) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\n\r\nhello"), "200 hello");
}

TEST(ResponseReader, ReadsChunks) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                 "5\r\nhello\r\n1;name=value\r\n,\r\n0A\r\n0123456789\r\n0\r\nTrailer: x\r\n\r\n"),
            "200 hello,0123456789");
}

TEST(ResponseReader, StepsOverInterimAnswers) {
  EXPECT_EQ(read("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early\r\nLink: x\r\n\r\n"
                 "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"),
            "200 ok");
}

TEST(ResponseReader, LeavesWhatFollowsTheLength) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokmore"), "200 ok");
}

TEST(ResponseReader, GivesStatusAndLocation) {
  TextStream stream("HTTP/1.1 302 Found\r\nLocation:   /x  \r\n\r\n", 100);
  ResponseReader reader(stream);
  const Result<HttpHead> head = reader.readHead();
  ASSERT_TRUE(head);
  EXPECT_EQ(head->status, 302U);
  EXPECT_EQ(head->location, "/x");
}

TEST(ResponseReader, KnowsWhetherTheConnectionEnds) {
  const auto closes = [](const std::string& head) {
    TextStream stream(head + "\r\n\r\n", 100);
    const Result<HttpHead> read = ResponseReader(stream).readHead();
    return read && read->closes;
  };
  EXPECT_FALSE(closes("HTTP/1.1 200 OK"));
  EXPECT_FALSE(closes("HTTP/1.1 200 OK\r\nConnection: keep-alive"));
  EXPECT_FALSE(closes("HTTP/1.1 200 OK\r\nConnection: closed, to-close\r\nConnection: ,"));
  EXPECT_TRUE(closes("HTTP/1.1 200 OK\r\nConnection: close"));
  EXPECT_TRUE(closes("HTTP/1.1 200 OK\r\nconnection: keep-alive , Close"));
  EXPECT_TRUE(closes("HTTP/1.1 200 OK\r\nConnection: close\r\nConnection: keep-alive"));
  EXPECT_TRUE(closes("HTTP/1.0 200 OK"));
}

TEST(ResponseReader, KnowsWhatItDidNotRead) {
  TextStream stream("HTTP/1.1 200 OK\r\n\r\nx", 100);
  ResponseReader reader(stream);
  ASSERT_TRUE(reader.readHead());
  EXPECT_TRUE(reader.hasRest());
  TextStream exact("HTTP/1.1 200 OK\r\n\r\n", 100);
  ResponseReader other(exact);
  ASSERT_TRUE(other.readHead());
  EXPECT_FALSE(other.hasRest());
}

TEST(ResponseReader, RefusesWhatIsNoStatusLine) {
  for (const char* line : {"",
                           "hello",
                           "HTTP/2 200 OK",
                           "HTTP/1.1200 OK",
                           "HTTP/1.1 20 OK",
                           "HTTP/1.1 +20 OK",
                           "HTTP/1.1 2000",
                           "HTTP/1.1 099 x",
                           "http/1.1 200 OK",
                           "ICY 200 OK",
                           "SSH-2.0-OpenSSH"}) {
    EXPECT_EQ(read(std::string(line) + "\r\n\r\n"), kInvalid) << line;
  }
}

TEST(ResponseReader, RefusesFieldsThatAreNone) {
  for (const std::string& field : {std::string("no colon"),
                                   std::string(": no name"),
                                   std::string("Space : x"),
                                   std::string(" folded: x"),
                                   std::string("\tfolded: x"),
                                   std::string("Nul: a\0b", 8),
                                   std::string("Cr: a\rb"),
                                   std::string("Escape: \x1B[2J")}) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\n" + field + "\r\n\r\n"), kInvalid) << field;
  }
}

TEST(ResponseReader, RefusesLengthsThatAreNone) {
  for (const char* length :
       {"", "-1", "+5", "0x5", "5 5", "5,5", "5;", "five", "18446744073709551616", "1e1"}) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: " + std::string(length) + "\r\n\r\nhello"),
              kInvalid)
        << length;
  }
}

TEST(ResponseReader, RefusesContradictions) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  EXPECT_EQ(read(ok + "Content-Length: 5\r\nContent-Length: 4\r\n\r\nhello"), kInvalid);
  EXPECT_EQ(read(ok + "Content-Length: 5\r\nContent-Length: 5\r\n\r\nhello"), "200 hello");
  EXPECT_EQ(read(ok + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"),
            kInvalid);
}

TEST(ResponseReader, RefusesEncodingsThatItDoesNotKnow) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  EXPECT_EQ(read(ok + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n"), kInvalid);
  EXPECT_EQ(read(ok + "Transfer-Encoding: identity\r\n\r\nhello"), kInvalid);
  EXPECT_EQ(read(ok + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n"),
            kInvalid);
  EXPECT_EQ(read(ok + "Content-Encoding: gzip\r\n\r\nhello"), kInvalid);
}

TEST(ResponseReader, RefusesAShortBody) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nhello"), kCutOff);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n6\r\nhello"), kCutOff);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n"), kCutOff);
}

TEST(ResponseReader, RefusesAnAnswerCutOffAnywhere) {
  const std::string whole =
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
  ASSERT_EQ(read(whole), "200 hello");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(read(whole.substr(0, length)), kCutOff) << length;
  }
}

TEST(ResponseReader, RefusesABodyAboveTheLimit) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string fits(kLimit, 'x');
  EXPECT_EQ(read(ok + "Content-Length: 100\r\n\r\n" + fits), "200 " + fits);
  EXPECT_EQ(read(ok + "Content-Length: 101\r\n\r\n"), kTooLarge);
  EXPECT_EQ(read(ok + "Content-Length: 18446744073709551615\r\n\r\n"), kTooLarge);
  EXPECT_EQ(read(ok + "\r\n" + fits), "200 " + fits);
  EXPECT_EQ(read(ok + "\r\n" + fits + "y"), kTooLarge);
  const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  EXPECT_EQ(read(chunked + "64\r\n" + fits + "\r\n0\r\n\r\n"), "200 " + fits);
  EXPECT_EQ(read(chunked + "64\r\n" + fits + "\r\n1\r\ny\r\n0\r\n\r\n"), kTooLarge);
  EXPECT_EQ(read(chunked + "ffffffffffffffff\r\n"), kTooLarge);
}

TEST(ResponseReader, RefusesChunkSizesThatAreNone) {
  for (const char* size : {"", "-1", "+1", "0x1", "g", ";x", "10000000000000000", "1 1"}) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(size) +
                   "\r\nx\r\n0\r\n\r\n"),
              kInvalid)
        << size;
  }
}

TEST(ResponseReader, RefusesAChunkThatIsLongerThanItSays) {
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nhello\r\n0\r\n\r\n"),
            kInvalid);
}

TEST(ResponseReader, GivesUpOnLinesWithoutEnd) {
  const std::string many(kMaxLineBytes, 'x');
  EXPECT_EQ(read(many), kCutOff);
  EXPECT_EQ(read(many + "x"), kTooLarge);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nX: " + many), kTooLarge);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1;" + many), kTooLarge);
}

TEST(ResponseReader, GivesUpOnLinesWithoutNumber) {
  std::string fields;
  std::string interim;
  std::string chunks;
  while (fields.size() <= kMaxLineBytes) {
    fields += "X: y\r\n";
  }
  while (interim.size() <= kMaxLineBytes) {
    interim += "HTTP/1.1 100 Continue\r\n\r\n";
  }
  while (chunks.size() <= kMaxLineBytes) {
    chunks += "0000000000000000000000000000000000000000000000000000000000000000001\r\nx\r\n";
  }
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\n" + fields), kTooLarge);
  EXPECT_EQ(read(interim), kTooLarge);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks), kTooLarge);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n" + fields), kTooLarge);
}

TEST(ResponseReader, HandsTheStreamsErrorOn) {
  const std::string whole =
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    TextStream stream(whole.substr(0, length), 3, ERROR_TIMEOUT);
    EXPECT_EQ(answerOf(stream), error(ERROR_TIMEOUT)) << length;
  }
  TextStream toEnd("HTTP/1.1 200 OK\r\n\r\nhello", 3, ERROR_TIMEOUT);
  EXPECT_EQ(answerOf(toEnd), error(ERROR_TIMEOUT));
  TextStream counted("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhello", 3, ERROR_TIMEOUT);
  EXPECT_EQ(answerOf(counted), error(ERROR_TIMEOUT));
}

}  // namespace
}  // namespace qx::response_test
