#include <algorithm>
#include <ctime>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/cms.h>
#include <openssl/ess.h>

#include "platform/cades.h"

#include "provider/cades/ess.h"
#include "provider/cades/oids.h"
#include "provider/chain/name_index.h"
#include "provider/der/values.h"
#include "provider/message/oids.h"
#include "tests/provider/cades/bes.h"
#include "tests/provider/der/hex.h"
#include "tests/provider/message/encode_records.h"
#include "tests/support/kind_name.h"

namespace qx::test::open_to_encode_test {
namespace {

using lab::KeyKind;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

const Octets kContent = octets("What is written here is signed.");

using EssV2Ptr = OpensslOwner<ESS_SIGNING_CERT_V2, ESS_SIGNING_CERT_V2_free>;

/// The types of the first signer's signed attributes.
std::vector<std::string> signedTypes(const Octets& message) {
  const MessageHandle decoded = decode(message);
  const RecordParam<CRYPT_ATTRIBUTES> attributes(decoded, CMSG_SIGNER_AUTH_ATTR_PARAM);
  std::vector<std::string> types;
  for (DWORD i = 0; i < attributes->cAttr; ++i) {
    types.emplace_back(attributes->rgAttr[i].pszObjId);
  }
  return types;
}

/// The only value of the first signer's signed attribute of this type.
Octets signedValue(const Octets& message, std::string_view type) {
  const MessageHandle decoded = decode(message);
  const RecordParam<CRYPT_ATTRIBUTES> attributes(decoded, CMSG_SIGNER_AUTH_ATTR_PARAM);
  for (DWORD i = 0; i < attributes->cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = attributes->rgAttr[i];
    if (attribute.pszObjId == type && attribute.cValue == 1) {
      const CRYPT_ATTR_BLOB& value = attribute.rgValue[0];
      return {value.pbData, value.pbData + value.cbData};
    }
  }
  ADD_FAILURE() << "no " << type;
  return {};
}

std::time_t secondsOf(const FILETIME& time) {
  const std::uint64_t ticks = std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime;
  return static_cast<std::time_t>(ticks / 10'000'000) - 11'644'473'600;
}

CertificatePtr dataOf(const Signer& one) {
  return *CertificateData::parse(one.der());
}

// Key type x attached or detached x certificates in or out x one or three signers.
using Case = std::tuple<KeyKind, bool, bool, bool>;

class BesEachWay : public ::testing::TestWithParam<Case> {
 protected:
  std::vector<Signer*> signers() const {
    std::vector<Signer*> all = {&signer(std::get<0>(GetParam()))};
    if (std::get<3>(GetParam())) {
      all.push_back(&signer(KeyKind::EcP256, 1));
      all.push_back(&signer(KeyKind::Gost2012_256, 1));
    }
    return all;
  }

  SignOptions options() const {
    return {.flags = isDetached() ? CMSG_DETACHED_FLAG : 0,
            .certificates = std::get<2>(GetParam())};
  }

