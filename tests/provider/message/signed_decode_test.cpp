#include <cstdint>

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/signers.h"

namespace qx::test::signed_decode_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Read by parameters.");

/// Whether a pointer leads into the record's own buffer.
template <class Record>
bool isInside(const RecordParam<Record>& record, std::size_t size, const void* pointer) {
  const auto begin = reinterpret_cast<std::uintptr_t>(&*record);
  const auto at = reinterpret_cast<std::uintptr_t>(pointer);
  return at >= begin && at < begin + size;
}

class SignedDecode : public ::testing::Test {
 protected:
  static Signer& one() { return signer(KeyKind::Rsa2048); }

  Octets bytes_ = opensslSign({&one()}, kContent, {"-nodetach"});
  MessageHandle message_ = decode(bytes_);
};

TEST_F(SignedDecode, TellsTypeVersionAndContent) {
  EXPECT_EQ(numberParam(message_, CMSG_TYPE_PARAM), CMSG_SIGNED);
  EXPECT_EQ(numberParam(message_, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V1);
  EXPECT_EQ(textParam(message_, CMSG_INNER_CONTENT_TYPE_PARAM), "1.2.840.113549.1.7.1");
  EXPECT_EQ(bytesParam(message_, CMSG_CONTENT_PARAM), kContent);
  EXPECT_EQ(bytesParam(message_, CMSG_ENCODED_MESSAGE), bytes_);
}

TEST_F(SignedDecode, GivesSignersAndCertificates) {
  EXPECT_EQ(numberParam(message_, CMSG_SIGNER_COUNT_PARAM), 1U);
  EXPECT_EQ(numberParam(message_, CMSG_CERT_COUNT_PARAM), 1U);
  EXPECT_EQ(numberParam(message_, CMSG_CRL_COUNT_PARAM), 0U);
  EXPECT_EQ(bytesParam(message_, CMSG_CERT_PARAM), one().der());
  EXPECT_EQ(paramError(message_, CMSG_CERT_PARAM, 1), CRYPT_E_INVALID_INDEX);
  EXPECT_EQ(paramError(message_, CMSG_CRL_PARAM, 0), CRYPT_E_INVALID_INDEX);
}

TEST_F(SignedDecode, GivesTheSignerInOnePiece) {
  const Octets raw = bytesParam(message_, CMSG_SIGNER_INFO_PARAM);
  const RecordParam<CMSG_SIGNER_INFO> info(message_, CMSG_SIGNER_INFO_PARAM);
  EXPECT_EQ(info->dwVersion, CMSG_SIGNER_INFO_V1);
  EXPECT_EQ(hex(info->Issuer), hex(one().info().Issuer));
  EXPECT_EQ(hex(info->SerialNumber), hex(one().info().SerialNumber));
  EXPECT_STREQ(info->HashAlgorithm.pszObjId, "2.16.840.1.101.3.4.2.1");
  EXPECT_STREQ(info->HashEncryptionAlgorithm.pszObjId, "1.2.840.113549.1.1.1");
  EXPECT_EQ(hex(info->HashEncryptionAlgorithm.Parameters), "0500");
  EXPECT_EQ(hex(info->EncryptedHash), toHex(bytesParam(message_, CMSG_ENCRYPTED_DIGEST)));
  EXPECT_EQ(info->EncryptedHash.cbData, 256U);
  EXPECT_EQ(info->UnauthAttrs.cAttr, 0U);
  EXPECT_EQ(info->UnauthAttrs.rgAttr, nullptr);
  ASSERT_EQ(info->AuthAttrs.cAttr, 4U) << "content type, signing time, digest, capabilities";
  for (DWORD i = 0; i < info->AuthAttrs.cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = info->AuthAttrs.rgAttr[i];
    EXPECT_TRUE(isInside(info, raw.size(), &attribute));
    EXPECT_TRUE(isInside(info, raw.size(), attribute.pszObjId));
    ASSERT_EQ(attribute.cValue, 1U);
    EXPECT_TRUE(isInside(info, raw.size(), attribute.rgValue));
    EXPECT_TRUE(isInside(info, raw.size(), attribute.rgValue[0].pbData));
  }
}

TEST_F(SignedDecode, GivesTheSignedAttributesInTheOrderOfTheMessage) {
  const RecordParam<CRYPT_ATTRIBUTES> attributes(message_, CMSG_SIGNER_AUTH_ATTR_PARAM);
  std::vector<std::string> names;
  names.reserve(attributes->cAttr);
  for (DWORD i = 0; i < attributes->cAttr; ++i) {
    names.emplace_back(attributes->rgAttr[i].pszObjId);
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"1.2.840.113549.1.9.3",
                                      "1.2.840.113549.1.9.5",
                                      "1.2.840.113549.1.9.4",
                                      "1.2.840.113549.1.9.15"}));
  EXPECT_EQ(hex(attributes->rgAttr[0].rgValue[0]), "06092a864886f70d010701");
  EXPECT_EQ(hex(attributes->rgAttr[1].rgValue[0]).substr(0, 4), "170d") << "a UTCTime";
}

