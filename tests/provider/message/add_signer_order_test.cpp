#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/changes.h"
#include "tests/provider/message/encode_records.h"
#include "tests/provider/message/foreign_messages.h"
#include "tests/provider/message/signed_parts.h"

// Where what is added stands, and what becomes of the versions and the list of hashes.

namespace qx::test::add_signer_order_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed by one, then by others.");
constexpr const char* kSha256 = "300d06096086480165030402010500";
constexpr const char* kStreebog256 = "300c06082a850307010102020500";

DWORD addByKeyId(const MessageHandle& message, Signer& one) {
  const Octets keyId = one.keyId();
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  info.SignerId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  info.SignerId.KeyId = blob(keyId);
  return control(message, CMSG_CTRL_ADD_SIGNER, &info);
}

DWORD versionOf(const Octets& message) {
  return numberParam(decode(message), CMSG_VERSION_PARAM);
}

std::vector<std::string> hexOf(const std::vector<Octets>& parts) {
  std::vector<std::string> all;
  all.reserve(parts.size());
  for (const Octets& part : parts) {
    all.push_back(toHex(part));
  }
  return all;
}

class AddSignerOrder : public ::testing::Test {
 protected:
  static Signer& one() { return signer(KeyKind::EcP256); }

  static Signer& two() { return signer(KeyKind::EcP256, 1); }

  static Signer& gost() { return signer(KeyKind::Gost2012_256); }

  static Signer& rsa() { return signer(KeyKind::Rsa2048); }

  const Octets bytes_ = sign({&one(), &two()}, kContent);
  const MessageHandle message_ = decode(bytes_);
};

TEST_F(AddSignerOrder, PutsEachBehindTheOthersUnderTheNextIndex) {
  ASSERT_EQ(addSigner(message_, gost()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message_, rsa()), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_SIGNER_COUNT_PARAM), 4U);
  const Octets changed = changedMessage(message_);
  const SignedParts parts = partsOf(changed);
  ASSERT_EQ(parts.signers.size(), 4U);
  const MessageHandle again = decode(changed);
  const std::vector<Signer*> expected = {&one(), &two(), &gost(), &rsa()};
  for (DWORD i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_SIGNER, i), parts.signers[i]) << i;
    EXPECT_EQ(verify(message_, i, expected[i]->context()), ERROR_SUCCESS) << "before it is read";
    EXPECT_EQ(verify(again, i, expected[i]->context()), ERROR_SUCCESS) << i;
  }
}

// Sorting would give the earlier signers other indices.
TEST_F(AddSignerOrder, DoesNotSortTheSetsOfAMessage) {
  for (const auto& [earlier, later] : {std::pair{&one(), &rsa()}, std::pair{&rsa(), &one()}}) {
    const MessageHandle message = decode(sign({earlier}, kContent));
    ASSERT_EQ(addSigner(message, *later), ERROR_SUCCESS);
    ASSERT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, later->der()), ERROR_SUCCESS);
    const SignedParts parts = partsOf(changedMessage(message));
    EXPECT_EQ(hexOf(parts.certificates), hexOf({earlier->der(), later->der()}));
    EXPECT_EQ(verify(decode(changedMessage(message)), 0, earlier->context()), ERROR_SUCCESS);
  }
}

TEST_F(AddSignerOrder, PutsTheCertificateBehindTheOthersAlsoBeforeTheSigner) {
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, gost().der()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message_, gost()), ERROR_SUCCESS);
  const SignedParts parts = partsOf(changedMessage(message_));
  EXPECT_EQ(hexOf(parts.certificates), hexOf({one().der(), two().der(), gost().der()}));
  EXPECT_TRUE(cmsVerifies(changedMessage(message_), {&one(), &two(), &gost()}));
}

TEST_F(AddSignerOrder, MakesTheFieldOfCertificatesWhenThereIsNone) {
  const MessageHandle message = decode(sign({&one()}, kContent, {.certificates = false}));
  ASSERT_EQ(addSigner(message, gost()), ERROR_SUCCESS);
  EXPECT_TRUE(partsOf(changedMessage(message)).certificates.empty());
  ASSERT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, gost().der()), ERROR_SUCCESS);
  EXPECT_EQ(hexOf(partsOf(changedMessage(message)).certificates), hexOf({gost().der()}));
  EXPECT_TRUE(opensslVerifies(changedMessage(message), {&one(), &gost()}));
}

