#include <algorithm>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"

namespace qx::test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Signed by one, then by others.");

bool contains(const Octets& bytes, const Octets& part) {
  return !std::ranges::search(bytes, part).empty();
}

Octets changed(const MessageHandle& message) {
  return bytesParam(message, CMSG_ENCODED_MESSAGE);
}

DWORD addSigner(const MessageHandle& message, Signer& one) {
  const CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  return control(message, CMSG_CTRL_ADD_SIGNER, &info);
}

DWORD addBlob(const MessageHandle& message, DWORD type, const Octets& bytes) {
  const CRYPT_INTEGER_BLOB value = blob(bytes);
  return control(message, type, &value);
}

DWORD removeAt(const MessageHandle& message, DWORD type, DWORD index) {
  return control(message, type, &index);
}

DWORD addUnsigned(const MessageHandle& message, DWORD signerIndex, const Octets& attribute) {
  const CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = signerIndex, .blob = blob(attribute)};
  return control(message, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &para);
}

DWORD removeUnsigned(const MessageHandle& message, DWORD signerIndex, DWORD attribute) {
  const CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA para{
      .cbSize = sizeof para, .dwSignerIndex = signerIndex, .dwUnauthAttrIndex = attribute};
  return control(message, CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &para);
}

const Octets kAttribute = fromHex("300a 06032a0304 3103 020104");

/// How the message came that a signer is added to.
struct Origin {
  const char* name;
  std::vector<std::string> options;
  bool detached = false;
};

std::ostream& operator<<(std::ostream& out, const Origin& origin) {
  return out << origin.name;
}

class AddSigner : public ::testing::TestWithParam<Origin> {
 protected:
  static Signer& first() { return signer(KeyKind::Gost2012_256); }

  static Signer& second() { return signer(KeyKind::EcP256); }

  static Signer& third() { return signer(KeyKind::Rsa2048); }

  const Octets* detached() const { return GetParam().detached ? &kContent : nullptr; }

  MessageHandle open(const Octets& bytes) const {
    return GetParam().detached ? decodeDetached(bytes, kContent) : decode(bytes);
  }

  const Octets& original() const { return original_; }

 private:
  const Octets original_ = opensslSign({&first()}, kContent, GetParam().options);
};

TEST_P(AddSigner, LeavesTheFirstSignatureGoodAndItsBytesAsTheyWere) {
  const MessageHandle message = open(original());
  const Octets before = bytesParam(message, CMSG_ENCODED_SIGNER, 0);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  const Octets two = changed(message);
  EXPECT_TRUE(contains(two, before));
  EXPECT_TRUE(cmsVerifies(two, {&first(), &second()}, detached()));
  const MessageHandle again = open(two);
  EXPECT_EQ(verify(again, 0, first().context()), ERROR_SUCCESS);
  EXPECT_EQ(verify(again, 1, second().context()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(again, CMSG_CONTENT_PARAM), bytesParam(message, CMSG_CONTENT_PARAM));
}

TEST_P(AddSigner, WorksASecondAndAThirdTime) {
  const MessageHandle message = open(original());
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  const Octets two = changed(message);
  const MessageHandle next = open(two);
  ASSERT_EQ(addSigner(next, third()), ERROR_SUCCESS);
  ASSERT_EQ(addSigner(next, signer(KeyKind::Gost2001)), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(
      changed(next), {&first(), &second(), &third(), &signer(KeyKind::Gost2001)}, detached()));
}

TEST_P(AddSigner, AndHisCertificateAndAttribute) {
  const MessageHandle message = open(original());
  const DWORD certificates = numberParam(message, CMSG_CERT_COUNT_PARAM);
  ASSERT_EQ(addSigner(message, second()), ERROR_SUCCESS);
  ASSERT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, second().der()), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message, 0, kAttribute), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message, 1, kAttribute), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changed(message), {&first(), &second()}, detached()));
  const MessageHandle again = open(changed(message));
  EXPECT_EQ(numberParam(again, CMSG_CERT_COUNT_PARAM), certificates + 1);
  EXPECT_EQ(bytesParam(again, CMSG_CERT_PARAM, certificates), second().der());
  const RecordParam<CRYPT_ATTRIBUTES> attributes(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0);
  EXPECT_STREQ(attributes->rgAttr[attributes->cAttr - 1].pszObjId, "1.2.3.4");
}

