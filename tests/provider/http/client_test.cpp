#include "provider/http/client.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/provider/support/scoped_environment.h"

namespace qx::test::client_test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

TEST(HttpClient, Gets) {
  const ScriptedServer server({okAnswer("hello")});
  EXPECT_EQ(get(server.url("/a?b=c")), "hello");
  EXPECT_THAT(server.requests(),
              ElementsAre("GET /a?b=c HTTP/1.1\r\nHost: 127.0.0.1:" +
                          std::to_string(server.port()) + "\r\nConnection: close\r\n\r\n"));
}

TEST(HttpClient, Posts) {
  const ScriptedServer server({okAnswer("yes")});
  const HttpRequest request{.url = server.url("/"),
                            .contentType = "application/timestamp-query",
                            .accept = "application/timestamp-reply",
                            .body = {'a', 0, 'b'}};
  EXPECT_EQ(ask(request), "yes");
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_THAT(server.requests()[0],
              AllOf(StartsWith("POST / HTTP/1.1\r\n"),
                    HasSubstr("\r\nContent-Type: application/timestamp-query\r\n"),
                    HasSubstr("\r\nAccept: application/timestamp-reply\r\n"),
                    HasSubstr("\r\nContent-Length: 3\r\n"),
                    ::testing::EndsWith(std::string("\r\n\r\na\0b", 7)),
                    Not(HasSubstr("Authorization"))));
}

TEST(HttpClient, PostsNothingAtAll) {
  const ScriptedServer server({okAnswer("yes")});
  EXPECT_EQ(ask({.url = server.url(), .contentType = "text/plain"}), "yes");
  EXPECT_THAT(server.requests(), ElementsAre(HasSubstr("Content-Length: 0\r\n")));
}

TEST(HttpClient, TakesLargeBodiesBothWays) {
  const std::string large(3'000'000, 'x');
  const ScriptedServer server({okAnswer(large)});
  const HttpRequest request{.url = server.url(),
                            .contentType = "text/plain",
                            .body = std::vector<std::uint8_t>(2'000'000, 'y')};
  EXPECT_EQ(ask(request, {.time = kPatience, .bytes = large.size()}), large);
  EXPECT_THAT(server.requests(), ElementsAre(HasSubstr(std::string(2'000'000, 'y'))));
}

TEST(HttpClient, TakesChunks) {
  const ScriptedServer server(
      Answers{{.text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                       "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n"}});
  EXPECT_EQ(get(server.url()), "hello");
}

TEST(HttpClient, DoesNotWaitForTheEndOfTheConnection) {
  ScriptedAnswer counted = okAnswer("hello");
  counted.waits = true;
  const ScriptedAnswer chunked{.text =
                                   "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                   "5\r\nhello\r\n0\r\n\r\n",
                               .waits = true};
  const ScriptedServer server({counted, chunked});
  EXPECT_EQ(get(server.url()), "hello");
  EXPECT_EQ(get(server.url()), "hello");
}

TEST(HttpClient, FindsLocalhostByItsName) {
  const ScriptedServer server({okAnswer("hello")});
  EXPECT_EQ(get("http://localhost:" + std::to_string(server.port()) + "/"), "hello");
}

TEST(HttpClient, IsRefusedWithoutAWait) {
  const std::string port = std::to_string(unusedPort());
  EXPECT_EQ(get("http://127.0.0.1:" + port), failed(ERROR_CONNECTION_REFUSED));
  EXPECT_EQ(get("http://localhost:" + port), failed(ERROR_CONNECTION_REFUSED));
}

TEST(HttpClient, DoesNotKnowEveryHost) {
  EXPECT_EQ(get("http://no-such-host.invalid/"), failed(ERROR_WINHTTP_NAME_NOT_RESOLVED));
  EXPECT_EQ(get("http://1.2.3.4.5/"), failed(ERROR_WINHTTP_NAME_NOT_RESOLVED));
}

TEST(HttpClient, EndsWithItsDeadline) {
  const std::string head = "HTTP/1.1 200 OK\r\n";
  for (const std::string& text : {std::string(),
                                  std::string("HTTP/1.1"),
                                  head,
                                  head + "Content-Length: 5\r\n\r\nhell",
                                  head + "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n",
                                  head + "\r\nhello"}) {
    const ScriptedServer server(Answers{{.text = text, .waits = true}});
    EXPECT_EQ(get(server.url(), kShortly), failed(ERROR_TIMEOUT)) << text;
  }
}