TEST_F(SignedDecode, SaysThatAttributesAreMissing) {
  DWORD size = 7;
  EXPECT_EQ(errorOf([&] {
              return CryptMsgGetParam(
                  message_.get(), CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0, nullptr, &size);
            }),
            CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_EQ(size, 0U);
}

TEST_F(SignedDecode, GivesTheIdentifierForLookups) {
  const RecordParam<CERT_INFO> info(message_, CMSG_SIGNER_CERT_INFO_PARAM);
  CERT_INFO copy = *info;
  EXPECT_TRUE(CertCompareCertificate(kEncoding, &copy, &one().info()));
  EXPECT_EQ(info->Subject.cbData, 0U);
  EXPECT_EQ(info->SubjectPublicKeyInfo.Algorithm.pszObjId, nullptr);
  EXPECT_EQ(info->cExtension, 0U);

  const RecordParam<CERT_ID> id(message_, CMSG_SIGNER_CERT_ID_PARAM);
  EXPECT_EQ(id->dwIdChoice, CERT_ID_ISSUER_SERIAL_NUMBER);
  EXPECT_EQ(hex(id->IssuerSerialNumber.Issuer), hex(one().info().Issuer));
  EXPECT_EQ(hex(id->IssuerSerialNumber.SerialNumber), hex(one().info().SerialNumber));
}

TEST_F(SignedDecode, GivesTheSignerAsCmsHasIt) {
  const RecordParam<CMSG_CMS_SIGNER_INFO> info(message_, CMSG_CMS_SIGNER_INFO_PARAM);
  EXPECT_EQ(info->SignerId.dwIdChoice, CERT_ID_ISSUER_SERIAL_NUMBER);
  EXPECT_EQ(hex(info->SignerId.IssuerSerialNumber.Issuer), hex(one().info().Issuer));
  EXPECT_EQ(info->AuthAttrs.cAttr, 4U);
  EXPECT_EQ(hex(info->EncryptedHash), toHex(bytesParam(message_, CMSG_ENCRYPTED_DIGEST)));
}

TEST_F(SignedDecode, GivesHashAndEncodingOfASigner) {
  const RecordParam<CRYPT_ALGORITHM_IDENTIFIER> hash(message_, CMSG_SIGNER_HASH_ALGORITHM_PARAM);
  EXPECT_STREQ(hash->pszObjId, "2.16.840.1.101.3.4.2.1");
  EXPECT_EQ(bytesParam(message_, CMSG_COMPUTED_HASH_PARAM).size(), 32U);
  const Octets encoded = bytesParam(message_, CMSG_ENCODED_SIGNER);
  EXPECT_NE(text(bytes_).find(text(encoded)), std::string::npos) << "as it is in the message";
}

TEST_F(SignedDecode, RefusesASignerThatIsNotThere) {
  for (const DWORD type : {CMSG_SIGNER_INFO_PARAM,
                           CMSG_SIGNER_CERT_INFO_PARAM,
                           CMSG_SIGNER_HASH_ALGORITHM_PARAM,
                           CMSG_SIGNER_AUTH_ATTR_PARAM,
                           CMSG_SIGNER_UNAUTH_ATTR_PARAM,
                           CMSG_COMPUTED_HASH_PARAM,
                           CMSG_ENCRYPTED_DIGEST,
                           CMSG_ENCODED_SIGNER,
                           CMSG_SIGNER_CERT_ID_PARAM,
                           CMSG_CMS_SIGNER_INFO_PARAM}) {
    EXPECT_EQ(paramError(message_, type, 0),
              type == CMSG_SIGNER_UNAUTH_ATTR_PARAM ? CRYPT_E_ATTRIBUTES_MISSING : ERROR_SUCCESS)
        << type;
    EXPECT_EQ(paramError(message_, type, 1), CRYPT_E_INVALID_INDEX) << type;
    EXPECT_EQ(paramError(message_, type, 0xFFFFFFFF), CRYPT_E_INVALID_INDEX) << type;
  }
}

TEST_F(SignedDecode, RefusesParametersOfOtherTypes) {
  for (const DWORD type : {DWORD{0},
                           CMSG_BARE_CONTENT_PARAM,
                           CMSG_ENVELOPE_ALGORITHM_PARAM,
                           CMSG_RECIPIENT_COUNT_PARAM,
                           CMSG_HASH_ALGORITHM_PARAM,
                           CMSG_HASH_DATA_PARAM,
                           CMSG_UNPROTECTED_ATTR_PARAM,
                           DWORD{1000}}) {
    EXPECT_EQ(paramError(message_, type), CRYPT_E_INVALID_MSG_TYPE) << type;
  }
}

TEST_F(SignedDecode, RefusesARecordInAMisalignedBuffer) {
  DWORD size = 0;
  ASSERT_TRUE(CryptMsgGetParam(message_.get(), CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size));
  Octets buffer(size + 8);
  EXPECT_EQ(errorOf([&] {
              return CryptMsgGetParam(
                  message_.get(), CMSG_SIGNER_INFO_PARAM, 0, buffer.data() + 1, &size);
            }),
            E_INVALIDARG);
}

TEST(SignedDecodeKeyId, ShowsASignerUnderAMadeUpName) {
  Signer& one = signer(KeyKind::EcP256);
  const MessageHandle message = decode(opensslSign({&one}, kContent, {"-nodetach", "-keyid"}));
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), CMSG_SIGNED_DATA_V3);
  const RecordParam<CMSG_SIGNER_INFO> info(message, CMSG_SIGNER_INFO_PARAM);
  EXPECT_EQ(info->dwVersion, CMSG_SIGNER_INFO_V3);
  EXPECT_EQ(hex(info->SerialNumber), "00");
  EXPECT_EQ(hex(info->Issuer),
            "3026"
            "3124"
            "3022"
            "060a2b0601040182370a0701"
            "0414" +
                toHex(one.keyId()));
  const RecordParam<CMSG_CMS_SIGNER_INFO> cms(message, CMSG_CMS_SIGNER_INFO_PARAM);
  EXPECT_EQ(cms->SignerId.dwIdChoice, CERT_ID_KEY_IDENTIFIER);
  EXPECT_EQ(hex(cms->SignerId.KeyId), toHex(one.keyId()));
  const RecordParam<CERT_ID> id(message, CMSG_SIGNER_CERT_ID_PARAM);
  EXPECT_EQ(id->dwIdChoice, CERT_ID_KEY_IDENTIFIER);
  // The made-up name finds the signer again.
  const RecordParam<CERT_INFO> found(message, CMSG_SIGNER_CERT_INFO_PARAM);
  CERT_INFO lookup = *found;
  lookup.SubjectPublicKeyInfo = one.info().SubjectPublicKeyInfo;
  EXPECT_EQ(control(message, CMSG_CTRL_VERIFY_SIGNATURE, &lookup), ERROR_SUCCESS);
}