INSTANTIATE_TEST_SUITE_P(Messages,
                         AddSigner,
                         ::testing::Values(Origin{"Der", {"-nodetach"}},
                                           Origin{"DerNoAttributes", {"-nodetach", "-noattr"}},
                                           Origin{"Ber", {"-nodetach", "-stream"}},
                                           Origin{"BerNoAttributes",
                                                  {"-nodetach", "-noattr", "-stream"}},
                                           Origin{"NoCertificates", {"-nodetach", "-nocerts"}},
                                           Origin{"KeyId", {"-nodetach", "-keyid"}},
                                           Origin{"Detached", {}, true},
                                           Origin{"DetachedNoAttributes", {"-noattr"}, true}),
                         [](const ::testing::TestParamInfo<Origin>& parameter) {
                           return std::string(parameter.param.name);
                         });

/// A message whose first signer's attributes are not in DER order: signed so by him.
Octets badlyOrdered(Signer& one) {
  const Octets made = sign({&one}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  const MessageHandle message = decode(made);
  const Octets old = bytesParam(message, CMSG_ENCODED_SIGNER);
  der::Reader fields(der::readWhole(old, der::kSequence)->content);
  der::Encoding content;
  for (int i = 0; i < 3; ++i) {
    content.append(der::Encoding::borrowed(fields.next()->whole));
  }
  der::Reader attributes(fields.next(0xA0)->content);
  std::vector<der::Bytes> list;
  while (!attributes.atEnd()) {
    list.insert(list.begin(), attributes.next()->whole);
  }
  der::Encoding reversed;
  for (const der::Bytes attribute : list) {
    reversed.append(der::Encoding::borrowed(attribute));
  }
  Octets set = der::wrap(der::kSet, std::move(reversed)).bytes();
  const HashAlgorithm hash = HashAlgorithm::Streebog256;
  const std::shared_ptr<const PrivateKey> key = *usableKey(one.provider());
  const Octets signature = *key->signDigest(hash, hashOf(hash, set).bytes());
  set.front() = 0xA0;
  content.append(der::Encoding::borrowed(set));
  content.append(der::Encoding::borrowed(fields.next()->whole));
  content.append(der::octetString(signature));
  const Octets signer = der::wrap(der::kSequence, std::move(content)).bytes();
  EXPECT_EQ(signer.size(), old.size());
  Octets bytes = made;
  std::ranges::copy(signer, std::ranges::search(bytes, old).begin());
  return bytes;
}

TEST(AddSignerToBadOrder, LeavesTheAttributesInTheirOrder) {
  Signer& one = signer(KeyKind::Gost2012_256);
  Signer& two = signer(KeyKind::EcP256);
  const Octets bytes = badlyOrdered(one);
  ASSERT_TRUE(cmsVerifies(bytes, {&one}));
  const MessageHandle message = decode(bytes);
  ASSERT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  const Octets before = bytesParam(message, CMSG_ENCODED_SIGNER);
  ASSERT_EQ(addSigner(message, two), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message, 1, kAttribute), ERROR_SUCCESS);
  EXPECT_TRUE(contains(changed(message), before));
  EXPECT_TRUE(cmsVerifies(changed(message), {&one, &two}));
  ASSERT_EQ(addUnsigned(message, 0, kAttribute), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changed(message), {&one, &two}));
}

TEST(AddSignerDetached, ToContentInPartsSignsWithAHashThatWasTaken) {
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, kContent, {.flags = CMSG_DETACHED_FLAG});
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  ASSERT_EQ(update(message, kContent, /*final=*/false), ERROR_SUCCESS);
  ASSERT_EQ(update(message, {}), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message, signer(KeyKind::Rsa2048)), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message, signer(KeyKind::Gost2001)), NTE_BAD_HASH_STATE);
  EXPECT_TRUE(cmsVerifies(
      changed(message), {&signer(KeyKind::EcP256), &signer(KeyKind::Rsa2048)}, &kContent));
}

TEST(AddSignerDetached, FailsBeforeTheContent) {
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, kContent, {.flags = CMSG_DETACHED_FLAG});
  const MessageHandle message = openDecoder(CMSG_DETACHED_FLAG);
  ASSERT_EQ(update(message, bytes), ERROR_SUCCESS);
  EXPECT_EQ(addSigner(message, signer(KeyKind::Rsa2048)), NTE_BAD_HASH_STATE);
}

