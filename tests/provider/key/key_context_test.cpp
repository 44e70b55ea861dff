#include "provider/key/key_context.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/key/key_store.h"
#include "tests/provider/key/key_environment.h"
#include "tests/provider/key/sample_keys.h"
#include "tests/support/provider_folder.h"

namespace qx::key_context_test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class KeyContextTest : public ::testing::Test {
 protected:
  KeyReference reference() const { return {.location = Location::CurrentUser, .id = *id_}; }

  test::ProviderFolder folder_;
  std::shared_ptr<const PrivateKey> key_ = test::makeKey(lab::KeyKind::Gost2012_256);
  Result<std::string> id_ = addKey(Location::CurrentUser, *key_, "1234");
  KeyContext context_{kProviderGost2012_256, reference()};
};

TEST_F(KeyContextTest, IsLockedAtFirst) {
  EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV);
}

TEST_F(KeyContextTest, OpensUnderTheRightPin) {
  context_.setPin("1234");
  const auto key = context_.usableKey();
  ASSERT_TRUE(key);
  EXPECT_EQ(keyId((*key)->publicKeyBits()), *id_);
  EXPECT_EQ(*context_.usableKey(), *key);
}

TEST_F(KeyContextTest, StaysLockedUnderAWrongPin) {
  context_.setPin("4321");
  EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV);
  EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV);
  context_.setPin("1234");
  EXPECT_TRUE(context_.usableKey());
}

TEST_F(KeyContextTest, IsLockedAgainByAWrongOrEmptyPin) {
  for (const char* wrong : {"4321", "", "123"}) {
    context_.setPin("1234");
    ASSERT_TRUE(context_.usableKey());
    context_.setPin(wrong);
    EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV) << wrong;
  }
  context_.setPin("1234");
  context_.clearPin();
  EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV);
}

TEST_F(KeyContextTest, DoesNotUnlockItsNeighbours) {
  KeyContext neighbour(kProviderGost2012_256, reference());
  context_.setPin("1234");
  ASSERT_TRUE(context_.usableKey());
  EXPECT_EQ(neighbour.usableKey().error(), SCARD_W_WRONG_CHV);
  neighbour.setPin("");
  EXPECT_EQ(neighbour.usableKey().error(), SCARD_W_WRONG_CHV);
  neighbour.setPin("1234");
  EXPECT_EQ(*neighbour.usableKey(), *context_.usableKey());
}

TEST_F(KeyContextTest, KeepsItsKeyWhenTheFileGoes) {
  context_.setPin("1234");
  ASSERT_TRUE(context_.usableKey());
  ASSERT_TRUE(removeKey(Location::CurrentUser, *id_));
  EXPECT_TRUE(context_.usableKey());
  KeyContext late(kProviderGost2012_256, reference());
  late.setPin("1234");
  EXPECT_EQ(late.usableKey().error(), NTE_BAD_KEYSET);
}

TEST_F(KeyContextTest, HeedsAPinThatWasChanged) {
  context_.setPin("1234");
  ASSERT_TRUE(context_.usableKey());
  ASSERT_TRUE(changePin(Location::CurrentUser, *id_, "1234", "5678"));
  context_.setPin("1234");
  EXPECT_EQ(context_.usableKey().error(), SCARD_W_WRONG_CHV);
  context_.setPin("5678");
  EXPECT_TRUE(context_.usableKey());
}

TEST_F(KeyContextTest, TakesAnyPinForAKeyWithoutOneAndSaysSo) {
  ASSERT_TRUE(changePin(Location::CurrentUser, *id_, "1234", std::nullopt));
  EXPECT_TRUE(context_.usableKey());
  const test::TraceSince trace;
  context_.setPin("secret-looking text");
  EXPECT_TRUE(context_.usableKey());
  EXPECT_THAT(trace.lines(), HasSubstr("which has none"));
  EXPECT_THAT(trace.lines(), Not(HasSubstr("secret-looking")));
}

TEST_F(KeyContextTest, TracesNoPin) {
  const test::TraceSince trace;
  context_.setPin("a wrong PIN");
  EXPECT_FALSE(context_.usableKey());
  context_.setPin("1234");
  EXPECT_TRUE(context_.usableKey());
  EXPECT_THAT(trace.lines(), HasSubstr("cannot be used: 8010006b"));
  EXPECT_THAT(trace.lines(), Not(HasSubstr("a wrong PIN")));
  EXPECT_THAT(trace.lines(), Not(HasSubstr("1234\n")));
}

