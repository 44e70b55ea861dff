#include <algorithm>

#include <gtest/gtest.h>

#include "provider/hash/hash.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/encode_records.h"

namespace qx::test::signed_encode_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("abc");
constexpr const char* kSha256 = "300d06096086480165030402010500";

Octets bareOf(const MessageHandle& message) {
  return bytesParam(message, CMSG_BARE_CONTENT_PARAM);
}

std::string hexOf(const Octets& bytes) {
  return toHex(bytes);
}

TEST(SignedEncode, BagOfCertificatesHasNoSigners) {
  const MessageHandle message = openEncoder(std::vector<CMSG_SIGNER_ENCODE_INFO>{});
  ASSERT_TRUE(message);
  ASSERT_EQ(update(message, {}), ERROR_SUCCESS);
  EXPECT_EQ(hexOf(bytesParam(message, CMSG_CONTENT_PARAM)),
            "3023"
            "06092a864886f70d010702"
            "a016"
            "3014"
            "020101"
            "3100"
            "300b06092a864886f70d010701"
            "3100");
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
  EXPECT_EQ(paramError(message, CMSG_ENCODED_SIGNER), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(paramError(message, CMSG_COMPUTED_HASH_PARAM), CRYPT_E_INVALID_INDEX);
}

TEST(SignedEncode, HasASkeletonBeforeItsContent) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle message = openEncoder({&one}, {.certificates = false});
  const Octets skeleton = bareOf(message);
  const Octets signer = bytesParam(message, CMSG_ENCODED_SIGNER);
  EXPECT_TRUE(contains(skeleton, std::string("020101310f") + kSha256 + "30020600" + "31"));
  EXPECT_TRUE(contains(skeleton, toHex(signer)));
  EXPECT_EQ(toHex(signer).substr(toHex(signer).size() - 4), "0400") << "no signature yet";
  EXPECT_EQ(paramError(message, CMSG_COMPUTED_HASH_PARAM), CRYPT_E_MSG_ERROR);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_NE(bareOf(message), skeleton);
}

TEST(SignedEncode, NamesAlgorithmsAsTheEngineDoes) {
  const std::pair<KeyKind, const char*> expected[] = {
      {KeyKind::Gost2001,
       "300a06062a8503020213"
       "0500"},
      {KeyKind::Gost2012_256,
       "300c06082a85030701010101"
       "0500"},
      {KeyKind::Gost2012_512,
       "300c06082a85030701010102"
       "0500"},
      {KeyKind::Rsa2048,
       "300d06092a864886f70d010101"
       "0500"},
      {KeyKind::EcP256, "300a06082a8648ce3d040302"},
      {KeyKind::EcP384, "300a06082a8648ce3d040303"},
  };
  for (const auto& [kind, algorithm] : expected) {
    const MessageHandle message = openEncoder({&signer(kind)}, {.certificates = false});
    ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
    EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER), algorithm)) << algorithm;
    EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
  }
}

TEST(SignedEncode, SignsOtherContentWithAttributesAndWithoutItsHeader) {
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets element = fromHex("3003020105");
  const Octets bytes = sign({&one}, element, {.innerType = "1.2.3.4"});
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
  EXPECT_EQ(textParam(message, CMSG_INNER_CONTENT_TYPE_PARAM), "1.2.3.4");
  EXPECT_EQ(bytesParam(message, CMSG_CONTENT_PARAM), element);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  EXPECT_EQ(toHex(bytesParam(message, CMSG_COMPUTED_HASH_PARAM)),
            toHex(hashOf(HashAlgorithm::Streebog256, fromHex("020105")).bytes()));
}

TEST(SignedEncode, WrapsOtherContentWhenItIsToldTo) {
  Signer& one = signer(KeyKind::Rsa2048);
  const SignOptions options{.flags = CMSG_CMS_ENCAPSULATED_CONTENT_FLAG, .innerType = "1.2.3.4"};
  const Octets bytes = sign({&one}, kContent, options);
  EXPECT_TRUE(cmsVerifies(bytes, {&one}));
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  EXPECT_EQ(bytesParam(message, CMSG_CONTENT_PARAM), kContent);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
}

