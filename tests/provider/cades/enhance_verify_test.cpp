#include <memory>

#include <gtest/gtest.h>

#include "platform/cades.h"

#include "provider/cades/enhance.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/support/kind_name.h"

namespace qx::test::enhance_verify_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("What is written here is signed.");

struct FreeInfo {
  void operator()(CADES_VERIFICATION_INFO* info) const { CadesFreeVerificationInfo(info); }
};

/// The state of a signature, as the provider's own verification sees it.
::testing::AssertionResult isGood(const MessageHandle& message, DWORD index = 0) {
  CADES_VERIFICATION_INFO* info = nullptr;
  const BOOL good = CadesMsgVerifySignature(message.get(), index, nullptr, &info);
  const DWORD error = GetLastError();
  const std::unique_ptr<CADES_VERIFICATION_INFO, FreeInfo> owned(info);
  if (good != FALSE && info != nullptr && info->dwStatus == CADES_STATUS_GOOD) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << "status " << (info == nullptr ? -1 : static_cast<int>(info->dwStatus)) << ", error "
         << std::hex << error;
}

class EnhancedIsVerified : public ::testing::TestWithParam<KeyKind> {};

// The revocation data that were there at the enhancement are gone: what the message carries is enough.
TEST_P(EnhancedIsVerified, FromWhatItCarries) {
  EnhanceWorld world({.kind = GetParam()});
  LabTimeStamps service(world.authority());
  for (const DWORD flags : {DWORD{0}, DWORD{CMSG_DETACHED_FLAG}}) {
    world.storeCrl(world.root());
    world.storeCrl(world.issuer());
    const MessageHandle message = decode(signBes({&world.signer()}, kContent, {.flags = flags}));
    const auto done = enhance(dataOf(message), 0, service);
    ASSERT_TRUE(done) << std::hex << done.error();
    world.forgetCrls();
    const Octets changed = changedMessage(message);
    EXPECT_TRUE(isGood(flags == 0 ? decode(changed) : decodeDetached(changed, kContent)));
  }
}

INSTANTIATE_TEST_SUITE_P(Enhance, EnhancedIsVerified, ::testing::ValuesIn(allKinds()), kindOf);

TEST(EnhancedMessage, IsVerifiedSignerBySigner) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  const std::vector<Signer*> signers = {
      &world.signer(), &world.signer(KeyKind::Gost2012_256), &world.signer(KeyKind::Rsa2048)};
  const MessageHandle message = decode(signBes(signers, kContent));
  ASSERT_TRUE(enhanceAll(dataOf(message), service));
  const MessageHandle again = decode(changedMessage(message));
  for (DWORD i = 0; i < signers.size(); ++i) {
    EXPECT_TRUE(isGood(again, i)) << i;
  }
}

TEST(EnhancedMessage, IsVerifiedWhoeverEncodedIt) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  Signer& one = world.signer();
  const Octets plain = signBes({&one}, kContent);
  for (const Octets& foreign :
       {loose(plain),
        streamed(plain, 4),
        opensslSign({&one}, kContent, {"-cades", "-nodetach", "-stream"})}) {
    const MessageHandle message = decode(foreign);
    ASSERT_TRUE(enhance(dataOf(message), 0, service));
    EXPECT_TRUE(isGood(decode(changedMessage(message))));
  }
}

TEST(EnhancedMessage, IsVerifiedWithoutCertificatesBesideTheValues) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  testFolder().addCertificate("Others", world.signer().certificate());
  const MessageHandle message =
      decode(signBes({&world.signer()}, kContent, {.certificates = false}));
  ASSERT_TRUE(enhance(dataOf(message), 0, service));
  EXPECT_TRUE(isGood(decode(changedMessage(message))));
}

}  // namespace
}  // namespace qx::test::enhance_verify_test