class Change : public ::testing::Test {
 protected:
  static Signer& one() { return signer(KeyKind::EcP256); }

  static Signer& two() { return signer(KeyKind::EcP256, 1); }

  const Octets bytes_ = sign({&one(), &two()}, kContent);
  const MessageHandle message_ = decode(bytes_);
};

TEST_F(Change, NothingGivesTheMessageAsItWas) {
  EXPECT_EQ(changed(message_), bytes_);
}

TEST_F(Change, RefusesASignerWhoIsThereAlready) {
  EXPECT_EQ(addSigner(message_, one()), CRYPT_E_EXISTS);
  EXPECT_EQ(changed(message_), bytes_) << "nothing is left of a failure";
}

TEST_F(Change, RefusesASignerWhoCannotSign) {
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::Rsa2048).encodeInfo();
  KeyContext noKey(PROV_GOST_2001_DH);
  info.hCryptProv = noKey.handle();
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), NTE_NO_KEY);
  info.HashAlgorithm.pszObjId = nullptr;
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), CRYPT_E_UNKNOWN_ALGO);
  info.cbSize = 0;
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), E_INVALIDARG);
  EXPECT_EQ(changed(message_), bytes_);
}

TEST_F(Change, AddsASignerNamedByHisKeyWithTheVersionThatHeNeeds) {
  Signer& third = signer(KeyKind::Rsa2048);
  const Octets keyId = third.keyId();
  CMSG_SIGNER_ENCODE_INFO_LONG info{};
  const CMSG_SIGNER_ENCODE_INFO shortForm = third.encodeInfo();
  std::memcpy(&info, &shortForm, sizeof shortForm);
  info.cbSize = sizeof info;
  info.SignerId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  info.SignerId.KeyId = blob(keyId);
  ASSERT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER, &info), ERROR_SUCCESS);
  const MessageHandle again = decode(changed(message_));
  EXPECT_EQ(numberParam(again, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  EXPECT_TRUE(cmsVerifies(changed(message_), {&one(), &two(), &third}));
  ASSERT_EQ(removeAt(again, CMSG_CTRL_DEL_SIGNER, 2), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changed(again)), CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
}

TEST_F(Change, RemovesASignerAndShiftsTheOthers) {
  const Octets second = bytesParam(message_, CMSG_ENCODED_SIGNER, 1);
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 2), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_SIGNER_COUNT_PARAM), 1U);
  EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_SIGNER, 0), second);
  EXPECT_TRUE(cmsVerifies(changed(message_), {&two()}));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_SIGNER, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changed(message_)), CMSG_SIGNER_COUNT_PARAM), 0U);
}

TEST_F(Change, RemovesACertificateAndShiftsTheOthers) {
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 2), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_CERT_PARAM, 0), two().der());
  EXPECT_EQ(paramError(message_, CMSG_CERT_PARAM, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_FALSE(contains(changed(message_), one().der()));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CERT, 0), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(decode(changed(message_)), CMSG_CERT_COUNT_PARAM), 0U);
  EXPECT_TRUE(cmsVerifies(changed(message_), {&one(), &two()}));
}

TEST_F(Change, CopiesWhatIsAdded) {
  Octets certificate = signer(KeyKind::Rsa2048).der();
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, certificate), ERROR_SUCCESS);
  std::ranges::fill(certificate, 0xEE);
  EXPECT_EQ(bytesParam(message_, CMSG_CERT_PARAM, 2), signer(KeyKind::Rsa2048).der());
}

TEST_F(Change, DoesNotAddACertificateTwice) {
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, one().der()), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_CERT_COUNT_PARAM), 2U);
}

TEST_F(Change, RefusesAnotherCertificateWithTheSameIssuerAndSerialNumber) {
  Octets twin = one().der();
  twin.back() ^= 1;
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, twin), CRYPT_E_EXISTS);
  EXPECT_EQ(changed(message_), bytes_);
}

TEST_F(Change, RefusesWhatIsNoCertificate) {
  const DWORD badTag = CRYPT_E_ASN1_BADTAG;
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, octets("junk")), badTag);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, {}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, one().der()), badTag);
  Octets more = one().der();
  more.push_back(0);
  EXPECT_EQ(addBlob(message_, CMSG_CTRL_ADD_CERT, more), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(changed(message_), bytes_);
}

