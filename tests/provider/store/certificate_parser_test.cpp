#include "provider/store/certificate_parser.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "provider/store/certificate_data.h"
#include "tests/provider/store/der_builder.h"
#include "tests/provider/store/store_support.h"

namespace qx::test::certificate_parser_test {
namespace {

DWORD errorOf(const Octets& der) {
  const auto parsed = parseCertificate(der);
  return parsed ? DWORD{ERROR_SUCCESS} : parsed.error();
}

DWORD errorOf(const CertificateParts& parts) {
  return errorOf(parts.der());
}

bool isAsn1Error(DWORD error) {
  return error == CRYPT_E_ASN1_EOD || error == CRYPT_E_ASN1_BADTAG ||
         error == CRYPT_E_ASN1_CORRUPT || error == CRYPT_E_ASN1_LARGE;
}

TEST(CertificateParser, ReadsWhatTheBuilderBuilds) {
  const CertificateParts parts;
  const Octets der = parts.der();
  const auto parsed = parseCertificate(der);
  ASSERT_TRUE(parsed);
  EXPECT_EQ(CERT_V3, parsed->version);
  EXPECT_EQ(Octets{0x05}, Octets(parsed->serial.begin(), parsed->serial.end()));
  EXPECT_EQ("1.2.3.4", parsed->signatureAlgorithm.oid);
  EXPECT_EQ("1.2.3.4", parsed->keyAlgorithm.oid);
  EXPECT_EQ(2U, parsed->key.octets.size());
  EXPECT_TRUE(parsed->extensions.empty());
}

TEST(CertificateParser, RefusesNothingAndEmptySequences) {
  EXPECT_EQ(CRYPT_E_ASN1_EOD, errorOf(Octets{}));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, errorOf(sequence({})));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, errorOf(sequence({sequence({})})));
}

TEST(CertificateParser, RefusesARevocationList) {
  const Bytes crl = lab::toDer(authority().crl().get());
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, errorOf(crl));
}

TEST(CertificateParser, RefusesEachCutOffEnd) {
  const Bytes der = makeDer("Cut");
  for (std::size_t size = 0; size < der.size(); ++size) {
    const Octets cut(der.begin(), der.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(CRYPT_E_ASN1_EOD, errorOf(cut)) << size;
  }
}

TEST(CertificateParser, RefusesWhatStandsBehind) {
  Bytes der = makeDer("Behind");
  der.push_back(0);
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(der));
}

void expectInside(const CertificateData& data) {
  const CERT_INFO& info = data.info();
  const CRYPT_BIT_BLOB& key = info.SubjectPublicKeyInfo.PublicKey;
  const BYTE* end = data.der().data() + data.der().size();
  EXPECT_LE(info.Subject.pbData + info.Subject.cbData, end);
  EXPECT_LE(key.pbData + key.cbData, end);
}

// Whatever the change does, the answer is a certificate whose parts lie inside, or an error.
TEST(CertificateParser, SurvivesEachFlippedBit) {
  const Bytes original = makeDer("Flip");
  unsigned refused = 0;
  for (std::size_t i = 0; i < original.size() * 8; ++i) {
    Bytes der = original;
    der[i / 8] ^= static_cast<std::uint8_t>(1U << (i % 8));
    const auto data = CertificateData::parse(der);
    if (data) {
      expectInside(**data);
    } else {
      ++refused;
      EXPECT_TRUE(isAsn1Error(data.error())) << i;
    }
  }
  EXPECT_LT(200U, refused);
}

TEST(CertificateParser, RefusesEachLengthThatLies) {
  const Bytes original = makeDer("Lies");
  for (std::size_t i = 1; i < original.size(); ++i) {
    for (const unsigned length : {0x7FU, 0x80U, 0x84U, 0x88U, 0xFFU}) {
      Bytes der = original;
      der[i] = static_cast<std::uint8_t>(length);
      const auto parsed = parseCertificate(der);
      EXPECT_TRUE(parsed || isAsn1Error(parsed.error())) << i;
    }
  }
}