TEST(SignedDecodeContent, OfADetachedMessageIsEmpty) {
  const Octets bytes = sign({&signer(KeyKind::EcP256)}, kContent, {.flags = CMSG_DETACHED_FLAG});
  EXPECT_TRUE(bytesParam(decode(bytes), CMSG_CONTENT_PARAM).empty());
  EXPECT_TRUE(bytesParam(decodeDetached(bytes, kContent), CMSG_CONTENT_PARAM).empty());
}

TEST(SignedDecodeContent, OfManySegmentsIsJoined) {
  // 200 KB are streamed in segments.
  Octets large(200'000);
  for (std::size_t i = 0; i < large.size(); ++i) {
    large[i] = static_cast<std::uint8_t>(i * 7);
  }
  Signer& one = signer(KeyKind::Gost2012_256);
  const Octets bytes = opensslSign({&one}, large, {"-nodetach", "-stream"});
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(bytesParam(message, CMSG_CONTENT_PARAM), large);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes);
}

TEST(SignedDecodeTail, IgnoresWhatStandsBehindTheMessage) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets bytes = sign({&one}, kContent);
  Octets more = bytes;
  more.insert(more.end(), {0, 0, 'x'});
  const MessageHandle message = decode(more);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  EXPECT_EQ(bytesParam(message, CMSG_ENCODED_MESSAGE), bytes);
}

