#include "provider/message/limits.h"

#include <gtest/gtest.h>

#include "provider/der/reader.h"
#include "provider/der/writer.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/der/large_memory.h"
#include "tests/provider/message/changes.h"

namespace qx::test::limits_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("Much of everything.");

/// A SignedData of these sets' contents, which need not be good.
Octets signedData(der::Bytes certificates, der::Bytes signers, const char* hashes = "3100") {
  const Octets hashSet = fromHex(hashes);
  const Octets info = fromHex("300b06092a864886f70d010701");
  der::Encoding data = der::sequence(der::integer(1),
                                     der::Encoding::borrowed(hashSet),
                                     der::Encoding::borrowed(info),
                                     der::wrap(0xA0, der::Encoding::borrowed(certificates)),
                                     der::wrap(der::kSet, der::Encoding::borrowed(signers)));
  return der::sequence(*der::oid("1.2.840.113549.1.7.2"), der::wrap(0xA0, std::move(data))).bytes();
}

/// Something that passes for a certificate, with its own serial number.
Octets certificate(std::uint64_t serial) {
  return der::sequence(
             der::sequence(der::integer(serial), der::sequence(), der::sequence(), der::sequence()),
             der::sequence(),
             der::wrap(der::kBitString, der::Encoding::owned({0})))
      .bytes();
}

