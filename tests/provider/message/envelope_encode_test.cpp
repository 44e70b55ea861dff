#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "provider/cipher/content_cipher.h"
#include "provider/message/enveloped_data.h"
#include "provider/message/limits.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/envelopes.h"

namespace qx::test::envelope_encode_test {
namespace {

using lab::KeyKind;

const Octets kContent = octets("For the eyes of some.");
constexpr const char* kSignedData = "1.2.840.113549.1.7.2";
const std::string kDataOid = "06092a864886f70d010701";

Signer& gost() {
  return signer(KeyKind::Gost2012_256);
}

/// The message as its structure, over bytes that live as long as it does.
class Read {
 public:
  explicit Read(Octets bytes) : bytes_(std::move(bytes)), data_(read()) {}

  const EnvelopedData* operator->() const { return &data_; }

  Gost28147Parameters parameters() const {
    return *readGost28147Parameters(data_.algorithm.parameters);
  }

 private:
  EnvelopedData read() const {
    const auto info = der::readWhole(bytes_, der::kSequence);
    der::Reader reader(info->content);
    EXPECT_TRUE(reader.next(der::kOid));
    const auto tagged = reader.next(der::contextConstructed(0));
    return *readEnvelopedData(*der::readWhole(tagged->content, der::kSequence));
  }

  Octets bytes_;
  EnvelopedData data_;
};

DWORD openError(const CMSG_ENVELOPED_ENCODE_INFO* info) {
  SetLastError(ERROR_SUCCESS);
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_ENVELOPED, info, nullptr, nullptr));
  return message ? ERROR_SUCCESS : GetLastError();
}

CMSG_ENVELOPED_ENCODE_INFO goodInfo() {
  CMSG_ENVELOPED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.ContentEncryptionAlgorithm.pszObjId = writable(kGost28147);
  return info;
}

TEST(EnvelopeEncode, MakesTheFormOfPkcs7) {
  const Octets bytes = envelope({&gost(), &signer(KeyKind::Rsa2048)}, kContent);
  const Read read(bytes);
  EXPECT_EQ(read->version, 0U);
  EXPECT_EQ(read->contentType, "1.2.840.113549.1.7.1");
  EXPECT_EQ(read->algorithm.oid, kGost28147);
  EXPECT_EQ(read->recipients.size(), 2U);
  ASSERT_TRUE(read->encrypted);
  EXPECT_EQ(read->encrypted->identifier, 0x80);
  EXPECT_EQ(read->encrypted->content.size(), kContent.size());
  EXPECT_TRUE(read->unprotected.empty());
}

TEST(EnvelopeEncode, NamesEachRecipientAndHisKey) {
  const MessageHandle decoded = decode(envelope({&gost()}, kContent));
  const RecordParam<CERT_INFO> info(decoded, CMSG_RECIPIENT_INFO_PARAM);
  EXPECT_TRUE(CertCompareCertificate(kEncoding, writable(&*info), &gost().info()));
  const CRYPT_ALGORITHM_IDENTIFIER& key = gost().info().SubjectPublicKeyInfo.Algorithm;
  EXPECT_STREQ(info->SubjectPublicKeyInfo.Algorithm.pszObjId, key.pszObjId);
  EXPECT_EQ(hex(info->SubjectPublicKeyInfo.Algorithm.Parameters), hex(key.Parameters));
}

TEST(EnvelopeEncode, WritesNullBehindTheNameOfRsa) {
  const Read read(envelope({&signer(KeyKind::Rsa2048)}, kContent));
  EXPECT_EQ(toHex(read->recipients.front().algorithm.parameters), "0500");
}

TEST(EnvelopeEncode, PutsRecipientsInTheOrderOfDer) {
  const Octets one = envelope({&gost(), &signer(KeyKind::Gost2012_256, 1)}, kContent);
  const Octets other = envelope({&signer(KeyKind::Gost2012_256, 1), &gost()}, kContent);
  EXPECT_EQ(toHex(Read(one)->recipients.front().id.serial),
            toHex(Read(other)->recipients.front().id.serial));
}

TEST(EnvelopeEncode, TakesTheConfiguredSetAndARandomInitialValue) {
  const Read one(envelope({&gost()}, kContent));
  const Read other(envelope({&gost()}, kContent));
  EXPECT_EQ(one.parameters().set, "1.2.643.2.2.31.1");
  EXPECT_NE(one.parameters().iv, other.parameters().iv);
}

TEST(EnvelopeEncode, NeverMakesTheSameTwice) {
  std::set<std::string> keys;
  std::set<std::string> contents;
  for (int i = 0; i < 8; ++i) {
    const Read read(envelope({&gost()}, kContent));
    keys.insert(toHex(read->recipients.front().encryptedKey));
    contents.insert(toHex(read->encrypted->content));
  }
  EXPECT_EQ(keys.size(), 8U);
  EXPECT_EQ(contents.size(), 8U);
}