// A SignedData taken apart, to be put together otherwise.
struct Parts {
  explicit Parts(Octets bytes) : whole(std::move(bytes)) {
    der::Reader outer(der::readWhole(whole, der::kSequence)->content);
    EXPECT_TRUE(outer.next(der::kOid));
    der::Reader inside(outer.next(0xA0)->content);
    der::Reader fields(inside.next(der::kSequence)->content);
    version = fields.next()->whole;
    hashes = fields.next()->whole;
    contentInfo = fields.next()->whole;
    if (const auto set = *fields.optional(0xA0)) {
      certificates = set->content;
    }
    der::Reader set(fields.next(der::kSet)->content);
    while (!set.atEnd()) {
      signers.push_back(set.next()->whole);
    }
  }

  Octets join() const {
    der::Encoding signerSet;
    for (const der::Bytes one : signers) {
      signerSet.append(der::Encoding::borrowed(one));
    }
    der::Encoding certificateSet = certificates.empty()
                                       ? der::Encoding()
                                       : der::wrap(0xA0, der::Encoding::borrowed(certificates));
    der::Encoding data = der::sequence(der::Encoding::borrowed(version),
                                       der::Encoding::borrowed(hashes),
                                       der::Encoding::borrowed(contentInfo),
                                       std::move(certificateSet),
                                       der::wrap(der::kSet, std::move(signerSet)));
    return der::sequence(*der::oid("1.2.840.113549.1.7.2"), der::wrap(0xA0, std::move(data)))
        .bytes();
  }

  Octets whole;
  der::Bytes version;
  der::Bytes hashes;
  der::Bytes contentInfo;
  der::Bytes certificates;
  std::vector<der::Bytes> signers;
};

TEST(SignedDecodeRefuses, TwoSignersUnderOneIdentifier) {
  Parts parts(sign({&signer(KeyKind::EcP256)}, kContent));
  ASSERT_EQ(decodeError(parts.join()), ERROR_SUCCESS);
  parts.signers.push_back(parts.signers.front());
  EXPECT_EQ(decodeError(parts.join()), CRYPT_E_ASN1_CORRUPT);
}

