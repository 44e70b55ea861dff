#include <algorithm>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/encode_records.h"

namespace qx::test::signed_attributes_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("abc");

TEST(SignedAttributes, SignsPlainContentWithoutAttributes) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(paramError(message, CMSG_SIGNER_AUTH_ATTR_PARAM), CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_TRUE(contains(bytes, "a0050403616263"));
}

TEST(SignedAttributes, AddsContentTypeAndMessageDigestInDerOrder) {
  const AttributeRecord name("2.5.4.3", {fromHex("0c0161")});
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  CRYPT_ATTRIBUTE attributes[] = {name.record};
  info.cAuthAttr = 1;
  info.rgAuthAttr = attributes;
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const std::string digest = toHex(hashOf(HashAlgorithm::Sha256, kContent).bytes());
  // Sorted by their bytes, so the shortest first.
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER),
                       "a0"
                       "57"
                       "300a"
                       "0603550403"
                       "3103"
                       "0c0161"
                       "3018"
                       "06092a864886f70d010903"
                       "310b"
                       "06092a864886f70d010701"
                       "302f"
                       "06092a864886f70d010904"
                       "3122"
                       "0420" +
                           digest))
      << toHex(bytesParam(message, CMSG_ENCODED_SIGNER));
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_TRUE(cmsVerifies(bytes, {&one}));
}

TEST(SignedAttributes, SortsTheValuesOfAnAttribute) {
  const AttributeRecord several("1.2.3.4", {fromHex("020109"), fromHex("020101"), fromHex("0500")});
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  CRYPT_ATTRIBUTE attributes[] = {several.record};
  info.cAuthAttr = 1;
  info.rgAuthAttr = attributes;
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER),
                       "06032a0304"
                       "3108"
                       "020101"
                       "020109"
                       "0500"));
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));
}

TEST(SignedAttributes, WritesUnsignedAttributesInTheirOrder) {
  const AttributeRecord first("1.2.3.9", {fromHex("020109")});
  const AttributeRecord second("1.2.3.4", {fromHex("020104")});
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  CRYPT_ATTRIBUTE attributes[] = {first.record, second.record};
  info.cUnauthAttr = 2;
  info.rgUnauthAttr = attributes;
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER),
                       "a1"
                       "18"
                       "300a"
                       "06032a0309"
                       "3103"
                       "020109"
                       "300a"
                       "06032a0304"
                       "3103"
                       "020104"));
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));
}

TEST(SignedAttributes, SignsContentThatLooksLikeAttributesOnlyWithAttributes) {
  // What a signer signs when he has attributes: a SET OF Attribute.
  const Octets content = fromHex(
      "311a"
      "3018"
      "06092a864886f70d010903"
      "310b"
      "06092a864886f70d010701");
  Signer& one = signer(KeyKind::EcP256);
  for (const DWORD flags : {DWORD{0}, CMSG_DETACHED_FLAG}) {
    const Octets bytes = sign({&one}, content, {.flags = flags});
    const MessageHandle message = flags == 0 ? decode(bytes) : decodeDetached(bytes, content);
    EXPECT_EQ(paramError(message, CMSG_SIGNER_AUTH_ATTR_PARAM), ERROR_SUCCESS);
    EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  }
  const MessageHandle parts = openEncoder({&one}, {.flags = CMSG_DETACHED_FLAG});
  for (const std::uint8_t octet : content) {
    ASSERT_EQ(update(parts, Octets{octet}, /*final=*/false), ERROR_SUCCESS);
  }
  ASSERT_EQ(update(parts, {}), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(parts, CMSG_ENCODED_SIGNER), "06092a864886f70d010904"));
}

// Somebody's attributes, taken out of his message and shown as content with his signature over them.
TEST(SignedAttributes, AttributesCannotBePassedOffAsContent) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle made = openEncoder({&one}, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  ASSERT_EQ(update(made, kContent), ERROR_SUCCESS);
  const Octets signerInfo = bytesParam(made, CMSG_ENCODED_SIGNER);
  der::Reader fields(der::readWhole(signerInfo, der::kSequence)->content);
  const der::Element version = *fields.next();
  const der::Element id = *fields.next();
  const der::Element hash = *fields.next();
  const der::Element attributes = *fields.next();
  Octets content(attributes.whole.begin(), attributes.whole.end());
  content.front() = der::kSet;
  der::Encoding forgedSigner = der::sequence(der::Encoding::borrowed(version.whole),
                                             der::Encoding::borrowed(id.whole),
                                             der::Encoding::borrowed(hash.whole),
                                             der::Encoding::borrowed(fields.rest()));
  der::Encoding data = der::sequence(
      der::integer(1),
      der::wrap(der::kSet, der::Encoding::borrowed(hash.whole)),
      der::sequence(*der::oid("1.2.840.113549.1.7.1"), der::wrap(0xA0, der::octetString(content))),
      der::wrap(der::kSet, std::move(forgedSigner)));
  const Octets forged =
      der::sequence(*der::oid("1.2.840.113549.1.7.2"), der::wrap(0xA0, std::move(data))).bytes();
  EXPECT_TRUE(cmsVerifies(forged, {&one})) << "libcrypto does not notice";
  EXPECT_EQ(verify(decode(forged), 0, one.context()), NTE_BAD_SIGNATURE);
}

TEST(SignedAttributes, RefusesAttributesThatCannotBeUsed) {
  Signer& one = signer(KeyKind::EcP256);
  const AttributeRecord good("1.2.3.4", {fromHex("0500")});
  const auto error = [&one](std::vector<CRYPT_ATTRIBUTE> attributes) {
    CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
    info.cAuthAttr = static_cast<DWORD>(attributes.size());
    info.rgAuthAttr = attributes.data();
    return openError({info});
  };
  EXPECT_EQ(error({good.record}), ERROR_SUCCESS);
  EXPECT_EQ(error({good.record, good.record}), E_INVALIDARG) << "repeated";
  for (const char* oid : {"1.2.840.113549.1.9.3", "1.2.840.113549.1.9.4"}) {
    EXPECT_EQ(error({AttributeRecord(oid, {fromHex("0500")}).record}), E_INVALIDARG) << "ours";
  }
  EXPECT_EQ(error({AttributeRecord("1.2.3.4", {fromHex("05000500")}).record}), E_INVALIDARG);
  EXPECT_EQ(error({AttributeRecord("1.2.3.4", {Octets{}}).record}), E_INVALIDARG);
  EXPECT_EQ(error({AttributeRecord("name", {fromHex("0500")}).record}), CRYPT_E_OID_FORMAT);
  EXPECT_EQ(error({CRYPT_ATTRIBUTE{}}), E_INVALIDARG);
  CRYPT_ATTRIBUTE noValues = good.record;
  noValues.rgValue = nullptr;
  EXPECT_EQ(error({noValues}), E_INVALIDARG);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.cAuthAttr = 1;
  EXPECT_EQ(openError({info}), E_INVALIDARG) << "no array";
}

}  // namespace
}  // namespace qx::test::signed_attributes_test
