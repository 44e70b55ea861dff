#include "provider/cades/ess.h"

#include <gtest/gtest.h>
#include <openssl/ess.h>

#include "provider/message/oids.h"
#include "tests/provider/cades/verify_world.h"
#include "tests/provider/der/hex.h"
#include "tools/lab/pki.h"

namespace qx::test::ess_test {
namespace {

using EssPtr = OpensslOwner<ESS_SIGNING_CERT, ESS_SIGNING_CERT_free>;
using EssV2Ptr = OpensslOwner<ESS_SIGNING_CERT_V2, ESS_SIGNING_CERT_V2_free>;

X509* sample(int number = 0) {
  static std::vector<X509Ptr>& made = *new std::vector<X509Ptr>;
  while (made.size() <= static_cast<std::size_t>(number)) {
    const lab::CertificateOptions options = {
        .subject = {{.type = "CN", .value = "sample " + std::to_string(made.size())}}};
    made.push_back(lab::selfSigned(lab::generateKey(lab::KeyKind::EcP256).get(), options));
  }
  return made[static_cast<std::size_t>(number)].get();
}

/// An attribute of one value, which keeps its bytes.
struct OneValue {
  OneValue(std::string_view type, Octets bytes)
      : value(std::move(bytes)),
        attribute{.oid = std::string(type), .values = {value}, .whole = {}} {}

