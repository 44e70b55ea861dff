#include "tools/qxprovider/subject_name.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/common/throws.h"
#include "tools/qxprovider/certificate_text.h"

namespace qx::admin::subject_name_test {
namespace {

using ::testing::StartsWith;
using tools::ExitCode;
using tools::expectRefusal;

// The name as lists show it.
std::string shown(const std::string& text) {
  const X509NamePtr name = parseName(text);
  unsigned char* der = nullptr;
  const int length = i2d_X509_NAME(name.get(), &der);
  const OpensslBytes owner(der);
  return nameText({.cbData = static_cast<DWORD>(length), .pbData = der});
}

TEST(SubjectName, IsReadAsItIsShown) {
  for (const char* text : {"CN=Ivan",
                           "C=RU, O=Bank, CN=Ivan Petrov",
                           "C=RU, O=\"Bank, Ltd.\", CN=\"The \"\"First\"\"\"",
                           "CN=Иван, E=ivan@example.org, S=Moscow, T=Head, SN=Petrov, G=Ivan",
                           "C=RU, CN=Two + OU=One, L=Here",
                           "CN=\" padded \"",
                           "CN=a\\b"}) {
    EXPECT_EQ(shown(text), text);
  }
}

TEST(SubjectName, TakesOtherWaysOfWriting) {
  EXPECT_EQ(shown("cn=Ivan;o=Bank"), "CN=Ivan, O=Bank");
  EXPECT_EQ(shown("  CN =  Ivan ,O= Bank "), "CN=Ivan, O=Bank");
  EXPECT_EQ(shown("2.5.4.3=Ivan"), "CN=Ivan");
  EXPECT_EQ(shown("OID.2.5.4.10=Bank"), "O=Bank");
  EXPECT_EQ(shown("emailAddress=a@b"), "E=a@b");
  EXPECT_EQ(shown("ST=Moscow"), "S=Moscow");
}

TEST(SubjectName, WritesTextAsUtf8AndCountriesAsPrintable) {
  const X509NamePtr name = parseName("C=RU, CN=Ivan");
  const auto typeOf = [&](int at) {
    return ASN1_STRING_type(X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name.get(), at)));
  };
  EXPECT_EQ(typeOf(0), V_ASN1_PRINTABLESTRING);
  EXPECT_EQ(typeOf(1), V_ASN1_UTF8STRING);
}

TEST(SubjectName, RefusesEverythingElse) {
  for (const char* text : {"",
                           " ",
                           "Ivan",
                           "=Ivan",
                           "CN=Ivan,",
                           "CN=Ivan, Petrov",
                           "CN=\"Ivan",
                           "CN=\"Ivan\" Petrov",
                           "NOSUCH=x",
                           "C=Russia",
                           "CN="}) {
    SCOPED_TRACE(text);
    expectRefusal([&] { parseName(text); }, ExitCode::Usage, StartsWith("the subject "));
  }
}

TEST(SubjectName, RefusesWhatIsNoUtf8) {
  expectRefusal([] { parseName("CN=\xff"); }, ExitCode::Usage, StartsWith("the subject "));
}

}  // namespace
}  // namespace qx::admin::subject_name_test