  bool isDetached() const { return std::get<1>(GetParam()); }
};

TEST_P(BesEachWay, IsAcceptedByOpenssl) {
  for (const Signer* one : signers()) {
    testFolder().addCertificate("My", one->certificate());
  }
  const Octets message = signBes(signers(), kContent, options());
  EXPECT_TRUE(cadesVerifies(message, signers(), isDetached() ? &kContent : nullptr));
}

INSTANTIATE_TEST_SUITE_P(OpenToEncode,
                         BesEachWay,
                         ::testing::Combine(::testing::ValuesIn(allKinds()),
                                            ::testing::Bool(),
                                            ::testing::Bool(),
                                            ::testing::Bool()),
                         [](const auto& test) {
                           return kindText(std::get<0>(test.param)) +
                                  (std::get<1>(test.param) ? "Detached" : "Attached") +
                                  (std::get<2>(test.param) ? "With" : "Without") + "Certificates" +
                                  (std::get<3>(test.param) ? "Three" : "One");
                         });

// What openssl says is worth something only if it can say no.
TEST(OpenToEncode, IsAskedOfAJudgeWhoRefusesPlainSignatures) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets plain = sign({&one}, kContent, {.flags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG});
  EXPECT_FALSE(cadesVerifies(plain, {&one}));
}

TEST(OpenToEncode, SignsTheFourAttributesInTheOrderOfDer) {
  const Octets message = signBes({&signer(KeyKind::EcP256)}, kContent);
  EXPECT_THAT(signedTypes(message),
              ElementsAre(std::string(oids::kContentType),
                          std::string(oids::kSigningTime),
                          std::string(oids::kMessageDigest),
                          std::string(oids::kSigningCertificateV2)));
}

TEST(OpenToEncode, SaysWhenItWasSigned) {
  const std::time_t before = std::time(nullptr);
  const Octets message = signBes({&signer(KeyKind::EcP256)}, kContent);
  const std::time_t after = std::time(nullptr);
  const Octets value = signedValue(message, oids::kSigningTime);
  const auto element = der::Reader(value).next();
  ASSERT_TRUE(element);
  EXPECT_EQ(element->identifier, der::kUtcTime);
  const auto time = der::readTime(*element);
  ASSERT_TRUE(time);
  const std::time_t said = secondsOf(*time);
  EXPECT_GE(said, before);
  EXPECT_LE(said, after);
}

TEST(OpenToEncode, NamesTheCertificateByTheSignersHash) {
  for (const KeyKind kind : allKinds()) {
    Signer& one = signer(kind);
    const Octets value = signedValue(signBes({&one}, kContent), oids::kSigningCertificateV2);
    const unsigned char* next = value.data();
    const EssV2Ptr ess(d2i_ESS_SIGNING_CERT_V2(nullptr, &next, static_cast<long>(value.size())));
    ASSERT_NE(ess, nullptr) << lab::kindName(kind);
    EXPECT_EQ(next, value.data() + value.size());
    const HashValue hash = hashOf(hashByOid(one.hashOid())->algorithm, one.der());
    EXPECT_TRUE(contains(value, toHex(hash.bytes()))) << lab::kindName(kind);
  }
}

TEST(OpenToEncode, NamesTheCertificateByTheFirstVersionForSha1) {
  Signer& one = signer(KeyKind::Rsa2048);
  CMSG_SIGNER_ENCODE_INFO record = one.encodeInfo();
  record.HashAlgorithm.pszObjId = writable("1.3.14.3.2.26");
  const MessageHandle message = openBes({record}, {}, {one.der()});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets encoded = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_THAT(signedTypes(encoded), Contains(std::string(oids::kSigningCertificate)));
  EXPECT_THAT(signedTypes(encoded), Not(Contains(std::string(oids::kSigningCertificateV2))));
  EXPECT_TRUE(cadesVerifies(encoded, {&one}));
}

TEST(OpenToEncode, LeavesTheCallersOwnAttributesAsTheyStand) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets time = fromHex("170D3230303130323033303430355A");
  const Octets other = fromHex("0C0141");
  const AttributeRecord signingTime("1.2.840.113549.1.9.5", {time});
  const AttributeRecord own("1.2.3.4", {other});
  std::vector<CRYPT_ATTRIBUTE> attributes = {signingTime.record, own.record};
  CMSG_SIGNER_ENCODE_INFO record = one.encodeInfo();
  record.cAuthAttr = 2;
  record.rgAuthAttr = attributes.data();
  const MessageHandle message = openBes({record}, {}, {one.der()});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets encoded = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_EQ(signedTypes(encoded).size(), 5U);
  EXPECT_EQ(signedValue(encoded, oids::kSigningTime), time);
  EXPECT_EQ(signedValue(encoded, "1.2.3.4"), other);
  EXPECT_TRUE(cadesVerifies(encoded, {&one}));
}