TEST_F(AddSignerOrder, ListsAHashBehindTheOthersAndOnce) {
  ASSERT_EQ(addSigner(message_, rsa()), ERROR_SUCCESS);
  EXPECT_EQ(hexOf(partsOf(changedMessage(message_)).hashAlgorithms), hexOf({fromHex(kSha256)}));
  ASSERT_EQ(addSigner(message_, gost()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message_, signer(KeyKind::Gost2012_256, 1)), ERROR_SUCCESS);
  EXPECT_EQ(hexOf(partsOf(changedMessage(message_)).hashAlgorithms),
            hexOf({fromHex(kSha256), fromHex(kStreebog256)}));
}

TEST_F(AddSignerOrder, KnowsAHashThatIsListedInAnotherForm) {
  const MessageHandle message = decode(withoutNull(one(), kContent));
  ASSERT_EQ(addSigner(message, rsa()), ERROR_SUCCESS);
  EXPECT_EQ(hexOf(partsOf(changedMessage(message)).hashAlgorithms),
            hexOf({fromHex("300b0609608648016503040201")}));
  EXPECT_TRUE(opensslVerifies(changedMessage(message), {&one(), &rsa()}));
}

TEST_F(AddSignerOrder, DropsAnAddedHashWithTheLastOfItsSigners) {
  ASSERT_EQ(addSigner(message_, gost()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message_, signer(KeyKind::Gost2012_256, 1)), ERROR_SUCCESS);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 2), ERROR_SUCCESS);
  EXPECT_EQ(partsOf(changedMessage(message_)).hashAlgorithms.size(), 2U);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 2), ERROR_SUCCESS);
  EXPECT_EQ(changedMessage(message_), bytes_) << "as it came";
}

