#include "provider/store/compare.h"

#include <string>
#include <vector>

#include "tests/provider/store/store_support.h"

namespace qx::test::compare_test {
namespace {

class IntegerTest : public ::testing::Test {
 protected:
  static BOOL same(const Bytes& left, const Bytes& right) {
    CRYPT_INTEGER_BLOB leftBlob = blobOf(left);
    CRYPT_INTEGER_BLOB rightBlob = blobOf(right);
    return CertCompareIntegerBlob(&leftBlob, &rightBlob);
  }
};

TEST_F(IntegerTest, AreEqualWithoutTheirRedundantBytes) {
  EXPECT_EQ(TRUE, same({0x88, 0xFF, 0xFF, 0xFF}, {0x88, 0xFF}));
  EXPECT_EQ(TRUE, same({0x7F, 0x00}, {0x7F}));
  EXPECT_EQ(TRUE, same({0x80, 0x00, 0x00, 0x00}, {0x80, 0x00}));
  EXPECT_EQ(TRUE, same({0x01, 0x00, 0x00, 0x00}, {0x01, 0x00}));
  EXPECT_EQ(TRUE, same({0x01, 0x00}, {0x01}));
  EXPECT_EQ(TRUE, same({0x88, 0xFF}, {0x88}));
  EXPECT_EQ(TRUE, same({0x00, 0x00, 0x00}, {0x00}));
  EXPECT_EQ(TRUE, same({0xFF, 0xFF}, {0xFF}));
}

TEST_F(IntegerTest, DifferWhereTheSignDoes) {
  EXPECT_EQ(FALSE, same({0x88, 0xFF, 0xFF, 0xFF}, {0x80, 0x00}));
  EXPECT_EQ(FALSE, same({0x80, 0x00}, {0x80}));
  EXPECT_EQ(FALSE, same({0x7F, 0xFF}, {0x7F}));
  EXPECT_EQ(FALSE, same({0x00}, {0xFF}));
}

TEST_F(IntegerTest, DifferInAnyByte) {
  EXPECT_EQ(FALSE, same({0x01, 0x02}, {0x02, 0x01}));
  EXPECT_EQ(FALSE, same({0x01}, {0x01, 0x01}));
  EXPECT_EQ(FALSE, same({}, {0x01}));
  EXPECT_EQ(TRUE, same({}, {}));
}

TEST_F(IntegerTest, LeavesTheLastErrorAlone) {
  SetLastError(77);
  EXPECT_EQ(FALSE, same({0x01}, {0x02}));
  EXPECT_EQ(77U, GetLastError());
}

TEST_F(IntegerTest, IsNotEqualToNothing) {
  const Bytes one = {0x01};
  CRYPT_INTEGER_BLOB blob = blobOf(one);
  EXPECT_EQ(FALSE, CertCompareIntegerBlob(&blob, nullptr));
  EXPECT_EQ(FALSE, CertCompareIntegerBlob(nullptr, &blob));
}

BOOL sameName(const Bytes& left, const Bytes& right, DWORD encoding = kX509) {
  CERT_NAME_BLOB leftBlob = blobOf(left);
  CERT_NAME_BLOB rightBlob = blobOf(right);
  return CertCompareCertificateName(encoding, &leftBlob, &rightBlob);
}

TEST(CompareName, ComparesBytes) {
  EXPECT_EQ(TRUE, sameName({0x30, 0x00}, {0x30, 0x00}));
  EXPECT_EQ(FALSE, sameName({0x30, 0x00}, {0x30, 0x01}));
  EXPECT_EQ(FALSE, sameName({0x30, 0x00}, {0x30, 0x00, 0x00}));
  EXPECT_EQ(TRUE, sameName({}, {}));
}

TEST(CompareName, IgnoresTheEncodingType) {
  EXPECT_EQ(TRUE, sameName({0x30, 0x00}, {0x30, 0x00}, 0));
  EXPECT_EQ(TRUE, sameName({0x30, 0x00}, {0x30, 0x00}, 0xFFFFFFFF));
}

TEST(CompareName, TellsStringTypesApart) {
  const lab::CertificateOptions utf8 = named("Same");
  lab::CertificateOptions printable = named("Same");
  printable.subject.back().stringType = V_ASN1_PRINTABLESTRING;
  const auto first = dataOf(lab::toDer(makeCertificate(utf8).get()));
  const auto second = dataOf(lab::toDer(makeCertificate(printable).get()));
  CERT_NAME_BLOB left = first->info().Subject;
  CERT_NAME_BLOB right = second->info().Subject;
  EXPECT_EQ(FALSE, CertCompareCertificateName(kX509, &left, &right));
}

TEST(CompareName, IsNotEqualToNothing) {
  CERT_NAME_BLOB empty{};
  EXPECT_EQ(FALSE, CertCompareCertificateName(kX509, nullptr, &empty));
  EXPECT_EQ(FALSE, CertCompareCertificateName(kX509, &empty, nullptr));
  EXPECT_EQ(TRUE, CertCompareCertificateName(kX509, &empty, &empty));
}

TEST(CompareCertificate, ReadsIssuerAndSerialAlone) {
  const auto data = makeData("Compared");
  CERT_INFO left = data->info();
  CERT_INFO right{};
  right.Issuer = left.Issuer;
  right.SerialNumber = left.SerialNumber;
  EXPECT_EQ(TRUE, CertCompareCertificate(kX509, &left, &right));
  EXPECT_EQ(TRUE, CertCompareCertificate(0, &left, &right));
}

TEST(CompareCertificate, TellsSerialsAndIssuersApart) {
  const auto first = makeData("First");
  const auto second = makeData("Second");
  CERT_INFO left = first->info();
  CERT_INFO right = second->info();
  EXPECT_EQ(FALSE, CertCompareCertificate(kX509, &left, &right));
  right.SerialNumber = left.SerialNumber;
  EXPECT_EQ(TRUE, CertCompareCertificate(kX509, &left, &right));
  right.Issuer = left.Subject;
  EXPECT_EQ(FALSE, CertCompareCertificate(kX509, &left, &right));
}

TEST(CompareCertificate, IsNotEqualToNothing) {
  CERT_INFO info{};
  EXPECT_EQ(FALSE, CertCompareCertificate(kX509, &info, nullptr));
  EXPECT_EQ(FALSE, CertCompareCertificate(kX509, nullptr, &info));
}

// Three attributes, of which the last two have one OID.
class FindAttribute : public ::testing::Test {
 protected:
  FindAttribute() {
    list_[0].pszObjId = first_;
    list_[1].pszObjId = second_;
    list_[2].pszObjId = second_;
  }