Octets certificates(std::uint64_t count) {
  Octets all;
  for (std::uint64_t i = 0; i < count; ++i) {
    const Octets one = certificate(i);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

Octets signers(std::uint64_t count) {
  Octets all;
  const Octets hash = fromHex("300706052b0e03021a");
  const Octets algorithm = fromHex("300406022a03");
  const Octets signature = fromHex("0401aa");
  for (std::uint64_t i = 0; i < count; ++i) {
    const Octets one = der::sequence(der::integer(1),
                                     der::sequence(der::sequence(), der::integer(i)),
                                     der::Encoding::borrowed(hash),
                                     der::Encoding::borrowed(algorithm),
                                     der::Encoding::borrowed(signature))
                           .bytes();
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

TEST(MessageLimits, CertificatesOfADecodedMessage) {
  EXPECT_EQ(decodeError(signedData(certificates(kMaxCertificates), {})), ERROR_SUCCESS);
  EXPECT_EQ(decodeError(signedData(certificates(kMaxCertificates + 1), {})), CRYPT_E_ASN1_LARGE);
}

TEST(MessageLimits, SignersOfADecodedMessage) {
  constexpr const char* kSha1Set = "3109300706052b0e03021a";
  const Octets most = signedData({}, signers(kMaxSigners), kSha1Set);
  const MessageHandle message = decode(most);
  EXPECT_EQ(numberParam(message, CMSG_SIGNER_COUNT_PARAM), kMaxSigners);
  EXPECT_EQ(decodeError(signedData({}, signers(kMaxSigners + 1), kSha1Set)), CRYPT_E_ASN1_LARGE);
  const CMSG_SIGNER_ENCODE_INFO info = signer(KeyKind::EcP256).encodeInfo();
  EXPECT_EQ(control(message, CMSG_CTRL_ADD_SIGNER, &info), E_INVALIDARG);
}

TEST(MessageLimits, CertificatesOfAnAddedOne) {
  const MessageHandle message = decode(signedData(certificates(kMaxCertificates), {}));
  const Octets more = signer(KeyKind::EcP256).der();
  const CRYPT_INTEGER_BLOB value = blob(more);
  EXPECT_EQ(control(message, CMSG_CTRL_ADD_CERT, &value), E_INVALIDARG);
}

TEST(MessageLimits, SignersOfAMadeMessage) {
  const std::vector<CMSG_SIGNER_ENCODE_INFO> many(kMaxSigners + 1,
                                                  signer(KeyKind::EcP256).encodeInfo());
  SetLastError(0);
  EXPECT_FALSE(openEncoder(many));
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

TEST(MessageLimits, AttributesOfAMadeMessage) {
  // contentType and messageDigest count.
  const Octets value = fromHex("0500");
  CRYPT_ATTR_BLOB values[] = {blob(value)};
  std::vector<std::string> names;
  names.reserve(kMaxAttributes);
  for (std::size_t i = 0; i < kMaxAttributes; ++i) {
    names.push_back("1.2.3." + std::to_string(i));
  }
  std::vector<CRYPT_ATTRIBUTE> attributes;
  attributes.reserve(kMaxAttributes);
  for (std::string& name : names) {
    attributes.push_back({.pszObjId = name.data(), .cValue = 1, .rgValue = values});
  }
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO info = one.encodeInfo();
  info.rgAuthAttr = attributes.data();
  info.cAuthAttr = kMaxAttributes - 2;
  const MessageHandle most = openEncoder(std::vector{info});
  ASSERT_EQ(update(most, kContent), ERROR_SUCCESS);
  EXPECT_EQ(verify(decode(bytesParam(most, CMSG_CONTENT_PARAM)), 0, one.context()), ERROR_SUCCESS);
  for (const DWORD count : {DWORD{kMaxAttributes - 1}, DWORD{kMaxAttributes}, DWORD{0xFFFFFFFF}}) {
    info.cAuthAttr = count;
    SetLastError(0);
    EXPECT_FALSE(openEncoder(std::vector{info})) << count;
    EXPECT_EQ(GetLastError(), E_INVALIDARG);
  }
}

TEST(MessageLimits, CountsThatLieInTheMessageRecord) {
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  CERT_BLOB none{};
  info.rgCertEncoded = &none;
  info.cCertEncoded = 0xFFFFFFFF;
  SetLastError(0);
  EXPECT_EQ(CryptMsgOpenToEncode(kEncoding, 0, CMSG_SIGNED, &info, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

/// A bag of certificates whose content is so many zeros, in one piece of memory.
class LargeBag {
 public:
  explicit LargeBag(std::size_t contentSize) : zeros_(contentSize), memory_(contentSize + 100) {
    der::Encoding data =
        der::sequence(der::integer(1),
                      der::wrap(der::kSet, {}),
                      der::sequence(*der::oid("1.2.840.113549.1.7.1"),
                                    der::wrap(0xA0, der::octetString(zeros_.bytes()))),
                      der::wrap(der::kSet, {}));
    const der::Encoding message =
        der::sequence(*der::oid("1.2.840.113549.1.7.2"), der::wrap(0xA0, std::move(data)));
    size_ = message.size();
    // The zeros are there already, and writing them would take memory.
    std::uint8_t* out = memory_.data();
    message.visit([&](der::Bytes piece) {
      out = piece.data() == zeros_.data() ? out + piece.size() : der::copyTo(out, piece);
    });
  }

  der::Bytes bytes() const { return memory_.bytes().first(size_); }

 private:
  LargeMemory zeros_;
  LargeMemory memory_;
  std::size_t size_ = 0;
};

TEST(MessageLimits, SizeOfAChangedMessage) {
  const LargeBag bag(kMaxSize - 100);
  const MessageHandle message = openDecoder();
  ASSERT_EQ(updateBorrowed(message, bag.bytes()), ERROR_SUCCESS);
  DWORD size = 0;
  ASSERT_NE(CryptMsgGetParam(message.get(), CMSG_ENCODED_MESSAGE, 0, nullptr, &size), FALSE);
  EXPECT_EQ(size, bag.bytes().size());
  ASSERT_EQ(addBlob(message, CMSG_CTRL_ADD_CERT, signer(KeyKind::EcP256).der()), ERROR_SUCCESS);
  EXPECT_EQ(CryptMsgGetParam(message.get(), CMSG_ENCODED_MESSAGE, 0, nullptr, &size), FALSE);
  EXPECT_EQ(GetLastError(), DWORD{CRYPT_E_ASN1_LARGE}) << "more than a size can tell";
  ASSERT_EQ(removeAt(message, CMSG_CTRL_DEL_CERT, 0), ERROR_SUCCESS);
  EXPECT_NE(CryptMsgGetParam(message.get(), CMSG_ENCODED_MESSAGE, 0, nullptr, &size), FALSE);
}

TEST(MessageLimits, SizeOfAMessage) {
  const LargeBag bag(kMaxSize - 10);
  const MessageHandle message = openDecoder();
  EXPECT_EQ(updateBorrowed(message, bag.bytes()), CRYPT_E_ASN1_LARGE);
}

}  // namespace
}  // namespace qx::test::limits_test
