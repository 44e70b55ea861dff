#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "provider/hash/hash.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"

namespace qx::test {
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

bool contains(const Octets& bytes, const std::string& hexText) {
  return toHex(bytes).find(hexText) != std::string::npos;
}

DWORD openError(std::vector<CMSG_SIGNER_ENCODE_INFO> signers,
                const std::vector<Octets>& certificates = {},
                const SignOptions& options = {}) {
  SetLastError(0);
  const MessageHandle message = openEncoder(std::move(signers), options, certificates);
  return message ? ERROR_SUCCESS : GetLastError();
}

/// A record of the long form over the short one of a signer.
CMSG_SIGNER_ENCODE_INFO_LONG longForm(Signer& one) {
  CMSG_SIGNER_ENCODE_INFO_LONG info{};
  const CMSG_SIGNER_ENCODE_INFO shortForm = one.encodeInfo();
  std::memcpy(&info, &shortForm, sizeof shortForm);
  info.cbSize = sizeof info;
  return info;
}

MessageHandle openLong(std::vector<CMSG_SIGNER_ENCODE_INFO_LONG> signers) {
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.cSigners = static_cast<DWORD>(signers.size());
  info.rgSigners = reinterpret_cast<CMSG_SIGNER_ENCODE_INFO*>(signers.data());
  return MessageHandle(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr));
}

/// An attribute with values that are whole elements.
struct AttributeRecord {
  AttributeRecord(const char* oid, std::vector<Octets> elements) : values(std::move(elements)) {
    for (const Octets& value : values) {
      blobs.push_back(blob(value));
    }
    record = {.pszObjId = writable(oid),
              .cValue = static_cast<DWORD>(blobs.size()),
              .rgValue = blobs.data()};
  }

  std::vector<Octets> values;
  std::vector<CRYPT_ATTR_BLOB> blobs;
  CRYPT_ATTRIBUTE record{};
};

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

TEST(SignedEncode, SignsPlainContentWithoutAttributes) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(paramError(message, CMSG_SIGNER_AUTH_ATTR_PARAM), CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_TRUE(contains(bytes, "a0050403616263"));
}

TEST(SignedEncode, AddsContentTypeAndMessageDigestInDerOrder) {
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

TEST(SignedEncode, SortsTheValuesOfAnAttribute) {
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

TEST(SignedEncode, WritesUnsignedAttributesInTheirOrder) {
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

TEST(SignedEncode, CopiesEveryRecordWhenItIsOpened) {
  Signer& one = signer(KeyKind::EcP256);
  Octets issuer(one.info().Issuer.pbData, one.info().Issuer.pbData + one.info().Issuer.cbData);
  Octets certificate = one.der();
  std::string hash = one.hashOid();
  CERT_INFO certInfo = one.info();
  certInfo.Issuer = blob(issuer);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.pCertInfo = &certInfo;
  info.HashAlgorithm.pszObjId = hash.data();
  CERT_BLOB certificates[] = {blob(certificate)};
  CMSG_SIGNED_ENCODE_INFO record{};
  record.cbSize = sizeof record;
  record.cSigners = 1;
  record.rgSigners = &info;
  record.cCertEncoded = 1;
  record.rgCertEncoded = certificates;
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &record, nullptr, nullptr));
  ASSERT_TRUE(message);
  std::ranges::fill(issuer, 0xEE);
  std::ranges::fill(certificate, 0xEE);
  hash.assign(hash.size(), 'x');
  info = {};
  record = {};
  certInfo = {};
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));
}

TEST(SignedEncode, SignsContentThatLooksLikeAttributesOnlyWithAttributes) {
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
TEST(SignedEncode, AttributesCannotBePassedOffAsContent) {
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

TEST(SignedEncode, NamesASignerByHisKeyWhenItIsToldTo) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets keyId = one.keyId();
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  CERT_INFO empty{};
  empty.SubjectPublicKeyInfo = one.info().SubjectPublicKeyInfo;
  info.pCertInfo = &empty;
  info.SignerId.dwIdChoice = CERT_ID_KEY_IDENTIFIER;
  info.SignerId.KeyId = blob(keyId);
  const MessageHandle message = openLong({info, longForm(signer(KeyKind::Rsa2048))});
  ASSERT_TRUE(message) << GetLastError();
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER), "0201038014" + toHex(keyId)));
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_TRUE(cmsVerifies(bytes, {&one, &signer(KeyKind::Rsa2048)}));
  EXPECT_EQ(verify(decode(bytes), 0, one.context()), ERROR_SUCCESS);
}