  CRYPT_ATTRIBUTE* list() { return list_; }

 private:
  char first_[8] = "1.2.3";
  char second_[8] = "1.2.4";
  CRYPT_ATTRIBUTE list_[3] = {};
};

TEST_F(FindAttribute, GivesTheFirstWithTheOid) {
  EXPECT_EQ(list(), CertFindAttribute("1.2.3", 3, list()));
  EXPECT_EQ(list() + 1, CertFindAttribute("1.2.4", 3, list()));
}

TEST_F(FindAttribute, GivesNothingAndLeavesTheLastErrorAlone) {
  SetLastError(77);
  EXPECT_EQ(nullptr, CertFindAttribute("1.2", 3, list()));
  EXPECT_EQ(nullptr, CertFindAttribute("1.2.4", 1, list()));
  EXPECT_EQ(nullptr, CertFindAttribute("1.2.3", 0, nullptr));
  EXPECT_EQ(nullptr, CertFindAttribute(nullptr, 3, list()));
  EXPECT_EQ(77U, GetLastError());
}

TEST_F(FindAttribute, StepsOverAttributesWithoutOid) {
  list()[0].pszObjId = nullptr;
  EXPECT_EQ(list() + 1, CertFindAttribute("1.2.4", 3, list()));
}

}  // namespace
}  // namespace qx::test::compare_test