TEST_F(AddSignerOrder, SignsABagOfCertificates) {
  const MessageHandle empty = openEncoder(std::vector<CMSG_SIGNER_ENCODE_INFO>{});
  ASSERT_EQ(update(empty, kContent), ERROR_SUCCESS);
  const MessageHandle message = decode(bytesParam(empty, CMSG_CONTENT_PARAM));
  ASSERT_EQ(addSigner(message, one()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(message, gost()), ERROR_SUCCESS);
  EXPECT_TRUE(opensslVerifies(changedMessage(message), {&one(), &gost()}));
}

TEST_F(AddSignerOrder, GivesTheVersionThatASignerNamedByHisKeyNeeds) {
  ASSERT_EQ(addByKeyId(message_, rsa()), ERROR_SUCCESS);
  const Octets changed = changedMessage(message_);
  EXPECT_EQ(versionOf(changed), CMSG_SIGNED_DATA_V3);
  const MessageHandle again = decode(changed);
  for (const auto& [index, version] : {std::pair{0U, CMSG_SIGNER_INFO_V1},
                                       std::pair{1U, CMSG_SIGNER_INFO_V1},
                                       std::pair{2U, CMSG_SIGNER_INFO_V3}}) {
    const RecordParam<CMSG_CMS_SIGNER_INFO> info(again, CMSG_CMS_SIGNER_INFO_PARAM, index);
    EXPECT_EQ(info->dwVersion, version) << index;
  }
  EXPECT_TRUE(opensslVerifies(changed, {&one(), &two(), &rsa()}));
}

TEST_F(AddSignerOrder, TakesTheVersionBackWithTheSignerWhoNeededIt) {
  ASSERT_EQ(addByKeyId(message_, rsa()), ERROR_SUCCESS);
  const MessageHandle again = decode(changedMessage(message_));
  ASSERT_EQ(removeAt(again, CMSG_CTRL_DEL_SIGNER, 2), ERROR_SUCCESS);
  EXPECT_EQ(changedMessage(again), bytes_);
}

TEST_F(AddSignerOrder, KeepsTheThirdVersionOfAMessage) {
  const MessageHandle message = decode(opensslSign({&gost()}, kContent, {"-nodetach", "-keyid"}));
  ASSERT_EQ(addSigner(message, one()), ERROR_SUCCESS);
  EXPECT_EQ(versionOf(changedMessage(message)), CMSG_SIGNED_DATA_V3);
}

TEST_F(AddSignerOrder, TakesOneCertificateUnderBothOfItsIdentifiers) {
  ASSERT_EQ(addByKeyId(message_, one()), ERROR_SUCCESS);
  EXPECT_EQ(addByKeyId(message_, one()), CRYPT_E_EXISTS);
  EXPECT_EQ(numberParam(decode(changedMessage(message_)), CMSG_SIGNER_COUNT_PARAM), 3U);
}

/// Content of a type of its own, as PKCS #7 has it (an element) and as CMS has it (octets).
struct OtherContent {
  const char* name;
  DWORD flags;
  const char* content;
  DWORD version;
};

class AddSignerToOtherContent : public ::testing::TestWithParam<OtherContent> {};

TEST_P(AddSignerToOtherContent, SignsItWithAttributes) {
  const OtherContent& other = GetParam();
  Signer& one = signer(KeyKind::EcP256);
  Signer& two = signer(KeyKind::Gost2012_512);
  const Octets bytes =
      sign({&one}, fromHex(other.content), {.flags = other.flags, .innerType = "1.2.3.4"});
  const MessageHandle message = decode(bytes);
  ASSERT_EQ(addSigner(message, two), ERROR_SUCCESS);
  const Octets changed = changedMessage(message);
  EXPECT_TRUE(keepsEveryPart(bytes, changed));
  EXPECT_EQ(versionOf(changed), other.version);
  const MessageHandle again = decode(changed);
  EXPECT_EQ(bytesParam(again, CMSG_CONTENT_PARAM), fromHex(other.content));
  EXPECT_EQ(paramError(again, CMSG_SIGNER_AUTH_ATTR_PARAM, 1), ERROR_SUCCESS);
  EXPECT_EQ(verify(again, 0, one.context()), ERROR_SUCCESS);
  EXPECT_EQ(verify(again, 1, two.context()), ERROR_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Contents,
                         AddSignerToOtherContent,
                         ::testing::Values(OtherContent{.name = "Element",
                                                        .flags = 0,
                                                        .content = "3003020105",
                                                        .version = CMSG_SIGNED_DATA_V1},
                                           OtherContent{.name = "Octets",
                                                        .flags = CMSG_CMS_ENCAPSULATED_CONTENT_FLAG,
                                                        .content = "0102030405",
                                                        .version = CMSG_SIGNED_DATA_V3}),
                         [](const ::testing::TestParamInfo<OtherContent>& parameter) {
                           return std::string(parameter.param.name);
                         });

TEST(AddSignerToAttributes, SignsContentThatLooksLikeAttributesOnlyWithAttributes) {
  const Octets content = fromHex("311a 3018 06092a864886f70d010903 310b 06092a864886f70d010701");
  const MessageHandle empty = openEncoder(std::vector<CMSG_SIGNER_ENCODE_INFO>{});
  ASSERT_EQ(update(empty, content), ERROR_SUCCESS);
  const MessageHandle message = decode(bytesParam(empty, CMSG_CONTENT_PARAM));
  ASSERT_EQ(addSigner(message, signer(KeyKind::EcP256)), ERROR_SUCCESS);
  EXPECT_EQ(paramError(message, CMSG_SIGNER_AUTH_ATTR_PARAM), ERROR_SUCCESS);
}

TEST(AddSignerWithAttributes, SignsTheCallersAttributesInTheOrderOfDer) {
  const AttributeRecord name("2.5.4.3", {fromHex("0c0161")});
  const AttributeRecord plain("1.2.3.4", {fromHex("0500")});
  Signer& one = signer(KeyKind::Gost2012_256);
  Signer& two = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO info = two.encodeInfo();
  CRYPT_ATTRIBUTE attributes[] = {name.record};
  CRYPT_ATTRIBUTE unsignedAttributes[] = {plain.record};
  info.cAuthAttr = 1;
  info.rgAuthAttr = attributes;
  info.cUnauthAttr = 1;
  info.rgUnauthAttr = unsignedAttributes;
  const MessageHandle message = decode(sign({&one}, kContent));
  ASSERT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  const RecordParam<CRYPT_ATTRIBUTES> made(message, CMSG_SIGNER_AUTH_ATTR_PARAM, 1);
  ASSERT_EQ(made->cAttr, 3U);
  EXPECT_STREQ(made->rgAttr[0].pszObjId, "2.5.4.3");
  EXPECT_STREQ(made->rgAttr[1].pszObjId, "1.2.840.113549.1.9.3");
  EXPECT_STREQ(made->rgAttr[2].pszObjId, "1.2.840.113549.1.9.4");
  EXPECT_EQ(paramError(message, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 1), ERROR_SUCCESS);
  EXPECT_TRUE(opensslVerifies(changedMessage(message), {&one, &two}));
}

}  // namespace
}  // namespace qx::test::add_signer_order_test