TEST_F(Change, AddsAndRemovesCrls) {
  const lab::Authority authority = lab::Authority::selfSigned(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Authority"}}});
  const Octets first = lab::toDer(authority.crl({.number = 1}).get());
  const Octets second = lab::toDer(authority.crl({.number = 2}).get());
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, first), ERROR_SUCCESS);
  ASSERT_EQ(addBlob(message_, CMSG_CTRL_ADD_CRL, second), ERROR_SUCCESS);
  EXPECT_EQ(numberParam(message_, CMSG_CRL_COUNT_PARAM), 2U);
  EXPECT_TRUE(cmsVerifies(changed(message_), {&one(), &two()}));
  ASSERT_EQ(removeAt(message_, CMSG_CTRL_DEL_CRL, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_CRL_PARAM, 0), second);
  EXPECT_EQ(removeAt(message_, CMSG_CTRL_DEL_CRL, 1), CRYPT_E_INVALID_INDEX);
}

TEST_F(Change, AddsUnsignedAttributesBehindTheOthers) {
  const Octets other = fromHex("300a 06032a0301 3103 020101");
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message_, 1, other), ERROR_SUCCESS);
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS) << "these may be repeated";
  const MessageHandle again = decode(changed(message_));
  EXPECT_EQ(paramError(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0), CRYPT_E_ATTRIBUTES_MISSING);
  const RecordParam<CRYPT_ATTRIBUTES> attributes(again, CMSG_SIGNER_UNAUTH_ATTR_PARAM, 1);
  ASSERT_EQ(attributes->cAttr, 3U);
  EXPECT_STREQ(attributes->rgAttr[0].pszObjId, "1.2.3.4");
  EXPECT_STREQ(attributes->rgAttr[1].pszObjId, "1.2.3.1");
  EXPECT_EQ(verify(again, 1, two().context()), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(changed(message_), {&one(), &two()}));
}

TEST_F(Change, RemovesUnsignedAttributes) {
  const Octets before = bytesParam(message_, CMSG_ENCODED_SIGNER, 1);
  ASSERT_EQ(addUnsigned(message_, 1, kAttribute), ERROR_SUCCESS);
  EXPECT_EQ(removeUnsigned(message_, 1, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(removeUnsigned(message_, 2, 0), CRYPT_E_INVALID_INDEX);
  ASSERT_EQ(removeUnsigned(message_, 1, 0), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_SIGNER, 1), before);
}

TEST_F(Change, RefusesUnsignedAttributesThatCannotBeUsed) {
  EXPECT_EQ(addUnsigned(message_, 2, kAttribute), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(addUnsigned(message_, 0, octets("junk")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3000")), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3007 06032a0304 0500")), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(addUnsigned(message_, 0, fromHex("3005 06032a0304")), CRYPT_E_ASN1_EOD);
  CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR_PARA add{};
  EXPECT_EQ(control(message_, CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR, &add), E_INVALIDARG);
  CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR_PARA remove{};
  EXPECT_EQ(control(message_, CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR, &remove), E_INVALIDARG);
  EXPECT_EQ(changed(message_), bytes_);
}

TEST_F(Change, RefusesMissingParameters) {
  for (const DWORD type : {CMSG_CTRL_ADD_SIGNER,
                           CMSG_CTRL_DEL_SIGNER,
                           CMSG_CTRL_ADD_CERT,
                           CMSG_CTRL_DEL_CERT,
                           CMSG_CTRL_ADD_CRL,
                           CMSG_CTRL_DEL_CRL,
                           CMSG_CTRL_ADD_SIGNER_UNAUTH_ATTR,
                           CMSG_CTRL_DEL_SIGNER_UNAUTH_ATTR}) {
    EXPECT_EQ(control(message_, type, nullptr), E_INVALIDARG) << type;
  }
}

TEST(ChangeLimits, RefuseMoreAttributesThanASignerMayHave) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle message = decode(sign({&one}, kContent));
  for (int i = 0; i < 64; ++i) {
    ASSERT_EQ(addUnsigned(message, 0, kAttribute), ERROR_SUCCESS) << i;
  }
  EXPECT_EQ(addUnsigned(message, 0, kAttribute), CRYPT_E_ASN1_LARGE);
  EXPECT_EQ(verify(decode(changed(message)), 0, one.context()), ERROR_SUCCESS);
}

}  // namespace
}  // namespace qx::test
