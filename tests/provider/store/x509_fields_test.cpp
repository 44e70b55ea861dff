#include "provider/store/x509_fields.h"

#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "tests/provider/store/der_builder.h"

namespace qx::test::x509_fields_test {
namespace {

using x509::Fields;

// Three fields: INTEGER 1, a SEQUENCE with INTEGER 2, and NULL.
class FieldsTest : public ::testing::Test {
 protected:
  Fields fields() { return {content_, error_}; }

  DWORD error() const { return error_; }

 private:
  Octets content_ = join({{0x02, 0x01, 0x01}, sequence({{0x02, 0x01, 0x02}}), {0x05, 0x00}});
  DWORD error_ = ERROR_SUCCESS;
};

TEST_F(FieldsTest, AreReadFromLeftToRight) {
  Fields all = fields();
  EXPECT_EQ(1U, all.value(der::readUnsigned(all.next(der::kInteger))));
  Fields inner = all.sequence();
  EXPECT_EQ(2U, inner.value(der::readUnsigned(inner.next(der::kInteger))));
  inner.end();
  EXPECT_TRUE(all.more());
  EXPECT_EQ(der::kNull, all.any().identifier);
  EXPECT_FALSE(all.more());
  all.end();
  EXPECT_EQ(ERROR_SUCCESS, error());
}

TEST_F(FieldsTest, MayBeLeftOut) {
  Fields all = fields();
  EXPECT_FALSE(all.optional(der::kNull));
  EXPECT_TRUE(all.nextIs(der::kInteger));
  EXPECT_TRUE(all.optional(der::kInteger));
  EXPECT_TRUE(all.nextIs(der::kSequence));
  EXPECT_EQ(ERROR_SUCCESS, error());
}

TEST_F(FieldsTest, KeepTheFirstFailure) {
  Fields all = fields();
  all.next(der::kNull);
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, error());
  all.failWith(CRYPT_E_ASN1_LARGE);
  all.end();
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, error());
}

TEST_F(FieldsTest, AreEmptyAfterAFailure) {
  Fields all = fields();
  all.failWith(CRYPT_E_ASN1_LARGE);
  EXPECT_TRUE(all.next(der::kInteger).content.empty());
  EXPECT_TRUE(all.any().whole.empty());
  EXPECT_FALSE(all.optional(der::kInteger));
  EXPECT_FALSE(all.nextIs(der::kInteger));
  EXPECT_FALSE(all.more());
  EXPECT_EQ(0U, all.value(Result<std::uint64_t>(7)));
}

TEST_F(FieldsTest, ShareTheFailureOfWhatIsInside) {
  Fields all = fields();
  all.next(der::kInteger);
  Fields inner = all.sequence();
  inner.next(der::kNull);
  EXPECT_TRUE(all.failed());
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, error());
}

TEST_F(FieldsTest, AreNotAtTheirEndYet) {
  Fields all = fields();
  all.next(der::kInteger);
  all.end();
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, error());
}

DWORD errorOfTime(const Octets& der) {
  DWORD error = ERROR_SUCCESS;
  Fields fields(der, error);
  static_cast<void>(x509::readTime(fields));
  return error;
}

TEST(Times, AreInUtc) {
  EXPECT_EQ(ERROR_SUCCESS, errorOfTime(text(0x17, "250101000000Z")));
  EXPECT_EQ(ERROR_SUCCESS, errorOfTime(text(0x18, "20250101000000Z")));
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOfTime(text(0x17, "250101000000+0000")));
  EXPECT_EQ(CRYPT_E_ASN1_CORRUPT, errorOfTime(text(0x18, "20250101000000")));
  EXPECT_EQ(CRYPT_E_ASN1_BADTAG, errorOfTime(text(0x0C, "250101000000Z")));
  EXPECT_EQ(CRYPT_E_ASN1_EOD, errorOfTime({}));
}

TEST(Extensions, StandUnderTheirTag) {
  const Octets list = element(0x30, extension({0x2A, 0x03}, element(0x04, {0x01})));
  for (const unsigned tag : {0U, 3U}) {
    const Octets der = element(static_cast<std::uint8_t>(0xA0U + tag), list);
    DWORD error = ERROR_SUCCESS;
    Fields right(der, error);
    EXPECT_EQ(1U, x509::readExtensions(right, tag).size());
    Fields wrong(der, error);
    EXPECT_TRUE(x509::readExtensions(wrong, tag + 1).empty());
    EXPECT_EQ(ERROR_SUCCESS, error);
  }
}

}  // namespace
}  // namespace qx::test::x509_fields_test
