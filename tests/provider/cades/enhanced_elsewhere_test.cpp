#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "provider/cades/enhance.h"
#include "provider/cades/oids.h"
#include "tests/provider/cades/cades_verdict.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/cades/libcrypto_signer.h"
#include "tests/provider/message/changes.h"
#include "tests/support/command.h"

namespace qx::test::enhanced_elsewhere_test {
namespace {

const Octets kContent = octets("What is written here is signed.");

// An installation elsewhere that knows the root and nothing else, for as long as it lives.
class Elsewhere {
 public:
  explicit Elsewhere(const EnhanceWorld& world) {
    folder_.write("stores/Root/root.pem", lab::toPem(world.root().certificate()));
    for (const char* variable : {"QXPROVIDER_USER_DIR", "QXPROVIDER_MACHINE_DIR"}) {
      before_[variable] = std::getenv(variable);
      setenv(variable, folder_.path().c_str(), 1);
    }
  }

  ~Elsewhere() {
    for (const auto& [variable, value] : before_) {
      setenv(variable, value.c_str(), 1);
    }
  }

  Elsewhere(const Elsewhere&) = delete;
  Elsewhere& operator=(const Elsewhere&) = delete;
  Elsewhere(Elsewhere&&) = delete;
  Elsewhere& operator=(Elsewhere&&) = delete;

 private:
  TempDir folder_;
  std::map<const char*, std::string> before_;
};

// The message with every signature enhanced.
Octets enhanced(EnhanceWorld& world, const Octets& signedMessage) {
  const MessageHandle message = decode(signedMessage);
  LabTimeStamps service(world.authority());
  const Result<void> done = enhanceAll(dataOf(message), service);
  EXPECT_TRUE(done) << std::hex << done.error();
  return changedMessage(message);
}

class Enhanced : public ::testing::Test {
 protected:
  EnhanceWorld& world = sharedWorld();
};

TEST_F(Enhanced, IsGoodWhereNobodyKnowsMoreThanTheRoot) {
  const Octets plain = signBes({&world.signer()}, kContent);
  const Octets whole = enhanced(world, plain);
  EXPECT_EQ(statusOf(plain), CADES_STATUS_GOOD);
  EXPECT_EQ(statusOf(whole), CADES_STATUS_GOOD);
  const Elsewhere elsewhere(world);
  EXPECT_EQ(statusOf(plain), CADES_STATUS_NO_CHAIN);
  EXPECT_EQ(statusOf(whole), CADES_STATUS_GOOD);
}

TEST_F(Enhanced, DetachedIsJudgedOverItsContent) {
  const Octets whole =
      enhanced(world, signBes({&world.signer()}, kContent, {.flags = CMSG_DETACHED_FLAG}));
  EXPECT_EQ(verdictOn(decodeDetached(whole, kContent)).status, CADES_STATUS_GOOD);
  EXPECT_EQ(verdictOn(decodeDetached(whole, octets("else"))).status, CADES_STATUS_SIGNATURE);
}

TEST_F(Enhanced, HasStampsThatOpensslAccepts) {
  const TempDir folder;
  const LibcryptoSigner signer(enhanced(world, signBes({&world.signer()}, kContent)));
  const std::string root = folder.write("root.pem", lab::toPem(world.root().certificate()));
  const auto verify = [&](std::string_view type, const Octets& stamped) {
    const std::string data = folder.write("data", text(stamped));
    const std::string token = folder.write("token", text(signer.unsignedValue(type)));
    return run(
        {"openssl", "ts", "-verify", "-data", data, "-token_in", "-in", token, "-CAfile", root});
  };
  Octets whole = signer.signature();
  const CommandResult first = verify(oids::kSignatureTimeStamp, whole);
  EXPECT_EQ(first.exitCode, 0) << first.err;
  for (const std::string_view type :
       {oids::kSignatureTimeStamp, oids::kCertificateRefs, oids::kRevocationRefs}) {
    const Octets attribute = signer.unsignedAttributeWithoutHeader(type);
    whole.insert(whole.end(), attribute.begin(), attribute.end());
  }
  const CommandResult last = verify(oids::kCadesCTimeStamp, whole);
  EXPECT_EQ(last.exitCode, 0) << last.err;
  EXPECT_NE(verify(oids::kCadesCTimeStamp, kContent).exitCode, 0);
}

}  // namespace
}  // namespace qx::test::enhanced_elsewhere_test
