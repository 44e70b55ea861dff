#include "provider/message/certificate_set.h"

#include <gtest/gtest.h>

#include "tests/provider/der/hex.h"
#include "tools/lab/pki.h"

namespace qx::certificate_set_test {
namespace {

using lab::KeyKind;
using test::fromHex;
using test::toHex;
using Octets = std::vector<std::uint8_t>;
using Kind = CertificateSet::Kind;

der::Slice copyOf(const Octets& bytes) {
  return der::Slice::owned(bytes);
}

Octets makeCertificate(const std::string& name, const std::string& serial) {
  const EvpPkeyPtr key = lab::generateKey(KeyKind::EcP256);
  return lab::toDer(
      lab::selfSigned(key.get(), {.subject = {{.type = "CN", .value = name}}, .serial = serial})
          .get());
}

Octets joined(const std::vector<Octets>& parts) {
  Octets all;
  for (const Octets& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

class CertificateSets : public ::testing::Test {
 protected:
  const Octets first_ = makeCertificate("First", "01");
  const Octets second_ = makeCertificate("Second", "01");
  const Octets twin_ = makeCertificate("First", "01");
  const Octets other_ = fromHex("a3020500");
};

TEST_F(CertificateSets, CountCertificatesAndKeepTheRest) {
  const Octets content = joined({other_, first_, other_, second_});
  CertificateSet set(Kind::Certificates);
  ASSERT_TRUE(set.read(content));
  EXPECT_EQ(set.size(), 2U);
  EXPECT_TRUE(set.hasOtherForms());
  EXPECT_EQ(toHex(*set.at(0)), toHex(first_));
  EXPECT_EQ(toHex(*set.at(1)), toHex(second_));
  EXPECT_EQ(set.at(2).error(), CRYPT_E_INVALID_INDEX);
  ASSERT_TRUE(set.remove(0));
  EXPECT_EQ(toHex(*set.at(0)), toHex(second_));
  EXPECT_EQ(
      toHex(set.encode().bytes()),
      toHex(der::wrap(0xA0, der::Encoding::owned(joined({other_, other_, second_}))).bytes()));
}

TEST_F(CertificateSets, AddBehindTheOthersButNotTwice) {
  CertificateSet set(Kind::Certificates);
  EXPECT_TRUE(set.encode().empty()) << "no field at all";
  ASSERT_TRUE(set.add(copyOf(second_)));
  ASSERT_TRUE(set.add(copyOf(first_)));
  ASSERT_TRUE(set.add(copyOf(second_)));
  EXPECT_EQ(set.size(), 2U);
  EXPECT_FALSE(set.hasOtherForms());
  EXPECT_EQ(toHex(*set.at(0)), toHex(second_));
  ASSERT_TRUE(set.remove(1));
  ASSERT_TRUE(set.remove(0));
  EXPECT_EQ(set.remove(0).error(), CRYPT_E_INVALID_INDEX);
  EXPECT_TRUE(set.encode().empty());
}

TEST_F(CertificateSets, AreAmbiguousWithTwoUnderOneIssuerAndSerialNumber) {
  CertificateSet set(Kind::Certificates);
  ASSERT_TRUE(set.add(copyOf(first_)));
  ASSERT_TRUE(set.add(copyOf(second_)));
  EXPECT_FALSE(set.isAmbiguous()) << "one serial number of two issuers";
  ASSERT_TRUE(set.add(copyOf(twin_)));
  EXPECT_TRUE(set.isAmbiguous());
  ASSERT_TRUE(set.remove(0));
  EXPECT_FALSE(set.isAmbiguous());
}

TEST_F(CertificateSets, SayBeforehandWhatWouldMakeThemAmbiguous) {
  CertificateSet set(Kind::Certificates);
  EXPECT_FALSE(set.isAmbiguousWith(first_));
  ASSERT_TRUE(set.add(copyOf(second_)));
  ASSERT_TRUE(set.add(copyOf(first_)));
  EXPECT_FALSE(set.isAmbiguousWith(first_)) << "the same one is not added again";
  EXPECT_TRUE(set.isAmbiguousWith(twin_));
  EXPECT_FALSE(set.isAmbiguousWith(makeCertificate("First", "02")));
  EXPECT_FALSE(set.isAmbiguousWith(fromHex("3000"))) << "no certificate at all";
  EXPECT_FALSE(CertificateSet(Kind::Crls).isAmbiguousWith(twin_));
}

TEST_F(CertificateSets, AskOnlyCertificatesNotOtherForms) {
  const Octets content = joined({other_, first_, other_});
  CertificateSet set(Kind::Certificates);
  ASSERT_TRUE(set.read(content));
  EXPECT_TRUE(set.isAmbiguousWith(twin_));
  EXPECT_FALSE(set.isAmbiguousWith(second_));
}

TEST_F(CertificateSets, TellCertificatesAndCrlsApart) {
  const lab::Authority authority = lab::Authority::selfSigned(
      KeyKind::EcP256, {.subject = {{.type = "CN", .value = "Authority"}}});
  const Octets crl = lab::toDer(authority.crl().get());
  CertificateSet certificates(Kind::Certificates);
  CertificateSet crls(Kind::Crls);
  EXPECT_FALSE(certificates.add(copyOf(crl)));
  EXPECT_FALSE(crls.add(copyOf(first_)));
  ASSERT_TRUE(crls.add(copyOf(crl)));
  EXPECT_FALSE(crls.isAmbiguous());
  EXPECT_EQ(crls.encode().bytes().front(), 0xA1);
  EXPECT_FALSE(certificates.read(crl));
  EXPECT_FALSE(crls.read(first_));
}

TEST_F(CertificateSets, RefuseWhatIsCutOrNoElementAtAll) {
  for (std::size_t length = 1; length < first_.size(); length += 7) {
    CertificateSet set(Kind::Certificates);
    const Octets cut(first_.begin(), first_.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_FALSE(set.read(cut)) << length;
    EXPECT_FALSE(set.add(copyOf(cut))) << length;
  }
  CertificateSet set(Kind::Certificates);
  EXPECT_EQ(set.read(fromHex("0500")).error(), CRYPT_E_ASN1_BADTAG);
}

}  // namespace
}  // namespace qx::certificate_set_test