TEST(SignedDecodeRefuses, NotTwoSignersWhoNameTheirCertificate) {
  Signer& one = signer(KeyKind::EcP256);
  Parts parts(opensslSign({&one}, kContent, {"-nodetach", "-cades"}));
  parts.signers.push_back(parts.signers.front());
  const Octets twice = parts.join();
  const MessageHandle message = decode(twice);
  EXPECT_EQ(verify(message, 0, one.context()), ERROR_SUCCESS);
  EXPECT_EQ(verify(message, 1, one.context()), ERROR_SUCCESS);
}

TEST(SignedDecodeRefuses, TwoCertificatesWithOneIssuerAndSerialNumber) {
  Signer& one = signer(KeyKind::EcP256);
  Parts parts(sign({&one}, kContent));
  Octets both = one.der();
  both.insert(both.end(), one.der().begin(), one.der().end());
  parts.certificates = both;
  EXPECT_EQ(decodeError(parts.join()), ERROR_SUCCESS) << "the same certificate twice";
  both.back() ^= 1;  // a bit of the signature
  EXPECT_EQ(decodeError(parts.join()), CRYPT_E_ASN1_CORRUPT);
}

TEST(SignedDecodeRefuses, WhatIsNoCertificate) {
  Parts parts(sign({&signer(KeyKind::EcP256)}, kContent));
  for (const char* junk :
       {"3000", "30023000", "0500", "0400", "3006 3000 3000 0300", "3007 3000 3000 030100", "a2"}) {
    const Octets bytes = fromHex(junk);
    parts.certificates = bytes;
    EXPECT_NE(decodeError(parts.join()), ERROR_SUCCESS) << junk;
  }
}

TEST(SignedDecodeRefuses, AVersionThatDoesNotFit) {
  Parts parts(sign({&signer(KeyKind::EcP256)}, kContent));
  for (const char* version :
       {"020100", "020102", "020103", "020105", "0201ff", "0200", "02020001"}) {
    const Octets bytes = fromHex(version);
    parts.version = bytes;
    EXPECT_EQ(decodeError(parts.join()),
              std::string_view(version) == "02020001" ? ERROR_SUCCESS : CRYPT_E_ASN1_CORRUPT)
        << version;
  }
}

TEST(SignedDecodeRefuses, AHashThatIsNotListed) {
  Parts parts(sign({&signer(KeyKind::EcP256)}, kContent));
  const Octets none = fromHex("3100");
  parts.hashes = none;
  EXPECT_EQ(decodeError(parts.join()), CRYPT_E_ASN1_CORRUPT);
}

TEST(SignedDecodeKeeps, OtherFormsOfCertificates) {
  Signer& one = signer(KeyKind::EcP256);
  Parts parts(sign({&one}, kContent));
  // An attribute certificate of version 2, as [2], between two certificates.
  Octets set = fromHex("a2020500");
  set.insert(set.end(), one.der().begin(), one.der().end());
  parts.certificates = set;
  const Octets version = fromHex("020104");
  parts.version = version;
  const Octets bytes = parts.join();
  const MessageHandle message = decode(bytes);
  EXPECT_EQ(numberParam(message, CMSG_CERT_COUNT_PARAM), 1U);
  EXPECT_EQ(bytesParam(message, CMSG_CERT_PARAM), one.der());
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), 4U);
  const CRYPT_INTEGER_BLOB second = blob(signer(KeyKind::Rsa2048).der());
  ASSERT_EQ(control(message, CMSG_CTRL_ADD_CERT, &second), ERROR_SUCCESS);
  const Octets changed = bytesParam(message, CMSG_ENCODED_MESSAGE);
  EXPECT_NE(toHex(changed).find("a2020500"), std::string::npos);
  const MessageHandle again = decode(changed);
  EXPECT_EQ(numberParam(again, CMSG_CERT_COUNT_PARAM), 2U);
  EXPECT_EQ(verify(again, 0, one.context()), ERROR_SUCCESS);
}

// SignerInfos that are wrong in one thing.
class SignerParts {
 public:
  SignerParts() : bytes_(make()), parts_(bytes_) {
    der::Reader fields(der::readWhole(parts_.signers.front(), der::kSequence)->content);
    while (!fields.atEnd()) {
      fields_.push_back(fields.next()->whole);
    }
  }

