#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/http/client.h"
#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/provider/http/tls_world.h"

namespace qx::test::kept_connection_test {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

ScriptedAnswer keeping(ScriptedAnswer answer) {
  answer.keeps = true;
  return answer;
}

class KeptConnectionTest : public ::testing::Test {
 protected:
  std::string get(const std::string& url, const HttpSettings& settings = {}) {
    return ask({.url = url, .kept = &kept_}, kAmple, settings);
  }

  /// Whether the connection over which this was answered is kept.
  bool keepsAfter(const std::string& text) {
    const ScriptedServer server({{.text = text, .waits = true}});
    static_cast<void>(get(server.url()));
    return std::exchange(kept_.stream, nullptr) != nullptr;
  }

  KeptConnection kept_;
};

TEST_F(KeptConnectionTest, IsUsedForTheNextQuestion) {
  const ScriptedServer server(
      {keeping(okAnswer("one")),
       keeping(
           {.text = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\ntwo\r\n0\r\n\r\n"}),
       okAnswer("three")});
  EXPECT_EQ(get(server.url()), "one");
  EXPECT_EQ(get(server.url()), "two");
  EXPECT_EQ(get(server.url()), "three");
  EXPECT_EQ(server.connections(), 1U);
  EXPECT_THAT(server.requests(), SizeIs(3));
  EXPECT_THAT(server.requests(), Each(Not(HasSubstr("Connection"))));
}

TEST_F(KeptConnectionTest, IsReplacedWhenItHasEnded) {
  const ScriptedServer server({okAnswer("one"), okAnswer("two")});
  EXPECT_EQ(get(server.url()), "one");
  EXPECT_EQ(get(server.url()), "two");
  EXPECT_EQ(server.connections(), 2U);
}

TEST_F(KeptConnectionTest, IsReplacedWhenItEndsInTheMiddle) {
  const ScriptedServer server({keeping(okAnswer("one")),
                               {.text = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nt"},
                               okAnswer("two")});
  EXPECT_EQ(get(server.url()), "one");
  EXPECT_EQ(get(server.url()), "two");
  EXPECT_EQ(server.connections(), 2U);
}

TEST_F(KeptConnectionTest, HasADeadlineOfEachQuestion) {
  const ScriptedServer server({keeping(okAnswer("one")), {.text = "", .waits = true}});
  EXPECT_EQ(get(server.url()), "one");
  EXPECT_EQ(ask({.url = server.url(), .kept = &kept_}, kShortly), failed(ERROR_TIMEOUT));
  EXPECT_EQ(kept_.stream, nullptr);
}

TEST_F(KeptConnectionTest, IsOfOneServer) {
  const ScriptedServer one({okAnswer("one")});
  const ScriptedServer other({okAnswer("other")});
  EXPECT_EQ(get(one.url()), "one");
  EXPECT_EQ(get(other.url()), "other");
  EXPECT_EQ(kept_.server, "http://127.0.0.1:" + std::to_string(other.port()));
}

TEST_F(KeptConnectionTest, IsNoneAfterAnAnswerThatEndsIt) {
  EXPECT_TRUE(keepsAfter("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx"));
  EXPECT_FALSE(keepsAfter("HTTP/1.1 200 OK\r\nContent-Length: 1\r\nConnection: close\r\n\r\nx"));
  EXPECT_FALSE(keepsAfter("HTTP/1.0 200 OK\r\nContent-Length: 1\r\n\r\nx"));
}

TEST_F(KeptConnectionTest, IsNoneAfterMoreThanTheAnswer) {
  EXPECT_FALSE(keepsAfter("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nxHTTP/1.1 200 OK\r\n"));
}

TEST_F(KeptConnectionTest, IsNoneAfterAnotherAnswerThanAGoodOne) {
  EXPECT_FALSE(keepsAfter("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"));
}

TEST_F(KeptConnectionTest, IsKeptSecure) {
  const TlsWorld world;
  const ScriptedServer server(
      {keeping(okAnswer("one")), keeping(okAnswer("two")), okAnswer("three"), okAnswer("four")},
      world.identity());
  EXPECT_EQ(get(server.url(), world.settings()), "one");
  EXPECT_EQ(get(server.url(), world.settings()), "two");
  EXPECT_EQ(get(server.url(), world.settings()), "three");
  EXPECT_EQ(server.connections(), 1U);
  EXPECT_EQ(get(server.url(), world.settings()), "four");
  EXPECT_EQ(server.connections(), 2U);
}

}  // namespace
}  // namespace qx::test::kept_connection_test
