#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/http/client.h"
#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/provider/http/tls_world.h"

namespace qx::test::meanwhile_test {
namespace {

using ::testing::SizeIs;

class MeanwhileTest : public ::testing::Test {
 protected:
  Meanwhile counted(Result<void> result = {}) { return counting(count_, result); }

  int count_ = 0;
};

TEST_F(MeanwhileTest, IsDoneBeforeTheAnswerIsRead) {
  const ScriptedServer server({okAnswer("hello")});
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = counted()}), "hello");
  EXPECT_EQ(count_, 1);
}

TEST_F(MeanwhileTest, IsDoneAfterTheQuestionHasLeft) {
  const ScriptedServer server({okAnswer("hello")});
  std::vector<std::string> requests;
  const Meanwhile work = [&] {
    while (requests.empty()) {
      requests = server.requests();
    }
    return Result<void>();
  };
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = work}), "hello");
  EXPECT_THAT(requests, SizeIs(1));
}

TEST_F(MeanwhileTest, EndsAnExchangeThatItFailsIn) {
  const ScriptedServer server(Answers{{.text = "", .waits = true}});
  KeptConnection kept;
  EXPECT_EQ(
      ask({.url = server.url(), .kept = &kept, .meanwhile = counted(fail(NTE_BAD_SIGNATURE))}),
      failed(NTE_BAD_SIGNATURE));
  EXPECT_EQ(kept.stream, nullptr);
  EXPECT_EQ(count_, 1);
}

TEST_F(MeanwhileTest, IsNotDoneWithoutAConnection) {
  const std::string url = "http://127.0.0.1:" + std::to_string(unusedPort());
  EXPECT_EQ(ask({.url = url, .meanwhile = counted()}), failed(ERROR_CONNECTION_REFUSED));
  EXPECT_EQ(count_, 0);
}

TEST_F(MeanwhileTest, IsDoneOnceForARedirectedQuestion) {
  const ScriptedServer server(
      {{.text = "HTTP/1.1 307 Moved\r\nLocation: /there\r\nContent-Length: 0\r\n\r\n"},
       okAnswer("hello")});
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = counted()}), "hello");
  EXPECT_EQ(count_, 1);
}

TEST_F(MeanwhileTest, IsDoneOnceForAQuestionThatIsRepeated) {
  ScriptedAnswer first = okAnswer("one");
  first.keeps = true;
  const ScriptedServer server({first, {.text = ""}, okAnswer("two")});
  KeptConnection kept;
  EXPECT_EQ(ask({.url = server.url(), .kept = &kept}), "one");
  EXPECT_EQ(ask({.url = server.url(), .kept = &kept, .meanwhile = counted()}), "two");
  EXPECT_THAT(server.requests(), SizeIs(3));
  EXPECT_EQ(count_, 1);
}

TEST_F(MeanwhileTest, IsDoneForASecureQuestionToo) {
  const TlsWorld world;
  const ScriptedServer server({okAnswer("hello")}, world.identity());
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = counted()}, kAmple, world.settings()), "hello");
  EXPECT_EQ(count_, 1);
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = counted(fail(NTE_BAD_SIGNATURE))},
                kAmple,
                world.settings()),
            failed(NTE_BAD_SIGNATURE));
}

}  // namespace
}  // namespace qx::test::meanwhile_test