// A server that always has something to say holds nobody up for longer.
TEST(HttpClient, EndsWithItsDeadlineInTheMiddleOfTalk) {
  const ScriptedServer server(Answers{{.text = "HTTP/1.1 200 OK\r\n\r\n", .repeated = "x"}});
  const HttpLimits limits{.time = kShortly.time, .bytes = std::size_t{1} << 40U};
  EXPECT_EQ(ask({.url = server.url()}, limits), failed(ERROR_TIMEOUT));
}

TEST(HttpClient, EndsWithItsDeadlineWhenNobodyReads) {
  const Fd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(listen(listener.get(), 1), 0);
  ASSERT_EQ(getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  const HttpRequest request{
      .url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/",
      .contentType = "text/plain",
      .body = std::vector<std::uint8_t>(std::size_t{64} << 20U)};
  EXPECT_EQ(ask(request, kShortly), failed(ERROR_TIMEOUT));
}

TEST(HttpClient, WithoutTimeAsksNobody) {
  const ScriptedServer server({okAnswer("hello")});
  const HttpLimits none{.time = std::chrono::milliseconds(0), .bytes = 100};
  EXPECT_EQ(ask({.url = server.url()}, none), failed(ERROR_TIMEOUT));
}

TEST(HttpClient, RefusesAnswersAboveTheLimit) {
  const ScriptedServer server({okAnswer(std::string(101, 'x')),
                               {.text = "HTTP/1.1 200 OK\r\n\r\n", .repeated = "x"},
                               {.text = "HTTP/1.1 200 OK\r\n", .repeated = "X: y\r\n"},
                               {.text = "HTTP/1.1 200 OK\r\nX: ", .repeated = "y"},
                               {.text = "", .repeated = "HTTP/1.1 100 Continue\r\n\r\n"}});
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(ask({.url = server.url()}, {.time = kPatience, .bytes = 100}),
              failed(ERROR_WINHTTP_RESPONSE_DRAIN_OVERFLOW))
        << i;
  }
}

TEST(HttpClient, RefusesLies) {
  const ScriptedServer server(
      Answers{{.text = "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n"},
              {.text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n"},
              {.text = "220 mail.example ESMTP\r\n\r\n"}});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)) << i;
  }
}

TEST(HttpClient, RefusesWhatIsCutOff) {
  const ScriptedServer server(
      Answers{{.text = ""},
              {.text = "HTTP/1.1 200 OK\r\n"},
              {.text = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nhello"}});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_CONNECTION_ERROR)) << i;
  }
}

TEST(HttpClient, TakesNoOtherStatus) {
  for (const int status : {201, 204, 206, 300, 303, 304, 305, 400, 403, 404, 500, 503, 999}) {
    const ScriptedServer server(
        Answers{{.text = "HTTP/1.1 " + std::to_string(status) +
                         " x\r\nLocation: /\r\nContent-Length: 5\r\n\r\nhello"}});
    EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_INVALID_SERVER_RESPONSE)) << status;
    EXPECT_EQ(server.requests().size(), 1U);
  }
}