TEST(SignedEncode, TakesTheIdentifierOfTheLongForm) {
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  CERT_INFO empty{};
  info.pCertInfo = &empty;
  info.SignerId.dwIdChoice = CERT_ID_ISSUER_SERIAL_NUMBER;
  info.SignerId.IssuerSerialNumber.Issuer = one.info().Issuer;
  info.SignerId.IssuerSerialNumber.SerialNumber = one.info().SerialNumber;
  const MessageHandle message = openLong({info});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}))
      << "the key says what algorithm it is";
  info.SignerId.dwIdChoice = CERT_ID_SHA1_HASH;
  SetLastError(0);
  EXPECT_FALSE(openLong({info}));
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(SignedEncode, WritesASignatureAlgorithmThatFitsTheKey) {
  Signer& one = signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(one);
  info.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.113549.1.1.11");
  const MessageHandle message = openLong({info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(message, CMSG_ENCODED_SIGNER), "300d06092a864886f70d01010b0500"));
  EXPECT_TRUE(cmsVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one}));

  Signer& curve = signer(KeyKind::EcP256);
  info = longForm(curve);
  info.HashEncryptionAlgorithm.pszObjId = writable("1.2.840.10045.2.1");
  const MessageHandle bare = openLong({info});
  ASSERT_EQ(update(bare, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(contains(bytesParam(bare, CMSG_ENCODED_SIGNER), "300b06072a8648ce3d02010500"));
  const Octets bytes = bytesParam(bare, CMSG_CONTENT_PARAM);
  EXPECT_EQ(verify(decode(bytes), 0, curve.context()), ERROR_SUCCESS);
}

TEST(SignedEncode, RefusesASignatureAlgorithmThatDoesNotFitTheKey) {
  for (const char* oid : {"1.2.840.113549.1.1.5", "1.2.840.10045.2.1", "1.2.3.4"}) {
    CMSG_SIGNER_ENCODE_INFO_LONG info = longForm(signer(KeyKind::Rsa2048));
    info.HashEncryptionAlgorithm.pszObjId = writable(oid);
    const MessageHandle message = openLong({info});
    ASSERT_TRUE(message);
    EXPECT_EQ(update(message, kContent), NTE_BAD_ALGID) << oid;
  }
}

TEST(SignedEncode, WritesTheHashThatASignatureAlgorithmNames) {
  Signer& one = signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.HashAlgorithm.pszObjId = writable("1.2.840.113549.1.1.5");
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets bytes = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_TRUE(contains(bytes, "300906052b0e03021a0500"));
  EXPECT_TRUE(cmsVerifies(bytes, {&one}));
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

TEST(SignedEncode, NeedsTheKeyNotBeforeTheFinalUpdate) {
  KeyContext noKey(PROV_GOST_2001_DH);
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  info.hCryptProv = noKey.handle();
  const MessageHandle message = openEncoder(std::vector{info});
  ASSERT_TRUE(message);
  EXPECT_EQ(update(message, kContent), NTE_NO_KEY);
  EXPECT_EQ(update(message, kContent), CRYPT_E_MSG_ERROR) << "a failed final update is final";
  EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), CRYPT_E_MSG_ERROR);
}

TEST(SignedEncode, OfAKeyThatIsGoneFails) {
  KeyContext gone(PROV_GOST_2001_DH,
                  {.location = Location::CurrentUser, .id = std::string(64, '0')});
  CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  info.hCryptProv = gone.handle();
  const MessageHandle message = openEncoder(std::vector{info});
  EXPECT_EQ(update(message, kContent), NTE_BAD_KEYSET);
}

TEST(SignedEncode, ReleasesTheHandlesThatItOwnsAtTheFinalUpdate) {
  Signer& one = signer(KeyKind::EcP256);
  KeyContext* context = one.newContext().release();
  const std::shared_ptr<const PrivateKey> key = *usableKey(context->handle());
  const auto owners = key.use_count();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  const MessageHandle message =
      openEncoder(std::vector{info}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG});
  ASSERT_TRUE(message);
  EXPECT_EQ(key.use_count(), owners);
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(key.use_count(), owners - 1) << "the context is gone, and with it its key";
}