TEST(EnvelopeEncode, ShowsNothingOfTheContent) {
  const Octets marker = octets("the marker in the plain content");
  Octets plain = content(5'000);
  plain.insert(plain.begin() + 2'500, marker.begin(), marker.end());
  const Octets bytes = envelope({&gost(), &signer(KeyKind::Rsa2048)}, plain);
  EXPECT_TRUE(std::ranges::search(bytes, marker).empty());
}

class EnvelopeSet : public ::testing::TestWithParam<const char*> {};

TEST_P(EnvelopeSet, ThatIsNamedIsHonoured) {
  const Octets parameters =
      *encodeGost28147Parameters({.iv = fromHex("0102030405060708"), .set = GetParam()});
  const Octets plain = content(4'000);
  const Octets bytes = envelope({&gost()}, plain, {.parameters = parameters});
  EXPECT_EQ(toHex(Read(bytes)->algorithm.parameters), toHex(parameters));
  EXPECT_EQ(opensslDecrypt(gost(), bytes), plain);
  EXPECT_EQ(develope(bytes, 0, gost()), plain);
}

std::string setText(const ::testing::TestParamInfo<const char*>& parameter) {
  std::string name = parameter.param;
  std::ranges::replace(name, '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All,
                         EnvelopeSet,
                         ::testing::Values("1.2.643.2.2.31.1",
                                           "1.2.643.2.2.31.2",
                                           "1.2.643.2.2.31.3",
                                           "1.2.643.2.2.31.4",
                                           "1.2.643.7.1.2.5.1.1"),
                         setText);

TEST(EnvelopeEncode, RefusesParametersThatAreNone) {
  const auto errorOfParameters = [](const std::string& text) {
    const Octets parameters = fromHex(text);
    CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
    info.ContentEncryptionAlgorithm.Parameters = blob(parameters);
    return openError(&info);
  };
  EXPECT_EQ(errorOfParameters("0500"), static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
  EXPECT_EQ(errorOfParameters("3000"), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  // An initial value of seven octets, an unknown set, and something behind the set.
  EXPECT_EQ(errorOfParameters("3012 0407 01020304050607 0607 2a850302021f01"),
            static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  EXPECT_EQ(errorOfParameters("3013 0408 0102030405060708 0607 2a850302021f63"),
            static_cast<DWORD>(NTE_BAD_ALGID));
  EXPECT_EQ(errorOfParameters("3015 0408 0102030405060708 0607 2a850302021f01 0500"),
            static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT));
  EXPECT_EQ(errorOfParameters("3013 0408 0102030405060708 0607 2a850302021f01"), ERROR_SUCCESS);
}

TEST(EnvelopeEncode, NeedsAnInfoOfItsSize) {
  EXPECT_EQ(openError(nullptr), static_cast<DWORD>(E_INVALIDARG));
  CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
  for (const DWORD size : {DWORD{0}, DWORD{63}}) {
    info.cbSize = size;
    EXPECT_EQ(openError(&info), static_cast<DWORD>(E_INVALIDARG));
  }
}

TEST(EnvelopeEncode, KnowsOneCipherOnly) {
  CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
  info.ContentEncryptionAlgorithm.pszObjId = nullptr;
  EXPECT_EQ(openError(&info), static_cast<DWORD>(CRYPT_E_UNKNOWN_ALGO));
  info.ContentEncryptionAlgorithm.pszObjId = writable("2.16.840.1.101.3.4.1.42");
  EXPECT_EQ(openError(&info), static_cast<DWORD>(CRYPT_E_UNKNOWN_ALGO));
}

TEST(EnvelopeEncode, RefusesRecipientsThatAreNone) {
  CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
  info.cRecipients = 1;
  EXPECT_EQ(openError(&info), static_cast<DWORD>(E_INVALIDARG)) << "no array";
  CERT_INFO empty{};
  PCERT_INFO recipients[] = {nullptr};
  info.rgpRecipients = recipients;
  EXPECT_EQ(openError(&info), static_cast<DWORD>(E_INVALIDARG)) << "no recipient";
  recipients[0] = &empty;
  EXPECT_EQ(openError(&info), static_cast<DWORD>(E_INVALIDARG)) << "without a name";
  CERT_INFO keyless = gost().info();
  keyless.SubjectPublicKeyInfo.PublicKey = {};
  recipients[0] = &keyless;
  EXPECT_EQ(openError(&info), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  recipients[0] = &signer(KeyKind::EcP256).info();
  EXPECT_EQ(openError(&info), static_cast<DWORD>(NTE_BAD_ALGID)) << "a key that only signs";
}

TEST(EnvelopeEncode, TakesTheLongFormWithoutItsMembers) {
  CMSG_ENVELOPED_ENCODE_INFO_LONG info{};
  info.cbSize = sizeof info;
  info.ContentEncryptionAlgorithm.pszObjId = writable(kGost28147);
  const auto* asShort = reinterpret_cast<const CMSG_ENVELOPED_ENCODE_INFO*>(&info);
  EXPECT_EQ(openError(asShort), ERROR_SUCCESS);
  info.cUnprotectedAttr = 1;
  EXPECT_EQ(openError(asShort), static_cast<DWORD>(E_INVALIDARG));
}

TEST(EnvelopeEncode, LimitsItsRecipients) {
  std::vector<PCERT_INFO> recipients(kMaxRecipients + 1, &gost().info());
  CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
  info.rgpRecipients = recipients.data();
  info.cRecipients = static_cast<DWORD>(recipients.size());
  EXPECT_EQ(openError(&info), static_cast<DWORD>(E_INVALIDARG));
}

TEST(EnvelopeEncode, CopiesWhatItIsGiven) {
  std::string oid = kGost28147;
  Octets issuer(gost().info().Issuer.pbData,
                gost().info().Issuer.pbData + gost().info().Issuer.cbData);
  CERT_INFO recipient = gost().info();
  recipient.Issuer = blob(issuer);
  PCERT_INFO recipients[] = {&recipient};
  CMSG_ENVELOPED_ENCODE_INFO info = goodInfo();
  info.ContentEncryptionAlgorithm.pszObjId = oid.data();
  info.cRecipients = 1;
  info.rgpRecipients = recipients;
  const MessageHandle message(
      CryptMsgOpenToEncode(kEncoding, 0, CMSG_ENVELOPED, &info, nullptr, nullptr));
  oid.assign(oid.size(), '?');
  std::ranges::fill(issuer, 0xEE);
  recipient = {};
  recipients[0] = nullptr;
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(develope(bytesParam(message, CMSG_CONTENT_PARAM), 0, gost()), kContent);
}

TEST(EnvelopeEncode, MayHaveNoRecipients) {
  const MessageHandle decoded = decode(envelope({}, kContent));
  EXPECT_EQ(numberParam(decoded, CMSG_RECIPIENT_COUNT_PARAM), 0U);
}

TEST(EnvelopeEncode, MayBeEmpty) {
  const Octets bytes = envelope({&gost()}, {});
  EXPECT_EQ(develope(bytes, 0, gost()), Octets());
  EXPECT_EQ(opensslDecrypt(gost(), bytes), Octets());
}

TEST(EnvelopeEncode, TakesItsContentInOnePiece) {
  const MessageHandle message = openEnvelope({&gost()});
  EXPECT_EQ(update(message, kContent, false), static_cast<DWORD>(CRYPT_E_MSG_ERROR));
  EXPECT_EQ(update(message, kContent), ERROR_SUCCESS) << "still usable";
  EXPECT_EQ(update(message, kContent), static_cast<DWORD>(CRYPT_E_MSG_ERROR));
}

TEST(EnvelopeEncode, KeepsItsContentThoughItIsToBeDetached) {
  const MessageHandle message = openEnvelope({&gost()}, {.flags = CMSG_DETACHED_FLAG});
  EXPECT_EQ(update(message, kContent, false), static_cast<DWORD>(E_INVALIDARG));
  EXPECT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_EQ(develope(bytesParam(message, CMSG_CONTENT_PARAM), 0, gost()), kContent);
}

TEST(EnvelopeEncode, EncryptsTheOctetsInsideOtherContent) {
  const Octets inner = fromHex("3003020107");
  const Octets bytes = envelope({&gost()}, inner, {.innerType = kSignedData});
  EXPECT_EQ(Read(bytes)->contentType, kSignedData);
  EXPECT_EQ(develope(bytes, 0, gost()), fromHex("020107"));
}

TEST(EnvelopeEncode, RefusesOtherContentThatIsNoElement) {
  const MessageHandle message = openEnvelope({&gost()}, {.innerType = kSignedData});
  EXPECT_EQ(update(message, fromHex("300302")), static_cast<DWORD>(CRYPT_E_ASN1_EOD));
  EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), static_cast<DWORD>(CRYPT_E_MSG_ERROR));
}

TEST(EnvelopeEncode, HasNothingToReadBeforeItsContent) {
  const MessageHandle message = openEnvelope({&gost()});
  EXPECT_EQ(paramError(message, CMSG_CONTENT_PARAM), static_cast<DWORD>(CRYPT_E_MSG_ERROR));
  EXPECT_EQ(numberParam(message, CMSG_VERSION_PARAM), 0U);
}

TEST(EnvelopeEncode, ReadsTheSameEachTime) {
  const MessageHandle message = openEnvelope({&gost()});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets whole = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_EQ(bytesParam(message, CMSG_CONTENT_PARAM), whole);
  const Octets bare = bytesParam(message, CMSG_BARE_CONTENT_PARAM);
  EXPECT_EQ(Octets(whole.end() - static_cast<std::ptrdiff_t>(bare.size()), whole.end()), bare);
}

TEST(EnvelopeEncode, AnswersNoOtherParameterAndNoControl) {
  const MessageHandle message = openEnvelope({&gost()});
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  for (const DWORD type : {CMSG_TYPE_PARAM,
                           CMSG_RECIPIENT_COUNT_PARAM,
                           CMSG_ENCODED_SIGNER,
                           CMSG_COMPUTED_HASH_PARAM}) {
    EXPECT_EQ(paramError(message, type), static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE)) << type;
  }
  EXPECT_EQ(decryptError(message, 0, gost()), static_cast<DWORD>(E_INVALIDARG));
}

}  // namespace
}  // namespace qx::test::envelope_encode_test