TEST(SignedEncode, ListsEachHashOnce) {
  const MessageHandle message =
      openEncoder({&signer(KeyKind::EcP256), &signer(KeyKind::Rsa2048), &signer(KeyKind::Gost2001)},
                  {.certificates = false});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bareOf(message),
                       std::string("020101") + "311b" + kSha256 + "300a06062a850302020905003012"));
}

TEST(SignedEncode, KeepsSignersAndCertificatesInTheirOrder) {
  const std::vector<Signer*> all = {&signer(KeyKind::Rsa2048), &signer(KeyKind::EcP256)};
  const MessageHandle made = openEncoder(all);
  ASSERT_EQ(update(made, kContent), ERROR_SUCCESS);
  const MessageHandle message = decode(bytesParam(made, CMSG_CONTENT_PARAM));
  for (DWORD i = 0; i < all.size(); ++i) {
    EXPECT_EQ(bytesParam(message, CMSG_CERT_PARAM, i), all[i]->der());
    EXPECT_EQ(bytesParam(message, CMSG_ENCODED_SIGNER, i),
              bytesParam(made, CMSG_ENCODED_SIGNER, i));
  }
}

TEST(SignedEncode, WritesACertificateOnceThatIsGivenTwice) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle message =
      openEncoder(std::vector{one.encodeInfo()}, {}, {one.der(), one.der()});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_EQ(numberParam(decode(bytes), CMSG_CERT_COUNT_PARAM), 1U);
}

TEST(SignedEncode, CarriesCrls) {
  const lab::Authority authority = lab::Authority::selfSigned(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Authority"}}});
  const Octets crl = lab::toDer(authority.crl().get());
  Signer& one = signer(KeyKind::EcP256);
  SignOptions options;
  options.crls = {crl};
  const Octets bytes = sign({&one}, kContent, options);
  EXPECT_TRUE(cmsVerifies(bytes, {&one}));
  const MessageHandle message = decode(bytes);
  ASSERT_EQ(numberParam(message, CMSG_CRL_COUNT_PARAM), 1U);
  EXPECT_EQ(bytesParam(message, CMSG_CRL_PARAM), crl);
  EXPECT_EQ(paramError(message, CMSG_CRL_PARAM, 1), CRYPT_E_INVALID_INDEX);
}

TEST(SignedEncode, TellsTheHashOfASigner) {
  const MessageHandle message = openEncoder({&signer(KeyKind::EcP256)});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(toHex(bytesParam(message, CMSG_COMPUTED_HASH_PARAM)),
            toHex(hashOf(HashAlgorithm::Sha256, kContent).bytes()));
  EXPECT_EQ(paramError(message, CMSG_COMPUTED_HASH_PARAM, 1), CRYPT_E_INVALID_INDEX);
  for (const DWORD type : {CMSG_TYPE_PARAM,
                           CMSG_SIGNER_INFO_PARAM,
                           CMSG_HASH_DATA_PARAM,
                           CMSG_SIGNER_COUNT_PARAM,
                           CMSG_CERT_COUNT_PARAM,
                           CMSG_ENCODED_MESSAGE}) {
    EXPECT_EQ(paramError(message, type), CRYPT_E_INVALID_MSG_TYPE) << type;
  }
}

TEST(SignedEncode, TakesDetachedContentInAnyNumberOfParts) {
  Signer& one = signer(KeyKind::Gost2012_512);
  const MessageHandle message = openEncoder({&one}, {.flags = CMSG_DETACHED_FLAG});
  for (const char* part : {"", "a", "b"}) {
    Octets passing = octets(part);
    ASSERT_EQ(updateBorrowed(message, passing, /*final=*/false), ERROR_SUCCESS);
    std::ranges::fill(passing, 0xEE);
  }
  ASSERT_EQ(update(message, octets("c")), ERROR_SUCCESS);
  EXPECT_EQ(update(message, octets("d")), CRYPT_E_MSG_ERROR);
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}, &kContent));
}

TEST(SignedEncode, TakesAttachedContentInOnePiece) {
  const MessageHandle message = openEncoder({&signer(KeyKind::EcP256)});
  EXPECT_EQ(update(message, kContent, /*final=*/false), CRYPT_E_MSG_ERROR);
  EXPECT_EQ(update(message, kContent), ERROR_SUCCESS) << "still usable";
  EXPECT_EQ(update(message, kContent), CRYPT_E_MSG_ERROR);
}

}  // namespace
}  // namespace qx::test::signed_encode_test