TEST(CertificateParser, RefusesALengthOfManyBytes) {
  EXPECT_TRUE(isAsn1Error(errorOf({0x30, 0x88, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})));
  EXPECT_TRUE(isAsn1Error(errorOf({0x30, 0x89, 1, 0, 0, 0, 0, 0, 0, 0, 0})));
  EXPECT_TRUE(isAsn1Error(errorOf({0x30, 0xFF})));
}

TEST(CertificateParser, RefusesIndefiniteLengths) {
  const Octets inner = CertificateParts().der();
  const Octets content(inner.begin() + 2, inner.end());
  ASSERT_GT(0x80, inner[1]) << "the content begins elsewhere";
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(join({{0x30, 0x80}, content, {0x00, 0x00}})));
}

TEST(CertificateParser, RefusesTenThousandLevels) {
  Octets deep;
  for (int i = 0; i < 10'000; ++i) {
    deep.insert(deep.end(), {0x30, 0x80});
  }
  EXPECT_TRUE(isAsn1Error(errorOf(deep)));
}

TEST(CertificateParser, KnowsThreeVersions) {
  CertificateParts parts;
  parts.version = {};
  EXPECT_EQ(ERROR_SUCCESS, errorOf(parts));
  EXPECT_EQ(CERT_V1, parseCertificate(parts.der())->version);
  parts.version = element(0xA0, {0x02, 0x01, 0x01});
  const Octets second = parts.der();
  EXPECT_EQ(CERT_V2, parseCertificate(second)->version);
  parts.version = element(0xA0, {0x02, 0x01, 0x03});
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(parts));
  parts.version = element(0xA0, {0x02, 0x01, 0xFF});
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(parts));
  parts.version = element(0xA0, {0x02, 0x01, 0x02, 0x05, 0x00});
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(parts));
}

TEST(CertificateParser, WantsSerialNumbersInTheirShortestForm) {
  CertificateParts parts;
  for (const Octets& good : {Octets{0x00}, {0x7F}, {0x80}, {0xFF}, {0x00, 0x80}, {0xFF, 0x7F}}) {
    parts.serial = element(0x02, good);
    EXPECT_EQ(ERROR_SUCCESS, errorOf(parts)) << int{good.front()};
  }
  for (const Octets& bad : {Octets{}, {0x00, 0x7F}, {0xFF, 0x80}, {0x00, 0x00}, {0xFF, 0xFF}}) {
    parts.serial = element(0x02, bad);
    EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(parts)) << bad.size();
  }
}

TEST(CertificateParser, WantsTimesInUtc) {
  for (const char* bad : {"250101000000", "250101000000+0300", "251301000000Z", "Z", ""}) {
    CertificateParts parts;
    parts.notBefore = text(0x17, bad);
    EXPECT_TRUE(isAsn1Error(errorOf(parts))) << bad;
  }
  CertificateParts parts;
  parts.notAfter = text(0x13, "20510101000000Z");
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, errorOf(parts));
}

TEST(CertificateParser, ReadsUniqueIdentifiers) {
  CertificateParts parts;
  parts.uniqueIds = join({element(0x81, {0x04, 0xA0}), element(0x82, {0x00, 0xB0, 0xC0})});
  const Octets der = parts.der();
  const auto data = dataOf(der);
  EXPECT_EQ(1U, data->info().IssuerUniqueId.cbData);
  EXPECT_EQ(4U, data->info().IssuerUniqueId.cUnusedBits);
  EXPECT_EQ(0xA0, data->info().IssuerUniqueId.pbData[0]);
  EXPECT_EQ(2U, data->info().SubjectUniqueId.cbData);
  EXPECT_EQ(0xB0, data->info().SubjectUniqueId.pbData[0]);
}