TEST(HttpClient, RefusesUrlsWithoutAPacket) {
  const ScriptedServer server({okAnswer("hello")});
  for (const std::string& url : {std::string(),
                                 std::string("file:///etc/passwd"),
                                 server.url("/a b"),
                                 server.url("/a\r\nX: y"),
                                 "http://user:password@" + server.url().substr(7)}) {
    EXPECT_EQ(get(url), failed(ERROR_WINHTTP_INVALID_URL)) << url;
  }
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST(HttpClient, RefusesFieldsThatWouldAddOthers) {
  const ScriptedServer server({okAnswer("hello")});
  EXPECT_EQ(ask({.url = server.url(), .contentType = "a\r\nX: y"}),
            failed(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(ask({.url = server.url(), .accept = "a\nb"}), failed(ERROR_INVALID_PARAMETER));
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST(HttpClient, HeedsNoVariables) {
  const ScopedEnvironment environment = {{"http_proxy", "http://127.0.0.1:1"},
                                         {"HTTP_PROXY", "http://127.0.0.1:1"},
                                         {"ALL_PROXY", "http://127.0.0.1:1"}};
  const ScriptedServer server({okAnswer("hello")});
  EXPECT_EQ(get(server.url()), "hello");
}

TEST(HttpClient, AsksAProxyThatIsConfigured) {
  const ScriptedServer proxy({okAnswer("from afar")});
  const HttpSettings settings{.proxy = proxy.url()};
  EXPECT_EQ(ask({.url = "http://stamps.invalid:81/a?b"}, kAmple, settings), "from afar");
  EXPECT_THAT(proxy.requests(),
              ElementsAre(StartsWith("GET http://stamps.invalid:81/a?b HTTP/1.1\r\n"
                                     "Host: stamps.invalid:81\r\n")));
}

TEST(HttpClient, RefusesAProxyThatIsNone) {
  for (const char* proxy : {"proxy:3128", "https://proxy:3128", "socks5://proxy"}) {
    const HttpSettings settings{.proxy = proxy};
    EXPECT_EQ(ask({.url = "http://127.0.0.1/"}, kAmple, settings),
              failed(ERROR_WINHTTP_INVALID_URL));
  }
}

TEST(HttpClient, IsAskedInAChildToo) {
  const ScriptedServer server({okAnswer("hello")});
  const std::string url = "http://localhost:" + std::to_string(server.port()) + "/";
  ASSERT_EQ(get(url), "hello");
  EXPECT_EXIT(
      {
        alarm(20);
        _exit(get(url) == "hello" ? 0 : 1);
      },
      ::testing::ExitedWithCode(0),
      "");
}

TEST(HttpClient, LeavesTheErrorQueueAlone) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_USER, 77);
  EXPECT_EQ(get("http://127.0.0.1:" + std::to_string(unusedPort())),
            failed(ERROR_CONNECTION_REFUSED));
  EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 77);
  EXPECT_EQ(ERR_get_error(), 0U);
}

class HttpRedirection : public ::testing::TestWithParam<int> {
 protected:
  static ScriptedAnswer to(const std::string& location) {
    return {.text = "HTTP/1.1 " + std::to_string(GetParam()) + " Moved\r\nLocation: " + location +
                    "\r\nContent-Length: 0\r\n\r\n"};
  }
};

INSTANTIATE_TEST_SUITE_P(Statuses, HttpRedirection, ::testing::Values(301, 302, 307, 308));

TEST_P(HttpRedirection, IsFollowedOnceWithTheSameRequest) {
  const ScriptedServer server({to("/there"), okAnswer("hello")});
  EXPECT_EQ(ask({.url = server.url(), .contentType = "text/plain", .body = {'q'}}), "hello");
  EXPECT_THAT(server.requests(),
              ElementsAre(StartsWith("POST / HTTP"),
                          AllOf(StartsWith("POST /there HTTP"), ::testing::EndsWith("\r\n\r\nq"))));
}

TEST_P(HttpRedirection, GoesToAnotherPortOfTheHost) {
  const ScriptedServer other({okAnswer("hello")});
  const ScriptedServer server({to(other.url("/x"))});
  EXPECT_EQ(get(server.url()), "hello");
}

TEST_P(HttpRedirection, IsNotFollowedTwice) {
  const ScriptedServer server({to("/a"), to("/b"), okAnswer("hello")});
  EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_REDIRECT_FAILED));
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_P(HttpRedirection, IsNotFollowedToAnotherHost) {
  const ScriptedServer other({okAnswer("hello")});
  const ScriptedServer server({to("http://localhost:" + std::to_string(other.port()) + "/")});
  EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_REDIRECT_FAILED));
  EXPECT_THAT(other.requests(), IsEmpty());
}

TEST_P(HttpRedirection, NeedsAPlace) {
  const ScriptedServer server(
      Answers{{.text = "HTTP/1.1 " + std::to_string(GetParam()) + " Moved\r\n\r\n"}});
  EXPECT_EQ(get(server.url()), failed(ERROR_WINHTTP_REDIRECT_FAILED));
}

}  // namespace
}  // namespace qx::test::client_test
