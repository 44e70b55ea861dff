#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/http/client.h"
#include "tests/provider/http/http_calls.h"
#include "tests/provider/http/scripted_server.h"
#include "tests/support/temp_dir.h"
#include "tools/lab/pki.h"

namespace qx::test::meanwhile_test {
namespace {

using ::testing::SizeIs;

class MeanwhileTest : public ::testing::Test {
 protected:
  Meanwhile counted(Result<void> result = {}) {
    return [this, result] {
      ++count_;
      return result;
    };
  }

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
  const lab::Authority root = lab::Authority::selfSigned(
      lab::KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Root"}}});
  const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  const X509Ptr certificate = root.issue(
      key.get(),
      {.subject = {{.type = "CN", .value = "localhost"}}, .subjectAltName = "IP:127.0.0.1"});
  const TempDir folder;
  const HttpSettings settings{.proxy = {},
                              .caFile = folder.write("ca.pem", lab::toPem(root.certificate()))};
  const ScriptedServer server({okAnswer("hello")},
                              {.key = key.get(), .certificate = certificate.get()});
  EXPECT_EQ(ask({.url = server.url(), .meanwhile = counted()}, kAmple, settings), "hello");
  EXPECT_EQ(count_, 1);
  EXPECT_EQ(
      ask({.url = server.url(), .meanwhile = counted(fail(NTE_BAD_SIGNATURE))}, kAmple, settings),
      failed(NTE_BAD_SIGNATURE));
}

}  // namespace
}  // namespace qx::test::meanwhile_test