TEST(CertificateParser, RefusesUniqueIdentifiersThatAreNoBitStrings) {
  for (const Octets& bad : {Octets{}, {0x08, 0x00}, {0x01}}) {
    CertificateParts parts;
    parts.uniqueIds = element(0x81, bad);
    EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(parts)) << bad.size();
  }
}

TEST(CertificateParser, ReadsExtensions) {
  CertificateParts parts;
  const Octets first = extension({0x55, 0x1D, 0x0E}, element(0x04, {0xAA}));
  const Octets second =
      extension({0x2A, 0x03}, join({{0x01, 0x01, 0xFF}, element(0x04, {0xBB, 0xCC})}));
  parts.extensions = extensionField(join({first, second}));
  const Octets der = parts.der();
  const auto parsed = parseCertificate(der);
  ASSERT_TRUE(parsed);
  ASSERT_EQ(2U, parsed->extensions.size());
  EXPECT_EQ("2.5.29.14", parsed->extensions[0].oid);
  EXPECT_FALSE(parsed->extensions[0].critical);
  EXPECT_EQ("1.2.3", parsed->extensions[1].oid);
  EXPECT_TRUE(parsed->extensions[1].critical);
  EXPECT_EQ(2U, parsed->extensions[1].value.size());
}

TEST(CertificateParser, RefusesDamagedExtensions) {
  const Octets value = element(0x04, {0xAA});
  const Octets oid = {0x2A, 0x03};
  const std::vector<Octets> damaged = {
      extension({}, value),                                     // no OID
      extension({0x2A, 0x80}, value),                           // an arc that does not end
      extension(oid, {}),                                       // no value
      extension(oid, element(0x03, {0x00})),                    // a value that is no OCTET STRING
      extension(oid, join({value, value})),                     // two values
      extension(oid, join({{0x01, 0x00}, value})),              // an empty BOOLEAN
      extension(oid, join({{0x01, 0x02, 0xFF, 0xFF}, value})),  // a long one
      {0x05, 0x00},                                             // no SEQUENCE
  };
  for (const Octets& bad : damaged) {
    CertificateParts parts;
    parts.extensions = extensionField(bad);
    EXPECT_TRUE(isAsn1Error(errorOf(parts)));
  }
}

TEST(CertificateParser, RefusesFieldsBehindTheLastOne) {
  const Octets null = {0x05, 0x00};
  CertificateParts inTbs;
  inTbs.tbsTail = null;
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(inTbs));
  CertificateParts inKey;
  inKey.keyTail = null;
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(inKey));
  CertificateParts atEnd;
  atEnd.tail = null;
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOf(atEnd));
}

TEST(CertificateParser, NamesTheFieldThatHasAnotherTag) {
  const Octets wrong = {0x05, 0x00};
  const std::vector<Octets CertificateParts::*> fields = {&CertificateParts::serial,
                                                          &CertificateParts::algorithm,
                                                          &CertificateParts::issuer,
                                                          &CertificateParts::notBefore,
                                                          &CertificateParts::notAfter,
                                                          &CertificateParts::subject,
                                                          &CertificateParts::key,
                                                          &CertificateParts::signature};
  for (const auto field : fields) {
    CertificateParts parts;
    parts.*field = wrong;
    EXPECT_EQ(CRYPT_E_ASN1_BADTAG, errorOf(parts));
  }
}

TEST(CertificateParser, KeepsTheKeyWhateverItIs) {
  CertificateParts parts;
  parts.key = element(0x03, {0x00});
  const auto data = dataOf(parts.der());
  EXPECT_EQ(0U, data->info().SubjectPublicKeyInfo.PublicKey.cbData);
  EXPECT_EQ(nullptr, data->info().SubjectPublicKeyInfo.PublicKey.pbData);
  EXPECT_TRUE(data->publicKeyBits().empty());
  EXPECT_EQ(64U, data->keyFileName().size());
}

}  // namespace
}  // namespace qx::test::certificate_parser_test