TEST(OpenToEncode, DoesNotAddASecondSigningCertificate) {
  Signer& one = signer(KeyKind::EcP256);
  const Octets value = signingCertificateValue(HashAlgorithm::Sha512, *dataOf(one));
  AttributeRecord own("1.2.840.113549.1.9.16.2.47", {value});
  CMSG_SIGNER_ENCODE_INFO record = one.encodeInfo();
  record.cAuthAttr = 1;
  record.rgAuthAttr = &own.record;
  const MessageHandle message = openBes({record}, {}, {one.der()});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  const Octets encoded = bytesParam(message, CMSG_CONTENT_PARAM);
  EXPECT_EQ(signedValue(encoded, oids::kSigningCertificateV2), value);
  EXPECT_TRUE(cadesVerifies(encoded, {&one}));
}

TEST(OpenToEncode, TakesRecordsOfTheLongForm) {
  Signer& one = signer(KeyKind::EcP256);
  Signer& two = signer(KeyKind::Gost2012_256);
  std::vector<CMSG_SIGNER_ENCODE_INFO_LONG> records = {longForm(one), longForm(two)};
  std::vector<CERT_BLOB> certificates = {blob(one.der()), blob(two.der())};
  CMSG_SIGNED_ENCODE_INFO info{
      .cbSize = sizeof info,
      .cSigners = 2,
      .rgSigners = reinterpret_cast<CMSG_SIGNER_ENCODE_INFO*>(records.data()),
      .cCertEncoded = 2,
      .rgCertEncoded = certificates.data()};
  CADES_ENCODE_INFO cades{.dwSize = sizeof cades, .pSignedEncodeInfo = &info};
  const MessageHandle message(CadesMsgOpenToEncode(kEncoding, 0, &cades, nullptr, nullptr));
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cadesVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&one, &two}));
}

TEST(OpenToEncode, TakesTheCertificateThatTheKeyWasAcquiredFor) {
  Signer own(KeyKind::EcP256, "of the key's handle");
  HCRYPTPROV provider = 0;
  DWORD keySpec = 0;
  BOOL callerFrees = FALSE;
  ASSERT_TRUE(CryptAcquireCertificatePrivateKey(
      own.context(), CRYPT_ACQUIRE_SILENT_FLAG, nullptr, &provider, &keySpec, &callerFrees));
  CMSG_SIGNER_ENCODE_INFO record = own.encodeInfo();
  record.hCryptProv = provider;
  const MessageHandle message = openBes({record});
  ASSERT_TRUE(message) << GetLastError();
  ASSERT_EQ(update(message, kContent), ERROR_SUCCESS);
  EXPECT_TRUE(cadesVerifies(bytesParam(message, CMSG_CONTENT_PARAM), {&own}));
  EXPECT_TRUE(CryptReleaseContext(provider, 0));
}

TEST(OpenToEncode, FindsTheCertificateInAnyStore) {
  Signer own(KeyKind::EcP256, "in a store of its own");
  EXPECT_FALSE(openBes({&own}, {.certificates = false}));
  EXPECT_EQ(GetLastError(), CRYPT_E_SIGNER_NOT_FOUND);
  testFolder().addCertificate("Partners", own.certificate());
  const Octets message = signBes({&own}, kContent, {.certificates = false});
  EXPECT_TRUE(cadesVerifies(message, {&own}));
}

// Same issuer, same serial number: the key alone tells which one signs.
TEST(OpenToEncode, IsNotTakenInByANamesake) {
  Signer& real = signer(KeyKind::EcP256);
  const EvpPkeyPtr otherKey = lab::generateKey(KeyKind::EcP256);
  lab::CertificateOptions options;
  options.subject = {{.type = "CN", .value = "p256 0"}, {.type = "O", .value = "Signers"}};
  options.serial = lab::serialOf(real.certificate());
  const X509Ptr namesake = lab::selfSigned(otherKey.get(), options);
  testFolder().addCertificate("My", namesake.get());
  testFolder().addCertificate("My", real.certificate());
  EXPECT_TRUE(cadesVerifies(signBes({&real}, kContent, {.certificates = false}), {&real}));
}