  Octets value;
  Attribute attribute;
};

OneValue made(HashAlgorithm hash, const X509* certificate) {
  return {signingCertificateType(hash), signingCertificateValue(hash, *dataOf(certificate))};
}

DWORD errorOf(std::string_view type, const std::string& hexText) {
  return readSigningCertificate(OneValue(type, fromHex(hexText)).attribute).error();
}

class EssOfEachHash : public ::testing::TestWithParam<HashAlgorithm> {};

TEST_P(EssOfEachHash, NamesItsCertificateAndNoOther) {
  const OneValue ess = made(GetParam(), sample());
  const auto refs = readSigningCertificate(ess.attribute);
  ASSERT_TRUE(refs) << refs.error();
  ASSERT_EQ(refs->size(), 1U);
  ASSERT_NE(refs->front().hash.hash, nullptr);
  EXPECT_EQ(refs->front().hash.hash->algorithm, GetParam());
  EXPECT_TRUE(refs->front().issuerSerial);
  EXPECT_TRUE(refs->front().matches(*dataOf(sample())));
  EXPECT_FALSE(refs->front().matches(*dataOf(sample(1))));
}

INSTANTIATE_TEST_SUITE_P(Ess,
                         EssOfEachHash,
                         ::testing::Values(HashAlgorithm::Sha1,
                                           HashAlgorithm::Sha256,
                                           HashAlgorithm::Sha384,
                                           HashAlgorithm::Sha512,
                                           HashAlgorithm::Gost94,
                                           HashAlgorithm::Streebog256,
                                           HashAlgorithm::Streebog512));

TEST(Ess, IsTheFirstVersionForSha1Only) {
  EXPECT_EQ(signingCertificateType(HashAlgorithm::Sha1), oids::kSigningCertificate);
  EXPECT_EQ(signingCertificateType(HashAlgorithm::Sha256), oids::kSigningCertificateV2);
  EXPECT_EQ(signingCertificateType(HashAlgorithm::Streebog512), oids::kSigningCertificateV2);
}

TEST(Ess, IsWrittenAsLibcryptoWritesIt) {
  const OneValue first = made(HashAlgorithm::Sha1, sample());
  const unsigned char* next = first.value.data();
  const EssPtr one(d2i_ESS_SIGNING_CERT(nullptr, &next, static_cast<long>(first.value.size())));
  ASSERT_NE(one, nullptr);
  unsigned char* again = nullptr;
  const int length = i2d_ESS_SIGNING_CERT(one.get(), &again);
  const OpensslOwner<void, freeOpensslMemory> owned(again);
  EXPECT_EQ(first.value, Octets(again, again + length));
}

// SHA-256 is the default algorithm, which DER leaves out; libcrypto leaves it out, too.
TEST(Ess, IsWrittenAsLibcryptoWritesTheSecondVersion) {
  for (const HashAlgorithm hash : {HashAlgorithm::Sha256, HashAlgorithm::Sha384}) {
    const OneValue second = made(hash, sample());
    const unsigned char* next = second.value.data();
    const EssV2Ptr two(
        d2i_ESS_SIGNING_CERT_V2(nullptr, &next, static_cast<long>(second.value.size())));
    ASSERT_NE(two, nullptr);
    unsigned char* again = nullptr;
    const int length = i2d_ESS_SIGNING_CERT_V2(two.get(), &again);
    const OpensslOwner<void, freeOpensslMemory> owned(again);
    EXPECT_EQ(second.value, Octets(again, again + length));
  }
}

TEST(Ess, ReadsSeveralCertificatesAndPolicies) {
  const auto refs = readSigningCertificate(
      OneValue(oids::kSigningCertificate, fromHex("301030083002040030020401 30043002 0600"))
          .attribute);
  EXPECT_FALSE(refs);
  const OneValue good(oids::kSigningCertificate,
                      fromHex("3011 3009 30020400 3003040141 3004 30020600"));
  const auto two = readSigningCertificate(good.attribute);
  ASSERT_TRUE(two) << two.error();
  ASSERT_EQ(two->size(), 2U);
  EXPECT_EQ(toHex((*two)[1].hash.value), "41");
  EXPECT_FALSE((*two)[1].issuerSerial);
}

TEST(Ess, TakesTheAlgorithmOfASecondVersionForItsHashOnlyWhenItIsOne) {
  // MD5, which signs nothing, and an algorithm that nobody knows: both read, neither matches.
  for (const char* value : {"301A3018 3016 300A06082A864886F70D0205 0408 0000000000000000",
                            "30123010 300E 300406022A03 0406 000000000000"}) {
    const OneValue ess(oids::kSigningCertificateV2, fromHex(value));
    const auto refs = readSigningCertificate(ess.attribute);
    ASSERT_TRUE(refs) << value << " " << std::hex << refs.error();
    EXPECT_EQ(refs->front().hash.hash, nullptr);
    EXPECT_FALSE(refs->front().matches(*dataOf(sample())));
  }
}

TEST(Ess, RefusesMalformedValues) {
  const auto type = oids::kSigningCertificateV2;
  EXPECT_EQ(errorOf(type, ""), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(type, "3100"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(type, "3000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(type, "30023000"), CRYPT_E_ASN1_CORRUPT) << "no certificate";
  EXPECT_EQ(errorOf(type, "300430023000"), CRYPT_E_ASN1_EOD) << "no hash";
  EXPECT_EQ(errorOf(type, "3006300430020400 00"), CRYPT_E_ASN1_CORRUPT) << "something behind";
  EXPECT_EQ(errorOf(type, "3080300430020400 0000"), CRYPT_E_ASN1_CORRUPT) << "indefinite length";
  EXPECT_EQ(errorOf(type, "3084FFFFFFFF"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf("1.2.3", "3006300430020400"), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST(Ess, RefusesAnAttributeOfNoneOrSeveralValues) {
  OneValue ess = made(HashAlgorithm::Sha256, sample());
  ess.attribute.values.push_back(ess.attribute.values.front());
  EXPECT_EQ(readSigningCertificate(ess.attribute).error(), CRYPT_E_ATTRIBUTES_MISSING);
  ess.attribute.values.clear();
  EXPECT_EQ(readSigningCertificate(ess.attribute).error(), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST(Ess, RefusesEndlessLists) {
  Octets ids;
  for (int i = 0; i < 10'001; ++i) {
    const Octets id = fromHex("30020400");
    ids.insert(ids.end(), id.begin(), id.end());
  }
  const Octets value =
      der::sequence(der::wrap(der::kSequence, der::Encoding::borrowed(ids))).bytes();
  EXPECT_EQ(readSigningCertificate(OneValue(oids::kSigningCertificate, value).attribute).error(),
            CRYPT_E_ASN1_LARGE);
}

TEST(SignerCertificateRefs, AreThoseOfBothVersions) {
  const OneValue first = made(HashAlgorithm::Sha1, sample());
  const OneValue second = made(HashAlgorithm::Sha256, sample(1));
  const auto both = signerCertificateRefs({first.attribute, second.attribute});
  ASSERT_TRUE(both);
  ASSERT_EQ(both->size(), 2U);
  EXPECT_TRUE((*both)[0].matches(*dataOf(sample())));
  EXPECT_TRUE((*both)[1].matches(*dataOf(sample(1))));
  EXPECT_EQ(signerCertificateRefs({}).error(), CRYPT_E_ATTRIBUTES_MISSING);
  const OneValue broken(oids::kSigningCertificateV2, fromHex("3000"));
  EXPECT_EQ(signerCertificateRefs({first.attribute, broken.attribute}).error(), CRYPT_E_ASN1_EOD);
}

// The hash alone would do; what else is said must be true as well.
TEST(CertificateRef, MatchesIssuerAndSerialNumberToo) {
  const CertificatePtr certificate = dataOf(sample());
  const OneValue ess = made(HashAlgorithm::Sha256, sample());
  const OneValue other = made(HashAlgorithm::Sha256, sample(1));
  CertificateRef ref = readSigningCertificate(ess.attribute)->front();
  const CertificateRef::IssuerSerial right = *ref.issuerSerial;
  const CertificateRef::IssuerSerial wrong =
      *readSigningCertificate(other.attribute)->front().issuerSerial;
  ref.issuerSerial = wrong;
  EXPECT_FALSE(ref.matches(*certificate));
  ref.issuerSerial = {.issuer = right.issuer, .serial = wrong.serial};
  EXPECT_FALSE(ref.matches(*certificate));
  ref.issuerSerial = {.issuer = wrong.issuer, .serial = right.serial};
  EXPECT_FALSE(ref.matches(*certificate));
  ref.issuerSerial = {.issuer = {}, .serial = right.serial};
  EXPECT_FALSE(ref.matches(*certificate));
  ref.issuerSerial.reset();
  EXPECT_TRUE(ref.matches(*certificate));
  ref.issuerSerial = right;
  EXPECT_TRUE(ref.matches(*certificate));
}

}  // namespace
}  // namespace qx::test::ess_test