TEST(SignedEncode, ReleasesTheHandlesOfAMessageThatIsNeverFinished) {
  Signer& one = signer(KeyKind::EcP256);
  KeyContext* context = one.newContext().release();
  const std::shared_ptr<const PrivateKey> key = *usableKey(context->handle());
  const auto owners = key.use_count();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  {
    const MessageHandle message =
        openEncoder(std::vector{info}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG});
  }
  EXPECT_EQ(key.use_count(), owners - 1);
}

TEST(SignedEncode, LeavesTheHandlesWhenTheOpenFails) {
  Signer& one = signer(KeyKind::EcP256);
  const std::unique_ptr<KeyContext> context = one.newContext();
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.hCryptProv = context->handle();
  EXPECT_EQ(openError({info}, {octets("junk")}, {.flags = CMSG_CRYPT_RELEASE_CONTEXT_FLAG}),
            CRYPT_E_ASN1_BADTAG);
  EXPECT_TRUE(usableKey(context->handle()));
}

TEST(SignedEncode, RefusesRecordsThatCannotBeUsed) {
  Signer& one = signer(KeyKind::EcP256);
  const CMSG_SIGNER_ENCODE_INFO good = one.encodeInfo();
  ASSERT_EQ(openError({good}), ERROR_SUCCESS);

  CMSG_SIGNER_ENCODE_INFO bad = good;
  bad.cbSize = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  bad.pCertInfo = nullptr;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  CERT_INFO info = one.info();
  info.SerialNumber.cbData = 0;
  bad.pCertInfo = &info;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  info = one.info();
  info.Issuer.cbData = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  info.Issuer.cbData = one.info().Issuer.cbData - 1;
  EXPECT_EQ(openError({bad}), E_INVALIDARG) << "not one element";
  bad = good;
  bad.hCryptProv = 0;
  EXPECT_EQ(openError({bad}), E_INVALIDARG);
  bad = good;
  bad.HashAlgorithm.pszObjId = nullptr;
  EXPECT_EQ(openError({bad}), CRYPT_E_UNKNOWN_ALGO);
  bad.HashAlgorithm.pszObjId = writable("1.2.3");
  EXPECT_EQ(openError({bad}), CRYPT_E_UNKNOWN_ALGO);
  for (const char* broken : {"1.2.840.113549.2.2", "1.2.840.113549.2.5", "1.2.840.113549.1.1.4"}) {
    bad.HashAlgorithm.pszObjId = writable(broken);
    EXPECT_EQ(openError({bad}), NTE_BAD_ALGID) << broken;
  }
  EXPECT_EQ(openError({good}, {octets("junk")}), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(openError({good}, {fromHex("3000")}), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(openError({good}, {Octets{}}), CRYPT_E_ASN1_EOD);
}

TEST(SignedEncode, RefusesAMessageRecordThatCannotBeUsed) {
  CMSG_SIGNED_ENCODE_INFO_LONG info{};
  const auto error = [&info] {
    SetLastError(0);
    EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr), nullptr);
    return GetLastError();
  };
  EXPECT_EQ(error(), E_INVALIDARG) << "cbSize 0";
  info.cbSize = sizeof(CMSG_SIGNED_ENCODE_INFO);
  info.cSigners = 1;
  EXPECT_EQ(error(), E_INVALIDARG) << "no array";
  info.cSigners = 0;
  info.cCertEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  info.cCertEncoded = 0;
  info.cCrlEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  info.cCrlEncoded = 0;
  info.cbSize = sizeof info;
  info.cAttrCertEncoded = 1;
  EXPECT_EQ(error(), E_INVALIDARG);
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(SignedEncode, RefusesAttributesThatCannotBeUsed) {
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

TEST(SignedEncode, RefusesTwoSignersUnderOneIdentifier) {
  const CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  EXPECT_EQ(openError({info, info}), E_INVALIDARG);
}

TEST(SignedEncode, RefusesTwoCertificatesWithOneIssuerAndSerialNumber) {
  Signer& one = signer(KeyKind::EcP256);
  const EvpPkeyPtr other = lab::generateKey(KeyKind::EcP256);
  const lab::CertificateOptions options{
      .subject = {{.type = "CN", .value = lab::kindName(KeyKind::EcP256) + std::string(" 0")},
                  {.type = "O", .value = "Signers"}},
      .serial = lab::serialOf(one.certificate())};
  const Octets twin = lab::toDer(lab::selfSigned(other.get(), options).get());
  EXPECT_EQ(openError({one.encodeInfo()}, {one.der(), twin}), E_INVALIDARG);
}

}  // namespace
}  // namespace qx::test