  /// The error of the message with field `index` replaced.
  DWORD errorWith(std::size_t index, std::string_view hexField) {
    std::vector<der::Bytes> fields = fields_;
    const Octets field = fromHex(hexField);
    fields[index] = field;
    der::Encoding content;
    for (const der::Bytes one : fields) {
      content.append(der::Encoding::borrowed(one));
    }
    const Octets signer = der::wrap(der::kSequence, std::move(content)).bytes();
    Parts changed = parts_;
    changed.signers = {signer};
    return decodeError(changed.join());
  }

  std::string field(std::size_t index) const { return toHex(fields_[index]); }

  std::size_t count() const { return fields_.size(); }

 private:
  static Octets make() {
    return sign(
        {&signer(KeyKind::EcP256)}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  }

  Octets bytes_;
  Parts parts_;
  std::vector<der::Bytes> fields_;
};

TEST(SignedDecodeSigner, IsRefusedWhenAFieldIsWrong) {
  enum Field : std::uint8_t { Version, Id, Hash, Signed, Algorithm, Signature };

  SignerParts parts;
  ASSERT_EQ(parts.count(), 6U);
  for (std::size_t i = 0; i < parts.count(); ++i) {
    EXPECT_EQ(parts.errorWith(i, parts.field(i)), ERROR_SUCCESS);
    EXPECT_EQ(parts.errorWith(i, "") == ERROR_SUCCESS, i == Signed) << "field " << i << " missing";
    EXPECT_NE(parts.errorWith(i, "0500"), ERROR_SUCCESS) << "field " << i;
    EXPECT_NE(parts.errorWith(i, parts.field(i) + parts.field(i)), ERROR_SUCCESS) << "field twice";
  }
  EXPECT_EQ(parts.errorWith(Version, "020103"), CRYPT_E_ASN1_CORRUPT) << "named by issuer";
  EXPECT_EQ(parts.errorWith(Id, "800101"), CRYPT_E_ASN1_CORRUPT) << "named by key in version 1";
  EXPECT_EQ(parts.errorWith(Id, "3004 3000 0200"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(parts.errorWith(Id, "3000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(parts.errorWith(Id, "3008 3000 020101 020101"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(parts.errorWith(Hash, "300d06096086480165030402010400"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(parts.errorWith(Hash, "300b0609608648016503040201"), ERROR_SUCCESS);
  EXPECT_EQ(parts.errorWith(Signed, "a000"), CRYPT_E_ASN1_CORRUPT) << "an empty set";
  EXPECT_EQ(parts.errorWith(Signed, "a00a 3008 06032a0304 3101 05"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(parts.errorWith(Signed, "a010 3006 06022a03 3100 3006 06022a03 3100"),
            CRYPT_E_ASN1_CORRUPT)
      << "repeated";
  EXPECT_EQ(parts.errorWith(Signed, "a010 3006 06022a03 3100 3006 06022a04 3100"), ERROR_SUCCESS);
  EXPECT_EQ(parts.errorWith(Algorithm, "3006 06022a03 0401"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(parts.errorWith(Algorithm, "3006 06022a03 0400"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(parts.errorWith(Algorithm, "3006 06022a03 3000"), ERROR_SUCCESS);
  EXPECT_EQ(parts.errorWith(Algorithm, "300a 06062a8503020203 0500"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(parts.errorWith(Algorithm, "3008 06062a8503020203"), ERROR_SUCCESS);
  EXPECT_EQ(parts.errorWith(Signature, "2480 0401aa 0401bb 0000"), ERROR_SUCCESS) << "BER";
  EXPECT_EQ(parts.errorWith(Signature, "030200aa"), CRYPT_E_ASN1_BADTAG);
}

// What the standard demands of signed attributes, each missed in turn.
class AttributeRules : public ::testing::Test {
 protected:
  /// Verifies a message whose signed attributes are these (content octets), whatever its signature.
  static DWORD errorWith(const std::string& attributesHex) {
    Signer& one = signer(KeyKind::EcP256);
    Parts parts(sign({&one}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG}));
    der::Reader fields(der::readWhole(parts.signers.front(), der::kSequence)->content);
    der::Encoding content;
    for (int i = 0; i < 3; ++i) {
      content.append(der::Encoding::borrowed(fields.next()->whole));
    }
    EXPECT_TRUE(fields.next(0xA0));
    content.append(der::wrap(0xA0, der::Encoding::owned(fromHex(attributesHex))));
    content.append(der::Encoding::borrowed(fields.rest()));
    const Octets signer = der::wrap(der::kSequence, std::move(content)).bytes();
    parts.signers = {signer};
    const Octets bytes = parts.join();
    return verify(decode(bytes), 0, one.context());
  }

  static std::string digestAttribute(const std::string& value) {
    return toHex(der::sequence(*der::oid("1.2.840.113549.1.9.4"),
                               der::wrap(der::kSet, der::Encoding::owned(fromHex(value))))
                     .bytes());
  }

  const std::string digest_ = toHex(
      bytesParam(decode(sign({&signer(KeyKind::EcP256)}, kContent)), CMSG_COMPUTED_HASH_PARAM));
  const std::string type_ = "301806092a864886f70d010903310b06092a864886f70d010701";
};

TEST_F(AttributeRules, TheDigestMustBeThere) {
  EXPECT_EQ(errorWith(type_), CRYPT_E_AUTH_ATTR_MISSING);
}

TEST_F(AttributeRules, TheDigestMustBeTheContents) {
  EXPECT_EQ(errorWith(type_ + digestAttribute("0401aa")), CRYPT_E_HASH_VALUE);
  EXPECT_EQ(errorWith(type_ + digestAttribute("0400")), CRYPT_E_HASH_VALUE);
}

TEST_F(AttributeRules, TheDigestMustBeOneOctetString) {
  EXPECT_EQ(errorWith(type_ + digestAttribute("")), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorWith(type_ + digestAttribute("0420" + digest_ + "0420" + digest_)),
            CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorWith(type_ + digestAttribute("0c20" + digest_)), CRYPT_E_ASN1_BADTAG);
}

TEST_F(AttributeRules, TheContentTypeMustBeTheContents) {
  const std::string good = digestAttribute("0420" + digest_);
  EXPECT_EQ(errorWith("3012 06092a864886f70d010903 3105 06032a0304" + good), NTE_BAD_SIGNATURE);
  EXPECT_EQ(errorWith("300d 06092a864886f70d010903 3100" + good), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorWith("300f 06092a864886f70d010903 3102 0500" + good), CRYPT_E_ASN1_BADTAG);
}

TEST_F(AttributeRules, GoodAttributesStillNeedTheirSignature) {
  const std::string good = digestAttribute("0420" + digest_);
  EXPECT_EQ(errorWith(type_ + good), ERROR_SUCCESS);
  EXPECT_EQ(errorWith(good + type_), NTE_BAD_SIGNATURE) << "in another order";
  EXPECT_EQ(errorWith(good), NTE_BAD_SIGNATURE);
}

TEST(SignedDecodeOtherContent, NeedsSignedAttributes) {
  // The content type is not signed here: another one would not show.
  Signer& one = signer(KeyKind::EcP256);
  Parts parts(sign({&one}, kContent));
  const Octets info =
      der::sequence(*der::oid("1.2.3.4"), der::wrap(0xA0, der::octetString(kContent))).bytes();
  parts.contentInfo = info;
  const Octets bytes = parts.join();
  EXPECT_EQ(verify(decode(bytes), 0, one.context()), CRYPT_E_AUTH_ATTR_MISSING);
}

}  // namespace
}  // namespace qx::test::signed_decode_test
