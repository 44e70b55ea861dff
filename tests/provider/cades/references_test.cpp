#include "provider/cades/references.h"

#include <gtest/gtest.h>

#include "provider/cades/oids.h"
#include "provider/cades/values.h"
#include "tests/provider/cades/verify_world.h"
#include "tests/provider/der/hex.h"
#include "tools/lab/ocsp.h"
#include "tools/lab/pki.h"

namespace qx::test::references_test {
namespace {

using lab::Authority;

/// An authority with what references are about: two certificates, two CRLs and two OCSP answers.
struct Material {
  Material() {
    for (int i = 0; i < 2; ++i) {
      const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
      const X509Ptr leaf =
          authority.issue(key.get(), {.subject = {{.type = "CN", .value = "leaf"}}});
      certificates.push_back(dataOf(leaf.get()));
      crls.push_back(dataOf(authority.crl({.thisUpdate = -std::chrono::hours(i + 1)}).get()));
      const lab::OcspEntry good{.certId = lab::ocspCertId(leaf.get(), authority.certificate())};
      const auto responder = lab::OcspResponder::of(authority);
      answers.push_back(*OcspData::parse(
          responder.response({good}, {.producedAt = -std::chrono::minutes(i), .byKey = i == 1})));
    }
  }

  Authority authority =
      Authority::selfSigned(lab::KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Root"}}});
  std::vector<CertificatePtr> certificates;
  std::vector<CrlPtr> crls;
  std::vector<OcspPtr> answers;
};

const Material& material() {
  static const Material& made = *new Material;
  return made;
}

/// The attribute in these bytes, which it borrows.
Attribute readBack(const Octets& encoded) {
  const auto attribute = readAttribute(encoded);
  EXPECT_TRUE(attribute);
  return *attribute;
}

/// An attribute with these values.
Octets attributeOf(std::string_view type, const std::vector<Octets>& values) {
  const std::vector<der::Bytes> spans(values.begin(), values.end());
  return *encodeAttribute(type, spans);
}

template <class Read>
DWORD errorOf(const Read& read, const std::string& hexText) {
  const Octets encoded = attributeOf("1.2.3", {fromHex(hexText)});
  return read(readBack(encoded)).error();
}

class ReferencesByHash : public ::testing::TestWithParam<HashAlgorithm> {};

TEST_P(ReferencesByHash, NameCertificates) {
  const auto& certificates = material().certificates;
  const Octets encoded = encodeCertificateRefs(GetParam(), certificates);
  const Attribute attribute = readBack(encoded);
  EXPECT_EQ(attribute.oid, oids::kCertificateRefs);
  const auto refs = readCertificateRefs(attribute);
  ASSERT_TRUE(refs);
  ASSERT_EQ(refs->size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_TRUE((*refs)[i].issuerSerial);
    EXPECT_EQ((*refs)[i].hash.hash->algorithm, GetParam());
    EXPECT_TRUE((*refs)[i].matches(*certificates[i]));
    EXPECT_FALSE((*refs)[i].matches(*certificates[1 - i]));
  }
}

TEST_P(ReferencesByHash, NameRevocationData) {
  const Octets encoded = encodeRevocationRefs(
      GetParam(),
      std::vector<RevocationEvidence>{{.crl = material().crls[0], .ocsp = nullptr},
                                      {.crl = nullptr, .ocsp = material().answers[1]},
                                      {.crl = nullptr, .ocsp = nullptr}});
  const Attribute attribute = readBack(encoded);
  EXPECT_EQ(attribute.oid, oids::kRevocationRefs);
  const auto refs = readRevocationRefs(attribute);
  ASSERT_TRUE(refs);
  ASSERT_EQ(refs->size(), 3U);
  ASSERT_EQ((*refs)[0].crls.size(), 1U);
  EXPECT_TRUE((*refs)[0].ocsp.empty());
  EXPECT_TRUE((*refs)[0].crls[0].identifier);
  EXPECT_TRUE((*refs)[0].crls[0].matches(*material().crls[0]));
  EXPECT_FALSE((*refs)[0].crls[0].matches(*material().crls[1]));
  ASSERT_EQ((*refs)[1].ocsp.size(), 1U);
  EXPECT_TRUE((*refs)[1].crls.empty());
  EXPECT_TRUE((*refs)[1].ocsp[0].hash);
  EXPECT_TRUE((*refs)[1].ocsp[0].matches(*material().answers[1]));
  EXPECT_FALSE((*refs)[1].ocsp[0].matches(*material().answers[0]));
  EXPECT_TRUE((*refs)[2].crls.empty());
  EXPECT_TRUE((*refs)[2].ocsp.empty());
}

INSTANTIATE_TEST_SUITE_P(References,
                         ReferencesByHash,
                         ::testing::Values(HashAlgorithm::Sha1,
                                           HashAlgorithm::Sha256,
                                           HashAlgorithm::Sha512,
                                           HashAlgorithm::Gost94,
                                           HashAlgorithm::Streebog256));

// A root alone: no certificates above it, and nobody who could revoke it.
TEST(References, AreEmptyWhereThereIsNothingToName) {
  const Octets certificates = encodeCertificateRefs(HashAlgorithm::Sha256, {});
  EXPECT_EQ(readBack(certificates).values.size(), 1U);
  EXPECT_TRUE(readCertificateRefs(readBack(certificates))->empty());
  const Octets revocation =
      encodeRevocationRefs(HashAlgorithm::Sha256, std::vector<RevocationEvidence>(1));
  EXPECT_EQ(toHex(readBack(revocation).values[0]), "30023000");
}

// The bytes that the standard asks for: sha1Hash alone, identifier under an explicit tag.
TEST(References, WriteShaOneWithoutItsAlgorithm) {
  const CrlPtr& crl = material().crls[0];
  const Octets encoded = encodeRevocationRefs(
      HashAlgorithm::Sha1, std::vector<RevocationEvidence>{{.crl = crl, .ocsp = nullptr}});
  der::Reader list(der::readWhole(readBack(encoded).values[0], der::kSequence)->content);
  der::Reader ref(list.next(der::kSequence)->content);
  der::Reader tagged(ref.next(der::contextConstructed(0))->content);
  der::Reader crlListId(tagged.next(der::kSequence)->content);
  der::Reader crls(crlListId.next(der::kSequence)->content);
  der::Reader validated(crls.next(der::kSequence)->content);
  const auto hash = validated.next(der::kOctetString);
  ASSERT_TRUE(hash);
  EXPECT_EQ(toHex(hash->content), toHex(hashOf(HashAlgorithm::Sha1, crl->der()).bytes()));
  der::Reader identifier(validated.next(der::kSequence)->content);
  EXPECT_EQ(toHex(identifier.next()->whole), toHex(crl->issuer()));
  EXPECT_EQ(identifier.next()->identifier, der::kUtcTime);
  EXPECT_TRUE(identifier.atEnd());
}

TEST(References, LeaveOutATimeThatTheyCannotWrite) {
  const auto far = std::chrono::seconds(lab::kDay * 365 * 40);
  const CrlPtr crl = dataOf(material().authority.crl({.thisUpdate = far, .nextUpdate = far}).get());
  const Octets encoded = encodeRevocationRefs(
      HashAlgorithm::Sha256, std::vector<RevocationEvidence>{{.crl = crl, .ocsp = nullptr}});
  const auto refs = readRevocationRefs(readBack(encoded));
  ASSERT_TRUE(refs);
  EXPECT_FALSE((*refs)[0].crls[0].identifier);
  EXPECT_TRUE((*refs)[0].crls[0].matches(*crl));
}

TEST(CrlRef, MatchesIssuerAndTimeToo) {
  const CrlPtr& crl = material().crls[0];
  const Octets encoded = encodeRevocationRefs(
      HashAlgorithm::Sha256, std::vector<RevocationEvidence>{{.crl = crl, .ocsp = nullptr}});
  CrlRef ref = (*readRevocationRefs(readBack(encoded)))[0].crls[0];
  const CrlRef::Identifier right = *ref.identifier;
  ref.identifier->issued.dwHighDateTime += 1;
  EXPECT_FALSE(ref.matches(*crl));
  ref.identifier = {.issuer = right.issuer.first(2), .issued = right.issued};
  EXPECT_FALSE(ref.matches(*crl));
  ref.identifier.reset();
  EXPECT_TRUE(ref.matches(*crl));
  ref.hash.hash = nullptr;
  EXPECT_FALSE(ref.matches(*crl));
}

TEST(OcspRef, MatchesByResponderAndTimeWhenItHasNoHash) {
  const OcspPtr& answer = material().answers[0];
  const Octets encoded = encodeRevocationRefs(
      HashAlgorithm::Sha256, std::vector<RevocationEvidence>{{.crl = nullptr, .ocsp = answer}});
  OcspRef ref = (*readRevocationRefs(readBack(encoded)))[0].ocsp[0];
  ref.hash.reset();
  EXPECT_TRUE(ref.matches(*answer));
  EXPECT_FALSE(ref.matches(*material().answers[1]));
  ref.producedAt.dwHighDateTime += 1;
  EXPECT_FALSE(ref.matches(*answer));
}

// One that has no value of its own, and kinds that nobody here knows, are passed over.
TEST(References, PassOverOtherKindsOfRevocationData) {
  const Octets encoded =
      attributeOf(oids::kRevocationRefs, {fromHex("3009 3007 A205 3003 060129")});
  const auto refs = readRevocationRefs(readBack(encoded));
  ASSERT_TRUE(refs) << refs.error();
  ASSERT_EQ(refs->size(), 1U);
  EXPECT_TRUE((*refs)[0].crls.empty());
  EXPECT_TRUE((*refs)[0].ocsp.empty());
}

TEST(References, RefuseMalformedValues) {
  EXPECT_EQ(errorOf(readCertificateRefs, "3100"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(readCertificateRefs, "30023000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(readCertificateRefs, "3006 3004 0400 0500"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(readCertificateRefs, "3008 3006 0400 3002 3000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(readCertificateRefs, "3004 3002 0500"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(readRevocationRefs, "0500"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(readRevocationRefs, "3004 3002 0500"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(readRevocationRefs, "3004 3002 A000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(readRevocationRefs, "3008 3006 A004 3000 3000"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(readRevocationRefs, "300A 3008 A106 3004 3002 3000"), CRYPT_E_ASN1_EOD);
}

TEST(References, RefuseNoneOrSeveralValues) {
  const Octets none = attributeOf(oids::kCertificateRefs, {});
  EXPECT_EQ(readCertificateRefs(readBack(none)).error(), CRYPT_E_ATTRIBUTES_MISSING);
  const Octets two = attributeOf(oids::kCertificateRefs, {fromHex("3000"), fromHex("3000")});
  EXPECT_EQ(readCertificateRefs(readBack(two)).error(), CRYPT_E_ATTRIBUTES_MISSING);
  EXPECT_EQ(readRevocationRefs(readBack(two)).error(), CRYPT_E_ATTRIBUTES_MISSING);
}

TEST(CertificateValues, HoldEachCertificateOnce) {
  const auto& both = material().certificates;
  const Octets encoded = encodeCertificateValues(std::vector{both[0], both[1], both[0]});
  const Attribute attribute = readBack(encoded);
  EXPECT_EQ(attribute.oid, oids::kCertificateValues);
  const auto values = readCertificateValues(attribute);
  ASSERT_TRUE(values);
  ASSERT_EQ(values->size(), 2U);
  EXPECT_EQ(toHex((*values)[0]), toHex(both[0]->der()));
  EXPECT_EQ(toHex((*values)[1]), toHex(both[1]->der()));
}

TEST(RevocationValues, HoldEachListAndEachAnswerOnce) {
  const Material& all = material();
  const Octets encoded = encodeRevocationValues(
      std::vector<RevocationEvidence>{{.crl = all.crls[0], .ocsp = nullptr},
                                      {.crl = nullptr, .ocsp = all.answers[0]},
                                      {.crl = all.crls[0], .ocsp = nullptr},
                                      {.crl = all.crls[1], .ocsp = nullptr},
                                      {.crl = nullptr, .ocsp = all.answers[0]},
                                      {.crl = nullptr, .ocsp = nullptr}});
  const Attribute attribute = readBack(encoded);
  EXPECT_EQ(attribute.oid, oids::kRevocationValues);
  const auto values = readRevocationValues(attribute);
  ASSERT_TRUE(values);
  ASSERT_EQ(values->crls.size(), 2U);
  ASSERT_EQ(values->ocsp.size(), 1U);
  EXPECT_EQ(toHex(values->crls[1]), toHex(all.crls[1]->der()));
  EXPECT_EQ(toHex(values->ocsp[0]), toHex(all.answers[0]->basic()));
}

TEST(RevocationValues, MayHaveOneKindOnly) {
  const Octets crls = encodeRevocationValues(
      std::vector<RevocationEvidence>{{.crl = material().crls[0], .ocsp = nullptr}});
  EXPECT_TRUE(readRevocationValues(readBack(crls))->ocsp.empty());
  const Octets none = encodeRevocationValues({});
  EXPECT_EQ(toHex(readBack(none).values[0]), "3000");
  EXPECT_TRUE(readRevocationValues(readBack(none))->crls.empty());
}

TEST(Values, RefuseMalformedOnes) {
  EXPECT_EQ(errorOf(readCertificateValues, "3002 0500"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(readCertificateValues, "3003 300401"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(readRevocationValues, "3002 A000"), CRYPT_E_ASN1_EOD);
  EXPECT_EQ(errorOf(readRevocationValues, "3004 A002 0500"), CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(errorOf(readRevocationValues, "3008 A102 3000 A002 3000"), CRYPT_E_ASN1_CORRUPT);
  EXPECT_EQ(errorOf(readRevocationValues, "3002 0500"), CRYPT_E_ASN1_CORRUPT);
}

TEST(Values, RefuseEndlessLists) {
  Octets content;
  for (int i = 0; i < 10'001; ++i) {
    content.insert(content.end(), {0x30, 0x00});
  }
  const Octets value = der::wrap(der::kSequence, der::Encoding::borrowed(content)).bytes();
  const Octets encoded = attributeOf(oids::kCertificateValues, {value});
  EXPECT_EQ(readCertificateValues(readBack(encoded)).error(), CRYPT_E_ASN1_LARGE);
}

}  // namespace
}  // namespace qx::test::references_test