TEST_F(KeyContextTest, SaysWhenTheFileHoldsAnotherKey) {
  const auto other = test::makeKey(lab::KeyKind::Gost2012_256);
  const auto otherId = addKey(Location::CurrentUser, *other, "1234");
  ASSERT_TRUE(otherId);
  std::filesystem::rename(folder_.path() + "/keys/" + *otherId, folder_.path() + "/keys/" + *id_);
  context_.setPin("1234");
  EXPECT_EQ(context_.usableKey().error(), NTE_BAD_PUBLIC_KEY);
}

TEST_F(KeyContextTest, WithoutKeyHasNone) {
  KeyContext without(PROV_GOST_2001_DH);
  EXPECT_EQ(without.key(), nullptr);
  EXPECT_EQ(without.usableKey().error(), NTE_NO_KEY);
  EXPECT_EQ(without.unlockByPrompt("key").error(), NTE_NO_KEY);
}

TEST_F(KeyContextTest, AsksForThePin) {
  test::writePinentry("D 1234");
  ASSERT_TRUE(context_.unlockByPrompt("CN=A"));
  EXPECT_TRUE(context_.usableKey());
}

TEST_F(KeyContextTest, AsksOnceOnly) {
  test::writePinentry("D 4321");
  std::filesystem::remove(test::pinentryPath() + ".log");
  EXPECT_EQ(context_.unlockByPrompt("CN=A").error(), SCARD_W_WRONG_CHV);
  const std::string log = test::readFile(test::pinentryPath() + ".log");
  EXPECT_EQ(log.find("GETPIN"), log.rfind("GETPIN"));
}

TEST_F(KeyContextTest, DoesNotAskForAnOpenKey) {
  test::writePinentry("ERR 1 must not be asked");
  context_.setPin("1234");
  EXPECT_TRUE(context_.unlockByPrompt("CN=A"));
  ASSERT_TRUE(changePin(Location::CurrentUser, *id_, "1234", std::nullopt));
  KeyContext plain(kProviderGost2012_256, reference());
  EXPECT_TRUE(plain.unlockByPrompt("CN=A"));
}

TEST_F(KeyContextTest, FailsWhenTheUserCancels) {
  test::writePinentry("ERR 83886179 cancelled");
  EXPECT_EQ(context_.unlockByPrompt("CN=A").error(), SCARD_W_CANCELLED_BY_USER);
  std::filesystem::remove(test::pinentryPath());
  EXPECT_EQ(context_.unlockByPrompt("CN=A").error(), NTE_SILENT_CONTEXT);
}

TEST_F(KeyContextTest, GoesOnInAChild) {
  context_.setPin("1234");
  ASSERT_TRUE(context_.usableKey());
  KeyContext locked(kProviderGost2012_256, reference());
  const pid_t child = fork();
  if (child == 0) {
    const bool keeps = static_cast<bool>(context_.usableKey());
    const auto digest = test::someDigest(HashAlgorithm::Streebog256);
    const bool signs =
        keeps && (*context_.usableKey())->signDigest(HashAlgorithm::Streebog256, digest);
    locked.setPin("4321");
    const bool refuses = !locked.usableKey();
    locked.setPin("1234");
    const bool opens = static_cast<bool>(locked.usableKey());
    _exit(keeps && signs && refuses && opens ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(KeyContextTest, AnswersPinsOfManyThreadsRightly) {
  constexpr int kRounds = 10;
  const std::vector<std::string> pins = {"1234", "", "4321", "1234"};
  std::vector<int> opened(pins.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < pins.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) {
        KeyContext own(kProviderGost2012_256, reference());
        own.setPin(pins[i]);
        opened[i] += own.usableKey() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(opened, ::testing::ElementsAre(kRounds, 0, 0, kRounds));
}

TEST_F(KeyContextTest, IsKnownByItsHandle) {
  const HCRYPTPROV handle = context_.handle();
  EXPECT_TRUE(isKeyContext(handle));
  context_.setPin("1234");
  EXPECT_TRUE(usableKey(handle));
  EXPECT_FALSE(isKeyContext(0));
  EXPECT_EQ(usableKey(0).error(), ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace qx::key_context_test