TEST(OpenToEncode, RefusesWhatIsMissing) {
  Signer& one = signer(KeyKind::EcP256);
  CMSG_SIGNER_ENCODE_INFO record = one.encodeInfo();
  CMSG_SIGNED_ENCODE_INFO info{.cbSize = sizeof info, .cSigners = 1, .rgSigners = &record};
  const auto errorWith = [](CADES_ENCODE_INFO* cades) {
    SetLastError(ERROR_SUCCESS);
    const MessageHandle message(CadesMsgOpenToEncode(kEncoding, 0, cades, nullptr, nullptr));
    return message ? ERROR_SUCCESS : GetLastError();
  };
  CADES_ENCODE_INFO cades{.dwSize = sizeof cades, .pSignedEncodeInfo = &info};
  EXPECT_EQ(errorWith(nullptr), E_INVALIDARG);
  cades.dwSize = sizeof cades - 1;
  EXPECT_EQ(errorWith(&cades), E_INVALIDARG);
  cades = {.dwSize = sizeof cades, .pSignedEncodeInfo = nullptr};
  EXPECT_EQ(errorWith(&cades), E_INVALIDARG);
  cades.pSignedEncodeInfo = &info;
  info.cbSize -= 1;
  EXPECT_EQ(errorWith(&cades), E_INVALIDARG);
  info.cbSize += 1;
  info.rgSigners = nullptr;
  EXPECT_EQ(errorWith(&cades), E_INVALIDARG);
  info.rgSigners = &record;
  info.cSigners = 1001;
  EXPECT_EQ(errorWith(&cades), E_INVALIDARG);
}

TEST(OpenToEncode, RefusesRecordsThatNobodyCouldSignWith) {
  Signer& one = signer(KeyKind::EcP256);
  const auto errorWith = [&one](const auto& change) {
    CMSG_SIGNER_ENCODE_INFO record = one.encodeInfo();
    change(record);
    const MessageHandle message = openBes({record}, {}, {one.der()});
    return message ? ERROR_SUCCESS : GetLastError();
  };
  EXPECT_EQ(errorWith([](auto& record) { record.cbSize -= 1; }), E_INVALIDARG);
  EXPECT_EQ(errorWith([](auto& record) { record.cAuthAttr = 1; }), E_INVALIDARG);
  EXPECT_EQ(errorWith([](auto& record) { record.cAuthAttr = 65; }), E_INVALIDARG);
  EXPECT_EQ(errorWith([](auto& record) { record.pCertInfo = nullptr; }), E_INVALIDARG);
  EXPECT_EQ(errorWith([](auto& record) { record.hCryptProv = 0; }), E_INVALIDARG);
  EXPECT_EQ(errorWith([](auto& record) { record.HashAlgorithm.pszObjId = nullptr; }),
            CRYPT_E_UNKNOWN_ALGO);
  EXPECT_EQ(errorWith([](auto& record) { record.HashAlgorithm.pszObjId = writable("1.2.3"); }),
            CRYPT_E_UNKNOWN_ALGO);
}

TEST(OpenToEncode, RefusesWhatThePlainOpenRefuses) {
  CMSG_SIGNED_ENCODE_INFO info{.cbSize = sizeof info};
  CADES_ENCODE_INFO cades{.dwSize = sizeof cades, .pSignedEncodeInfo = &info};
  CMSG_STREAM_INFO stream{};
  EXPECT_EQ(CadesMsgOpenToEncode(kEncoding, 0, &cades, nullptr, &stream), nullptr);
  EXPECT_EQ(GetLastError(), E_NOTIMPL);
  EXPECT_EQ(CadesMsgOpenToEncode(0, 0, &cades, nullptr, nullptr), nullptr);
  EXPECT_EQ(GetLastError(), E_INVALIDARG);
}

}  // namespace
}  // namespace qx::test::open_to_encode_test
