// Servers that want us elsewhere, for ever, or in two minds.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"

namespace qx::test::hostile_answers_test {
namespace {

using ::testing::AnyOf;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kTooLarge = failed(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW);

std::string redirection(const std::string& location) {
  return "HTTP/1.1 302 Found\r\nLocation: " + location + "\r\n\r\n";
}

TEST(HostileAnswers, LeadToNoOtherSchemeOrPlace) {
  const ScriptedServer target({okAnswer("hello")});
  const std::string address = "127.0.0.1:" + std::to_string(target.port());
  for (const std::string& location : {std::string("file:///etc/passwd"),
                                      "ftp://" + address + "/",
                                      "ldap://" + address + "/",
                                      std::string("data:text/plain,hello"),
                                      std::string("javascript:hello"),
                                      "//" + address + "/",
                                      std::string("relative"),
                                      std::string("?query"),
                                      std::string("#fragment"),
                                      "\\\\" + address + "\\",
                                      "http:/" + address + "/",
                                      "http://" + address + "@127.0.0.2/",
                                      "http://user@" + address + "/",
                                      std::string("http://127.0.0.1.invalid/"),
                                      "http://127.0.0.1%00" + address.substr(9) + "/",
                                      "http://" + address + "/a b",
                                      "http://" + address + "/\xC3\xA4",
                                      "http://" + address + "/" + std::string(2048, 'x')}) {
    const ScriptedServer server(Answers{{.text = redirection(location)}, okAnswer("again")});
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_REDIRECT_FAILED)) << location;
    EXPECT_THAT(server.requests(), SizeIs(1)) << location;
  }
  EXPECT_THAT(target.requests(), IsEmpty());
}

TEST(HostileAnswers, LeadNowhereWhenTheyAreCutOff) {
  const ScriptedServer target({okAnswer("hello")});
  const std::string whole = redirection(target.url("/x"));
  Answers answers;
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    answers.push_back({.text = whole.substr(0, length)});
  }
  const ScriptedServer server(answers);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    ASSERT_EQ(get(server.url()), failed(ERROR_WINHTTP_CONNECTION_ERROR)) << length;
  }
  EXPECT_THAT(target.requests(), IsEmpty());
  EXPECT_EQ(get(server.url()), "hello") << "the whole of it leads there";
}

// Whatever comes again and again comes to an end; none of these waits for the deadline.
TEST(HostileAnswers, AreGivenUpWhenTheyNeverEnd) {
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::pair<std::string, std::string> floods[] = {
      {"", "x"},
      {"", "HTTP/1.1 100 Continue\r\n\r\n"},
      {"", "HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n"},
      {"HTTP/1.1 200 OK\r\n", "X-Again: and again\r\n"},
      {"HTTP/1.1 200 OK\r\nX-Long: ", "and again "},
      {"HTTP/1.1 302 Found\r\nLocation: /", "../"},
      {"HTTP/1.1 200 OK\r\n\r\n", "and again "},
      {chunked, "1\r\nx\r\n"},
      {chunked, "1;extension=\"and again\"\r\nx\r\n"},
      {chunked + "5;", "extension;"},
      {chunked, "0"},
      {chunked + "0\r\n", "X-Trailer: and again\r\n"},
      {chunked + "ffff\r\n", "x"}};
  for (const auto& [text, repeated] : floods) {
    const ScriptedServer server(Answers{{.text = text, .repeated = repeated}});
    EXPECT_EQ(get(server.url(), {.time = kPatience, .bytes = 20'000}), kTooLarge)
        << text << " and then " << repeated;
  }
}

TEST(HostileAnswers, AreRefusedWhenTheyCanBeReadInTwoWays) {
  for (const char* fields : {"Content-Length: 5\r\nContent-Length: 6\r\n",
                             "Content-Length: 5, 5\r\n",
                             "Content-Length: +5\r\n",
                             "Content-Length: 0x5\r\n",
                             "Content-Length: 5 \x01\r\n",
                             "Content-Length: 18446744073709551621\r\n",
                             "Content-Length : 5\r\n",
                             "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n",
                             "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n",
                             "Transfer-Encoding: chunked, identity\r\n",
                             "Transfer-Encoding: gzip, chunked\r\n",
                             "Transfer-Encoding: xchunked\r\n",
                             "X: y\r\n Content-Length: 5\r\n",
                             "X: y\rContent-Length: 5\r\n",
                             ": 5\r\n",
                             "Content-Encoding: gzip\r\n"}) {
    const ScriptedServer server(
        Answers{{.text = "HTTP/1.1 200 OK\r\n" + std::string(fields) + "\r\nhello"}});
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)) << fields;
  }
}

TEST(HostileAnswers, AreRefusedWithChunksThatCanBeReadInTwoWays) {
  for (const char* chunks : {"5\r\nhelloX\r\n0\r\n\r\n",
                             "-5\r\nhello\r\n0\r\n\r\n",
                             "+5\r\nhello\r\n0\r\n\r\n",
                             "0x5\r\nhello\r\n0\r\n\r\n",
                             "5 5\r\nhello\r\n0\r\n\r\n",
                             "10000000000000005\r\nhello\r\n0\r\n\r\n",
                             "\r\n5\r\nhello\r\n0\r\n\r\n",
                             ";x\r\nhello\r\n0\r\n\r\n",
                             "5\r\nhello\r\n0\r\n: no name\r\n\r\n",
                             "5\r\nhello\r\n0\r\nno colon\r\n\r\n"}) {
    const ScriptedServer server(Answers{
        {.text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(chunks)}});
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)) << chunks;
  }
}

TEST(HostileAnswers, DoNotOverflowWithTheLargestChunk) {
  const ScriptedServer server(
      Answers{{.text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n"
                       "fffffffffffffffb\r\nand more\r\n0\r\n\r\n"}});
  EXPECT_EQ(get(server.url()), kTooLarge);
}

// A proxy speaks before anybody has shown who he is.
TEST(HostileAnswers, OfAProxyAreGivenUpToo) {
  const std::pair<ScriptedAnswer, std::string> answers[] = {
      {{.text = "", .repeated = "HTTP/1.1 100 Continue\r\n\r\n"}, kTooLarge},
      {{.text = "HTTP/1.1 200 OK\r\n", .repeated = "X-Again: and again\r\n"}, kTooLarge},
      {{.text = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"},
       failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)},
      {{.text = "HTTP/1.1 302 Found\r\nLocation: https://other.invalid/\r\n\r\n"},
       failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)},
      {{.text = "HTTP/1.1 407 Who are you\r\n\r\n"}, failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)},
      {{.text = "HTTP/1.1 200"}, failed(ERROR_WINHTTP_CONNECTION_ERROR)},
      {{.text = ""}, failed(ERROR_WINHTTP_CONNECTION_ERROR)}};
  for (const auto& [answer, error] : answers) {
    const ScriptedServer proxy(Answers{answer});
    EXPECT_EQ(ask({.url = "https://stamps.invalid/"}, kAmple, {.proxy = proxy.url()}), error)
        << answer.text;
  }
}

// The end of the connection instead of a handshake.
TEST(HostileAnswers, OfAProxyThatOpensATunnelToNobody) {
  const ScriptedServer proxy(Answers{{.text = "HTTP/1.1 200 OK\r\n\r\n"}});
  EXPECT_THAT(ask({.url = "https://stamps.invalid/"}, kAmple, {.proxy = proxy.url()}),
              AnyOf(failed(ERROR_WINHTTP_CONNECTION_ERROR), failed(ERROR_WINHTTP_SECURE_FAILURE)));
}

}  // namespace
}  // namespace qx::test::hostile_answers_test
