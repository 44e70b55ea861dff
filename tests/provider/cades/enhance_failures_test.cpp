#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "provider/cades/enhance.h"
#include "tests/provider/cades/enhance_world.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"

namespace qx::test::enhance_failures_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("What is written here is signed.");

/// A world of its own, with a signed message, which must stay as it is.
class EnhanceFailure : public ::testing::Test {
 protected:
  static EnhanceWorld worldWith(EnhanceOptions options) { return EnhanceWorld(options); }

  /// What enhancing a message of the world's signer fails with, after this many requests.
  static DWORD errorIn(EnhanceWorld& world, LabTimeStamps& service, std::size_t requests) {
    return errorOf(signBes({&world.signer()}, kContent), service, requests);
  }

  static DWORD errorOf(const Octets& plain, LabTimeStamps& service, std::size_t requests) {
    const MessageHandle message = decode(plain);
    const Result<void> one = enhance(dataOf(message), 0, service);
    EXPECT_EQ(service.requests(), requests);
    const Result<void> all = enhanceAll(dataOf(message), service);
    EXPECT_EQ(one.error(), all.error());
    EXPECT_FALSE(dataOf(message).isChanged());
    EXPECT_EQ(changedMessage(message), plain);
    return one.error();
  }
};

TEST_F(EnhanceFailure, ASignerWhoDoesNotNameHisCertificate) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  const Octets plain =
      sign({&world.signer()}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  EXPECT_EQ(errorOf(plain, service, 0), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST_F(EnhanceFailure, ASignerWhoseCertificateIsNowhere) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  Signer& stranger = world.signer(KeyKind::EcP256, 7);
  const MessageHandle encoder = openBes({&stranger});
  ASSERT_EQ(update(encoder, kContent), ERROR_SUCCESS);
  const MessageHandle message = decode(bytesParam(encoder, CMSG_CONTENT_PARAM));
  ASSERT_TRUE(dataOf(message).removeCertificate(0));
  EXPECT_EQ(errorOf(changedMessage(message), service, 0), CRYPT_E_SIGNER_NOT_FOUND);
}

TEST_F(EnhanceFailure, ARootThatNobodyTrusts) {
  EnhanceWorld world({.isTrusted = false});
  LabTimeStamps service(world.authority());
  EXPECT_EQ(errorIn(world, service, 0), CERT_E_CHAINING);
}

TEST_F(EnhanceFailure, ARevocationThatNobodyKnows) {
  EnhanceWorld world({.hasCrls = false});
  LabTimeStamps service(world.authority());
  EXPECT_EQ(errorIn(world, service, 0), CRYPT_E_REVOCATION_OFFLINE);
  world.storeCrl(world.issuer());
  EXPECT_EQ(errorIn(world, service, 0), CRYPT_E_REVOCATION_OFFLINE) << "the issuer's own";
}

TEST_F(EnhanceFailure, AStampThatItsAuthorityDidNotSign) {
  EnhanceWorld& world = sharedWorld();
  for (const std::size_t request : {0U, 1U}) {
    const Octets plain = signBes({&world.signer()}, kContent);
    LabTimeStamps service(world.authority());
    service.spoil(request);
    const MessageHandle message = decode(plain);
    EXPECT_EQ(enhance(dataOf(message), 0, service).error(), NTE_BAD_SIGNATURE) << request;
    EXPECT_EQ(service.requests(), 2U) << "the first one is verified while the second is asked for";
    EXPECT_EQ(changedMessage(message), plain);
  }
}

TEST_F(EnhanceFailure, ARevokedSigner) {
  EnhanceWorld world;
  world.storeCrl(world.issuer(), {{.serial = lab::serialOf(world.signer().certificate())}});
  LabTimeStamps service(world.authority());
  EXPECT_EQ(errorIn(world, service, 0), CRYPT_E_REVOKED);
}

TEST_F(EnhanceFailure, ARevokedIssuer) {
  EnhanceWorld world;
  world.storeCrl(world.root(), {{.serial = lab::serialOf(world.issuer().certificate())}});
  LabTimeStamps service(world.authority());
  EXPECT_EQ(errorIn(world, service, 0), CRYPT_E_REVOKED);
}

TEST_F(EnhanceFailure, ARevokedTimeStampAuthority) {
  EnhanceWorld world;
  world.storeCrl(world.root(), {{.serial = lab::serialOf(world.authority().certificate())}});
  LabTimeStamps service(world.authority());
  EXPECT_EQ(errorIn(world, service, 1), CRYPT_E_REVOKED);
}

TEST_F(EnhanceFailure, ATimeStampAuthorityThatNobodyTrusts) {
  EnhanceWorld world;
  const EnhanceWorld other({.isTrusted = false});
  LabTimeStamps service(other.authority());
  EXPECT_EQ(errorIn(world, service, 1), CERT_E_CHAINING);
}

TEST_F(EnhanceFailure, AServiceThatFails) {
  EnhanceWorld& world = sharedWorld();
  LabTimeStamps service(world.authority());
  service.failFrom(0, ERROR_CONNECTION_REFUSED);
  EXPECT_EQ(errorIn(world, service, 1), ERROR_CONNECTION_REFUSED);
  LabTimeStamps second(world.authority());
  second.failFrom(1, ERROR_TIMEOUT);
  EXPECT_EQ(errorIn(world, second, 2), ERROR_TIMEOUT);
}

TEST_F(EnhanceFailure, ASignerWhoIsNotThere) {
  EnhanceWorld& world = sharedWorld();
  const MessageHandle message = decode(signBes({&world.signer()}, kContent));
  LabTimeStamps service(world.authority());
  EXPECT_EQ(enhance(dataOf(message), 1, service).error(), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(service.requests(), 0U);
}

TEST_F(EnhanceFailure, TooManyAttributes) {
  EnhanceWorld& world = sharedWorld();
  const MessageHandle message = decode(signBes({&world.signer()}, kContent));
  const Octets own = *encodeAttribute("1.2.3.4", {fromHex("0500")});
  for (int i = 0; i < 55; ++i) {  // with the four that are signed 59, and six are too many
    ASSERT_EQ(addUnsigned(message, 0, own), ERROR_SUCCESS);
  }
  LabTimeStamps service(world.authority());
  const Octets before = changedMessage(message);
  EXPECT_EQ(enhance(dataOf(message), 0, service).error(), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(changedMessage(message), before);
}

}  // namespace
}  // namespace qx::test::enhance_failures_test
