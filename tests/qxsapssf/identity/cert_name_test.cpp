#include "qxsapssf/identity/cert_name.h"

#include <string>
#include <vector>

#include "qxsapssf/encoding.h"
#include "tests/qxsapssf/operation.h"

namespace qx::cert_name_test {
namespace {

using scripted::provider;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/// A name of the scripted provider: its encoding is its text.
class ToyName {
 public:
  explicit ToyName(std::string_view text) : bytes_(scripted::bytesOf(text)) {
    blob_ = {.cbData = static_cast<DWORD>(bytes_.size()), .pbData = bytes_.data()};
  }

  CRYPT_INTEGER_BLOB* blob() { return &blob_; }

 private:
  scripted::Bytes bytes_;
  CRYPT_INTEGER_BLOB blob_{};
};

class CertNameTest : public test::OperationTest {
 protected:
  static DWORD sizeOf(ToyName& name, DWORD type = CERT_OID_NAME_STR) {
    return localCertNameToStr(kEncoding, name.blob(), type, nullptr, 0);
  }

  /// What one call with a buffer of so many bytes writes, up to the NUL that it counts.
  std::string render(ToyName& name, DWORD size) {
    std::vector<char> out(size + 1, '?');
    written_ = localCertNameToStr(kEncoding, name.blob(), CERT_OID_NAME_STR, out.data(), size);
    EXPECT_EQ(out[size], '?') << "written behind the buffer";
    if (written_ == 0) {
      return {out.data(), size};
    }
    EXPECT_EQ(out[written_ - 1], '\0');
    return out.data();
  }

  DWORD written_ = 0;
};

TEST_F(CertNameTest, AsksForFourBytesACharacterOfThePlatform) {
  ToyName name("CN=Ivan, C=RU");
  // "2.5.4.3=Ivan, 2.5.4.6=RU" and the NUL.
  EXPECT_EQ(sizeOf(name), 25U * 4U);
  ToyName empty("");
  EXPECT_EQ(sizeOf(empty), 4U);
}

TEST_F(CertNameTest, AsksForASizeWithoutBufferOrWithoutRoom) {
  ToyName name("CN=Ivan");
  char unused = '?';
  EXPECT_EQ(localCertNameToStr(kEncoding, name.blob(), CERT_OID_NAME_STR, nullptr, 100), 13U * 4U);
  EXPECT_EQ(localCertNameToStr(kEncoding, name.blob(), CERT_OID_NAME_STR, &unused, 0), 13U * 4U);
  EXPECT_EQ(unused, '?');
  EXPECT_THAT(provider().calls("WideCharToMultiByte"), IsEmpty());
}

TEST_F(CertNameTest, HandsEncodingAndFormToThePlatform) {
  ToyName name("CN=Ivan, C=RU");
  EXPECT_EQ(localCertNameToStr(1, name.blob(), CERT_X500_NAME_STR, nullptr, 0), 14U * 4U);
  EXPECT_THAT(provider().calls("CertNameToStrW"),
              ElementsAre(StartsWith("CertNameToStrW(0x1, CN=")));
  EXPECT_THAT(provider().calls("CertNameToStrW").front(), HasSubstr(", 0x3, "));
}

TEST_F(CertNameTest, RendersWithTheNulAndCountsIt) {
  ToyName name("CN=Ivan, C=RU");
  EXPECT_EQ(render(name, sizeOf(name)), "2.5.4.3=Ivan, 2.5.4.6=RU");
  EXPECT_EQ(written_, 25U);
}

TEST_F(CertNameTest, RendersCharactersBeyondAsciiAsNarrowText) {
  ToyName name("CN=\xE9t\xE9");
  EXPECT_EQ(render(name, sizeOf(name)), "2.5.4.3=\xC3\xA9t\xC3\xA9");
  EXPECT_EQ(written_, 14U);
}

TEST_F(CertNameTest, CutsTheTextAtABufferThatIsTooShort) {
  ToyName name("CN=Ivan");
  EXPECT_EQ(render(name, 4), "2.5");
  EXPECT_EQ(written_, 4U);
  EXPECT_EQ(render(name, 1), "");
  EXPECT_EQ(written_, 1U);
}

TEST_F(CertNameTest, FailsWhenTheNarrowTextNeedsMoreThanTheBuffer) {
  ToyName name("CN=\xE9");
  // Nine characters with no NUL between them make ten bytes and the NUL.
  EXPECT_EQ(render(name, 10), std::string(10, '?'));
  EXPECT_EQ(written_, 0U);
  EXPECT_EQ(render(name, 11), "2.5.4.3=\xC3\xA9");
  EXPECT_EQ(written_, 11U);
}

TEST_F(CertNameTest, FailsWhenTheTextCannotBeConverted) {
  ToyName name("CN=Ivan");
  provider().failAlways("WideCharToMultiByte", ERROR_INVALID_PARAMETER);
  EXPECT_EQ(render(name, 20), std::string(20, '?'));
  EXPECT_EQ(written_, 0U);
}

TEST_F(CertNameTest, GivesTheEmptyTextOfANameThatCannotBeRendered) {
  ToyName name("CN=Ivan");
  provider().failAlways("CertNameToStrW", CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(sizeOf(name), 4U);
  EXPECT_EQ(render(name, 4), "");
  EXPECT_EQ(written_, 1U);
}

TEST_F(CertNameTest, TextHasNoRoomLeftOver) {
  ToyName name("CN=Ivan, C=RU");
  EXPECT_EQ(certNameText(*name.blob(), CERT_OID_NAME_STR), "2.5.4.3=Ivan, 2.5.4.6=RU");
  EXPECT_EQ(certNameText(*name.blob(), CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG),
            "C=RU, CN=Ivan");
  ToyName empty("");
  EXPECT_EQ(certNameText(*empty.blob(), CERT_OID_NAME_STR), "");
}

TEST_F(CertNameTest, TextAsksForTheSizeAndThenForTheText) {
  ToyName name("CN=Ivan");
  EXPECT_EQ(certNameText(*name.blob(), CERT_OID_NAME_STR), "2.5.4.3=Ivan");
  EXPECT_THAT(provider().calls("CertNameToStrW"),
              ElementsAre("CertNameToStrW(0x10001, CN=Ivan, 0x2, size)",
                          "CertNameToStrW(0x10001, CN=Ivan, 0x2, read)"));
}

TEST_F(CertNameTest, TextIsEmptyWhenAnyCallFails) {
  ToyName name("CN=Ivan");
  provider().failFirst("WideCharToMultiByte", ERROR_INVALID_PARAMETER);
  EXPECT_EQ(certNameText(*name.blob(), CERT_OID_NAME_STR), "");
  provider().failAlways("CertNameToStrW", CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(certNameText(*name.blob(), CERT_OID_NAME_STR), "");
}

TEST_F(CertNameTest, LongNamesComeWhole) {
  const std::string value(5000, 'x');
  ToyName name("CN=" + value);
  EXPECT_EQ(certNameText(*name.blob(), CERT_OID_NAME_STR), "2.5.4.3=" + value);
}

}  // namespace
}  // namespace qx::cert_name_test
