#include "qxsapssf/identity/identity.h"

#include <string>
#include <vector>

#include "platform/cert_store.h"

#include "tests/qxsapssf/operation.h"

namespace qx::identity_test {
namespace {

using scripted::AllocationFailure;
using scripted::provider;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Match = Identity::Match;

class IdentityTest : public test::OperationTest {
 protected:
  /// How an identity judges a certificate with a subject.
  static Match match(const Identity& identity, std::string_view subject) {
    scripted::Bytes bytes = scripted::bytesOf(subject);
    CERT_INFO certificate{};
    certificate.Subject = {.cbData = static_cast<DWORD>(bytes.size()), .pbData = bytes.data()};
    return identity.match(certificate);
  }

  static Match match(std::string_view text, std::string_view subject) {
    Identity identity;
    EXPECT_TRUE(identity.read(text)) << text;
    return match(identity, subject);
  }

  static std::vector<BYTE> hashOf(const Identity& identity) {
    const auto* hash = static_cast<const CRYPT_HASH_BLOB*>(identity.findParameter());
    return {hash->pbData, hash->pbData + hash->cbData};
  }
};

TEST_F(IdentityTest, OfDigitsIsAThumbprintToSearchFor) {
  Identity identity;
  ASSERT_TRUE(identity.read("3F A0\t12"));
  EXPECT_EQ(identity.findType(), DWORD{CERT_FIND_SHA1_HASH});
  ASSERT_NE(identity.findParameter(), nullptr);
  EXPECT_THAT(hashOf(identity), ElementsAre(0x3F, 0xA0, 0x12));
}

TEST_F(IdentityTest, OfATextIsANameAndEveryCertificateIsLookedAt) {
  Identity identity;
  ASSERT_TRUE(identity.read("CN=Ivan"));
  EXPECT_EQ(identity.findType(), DWORD{CERT_FIND_ANY});
  EXPECT_EQ(identity.findParameter(), nullptr);
}

TEST_F(IdentityTest, OfHexadecimalLettersIsAlwaysAThumbprint) {
  Identity identity;
  ASSERT_TRUE(identity.read("DEAD BEEF"));
  EXPECT_EQ(identity.findType(), DWORD{CERT_FIND_SHA1_HASH});
  EXPECT_THAT(hashOf(identity), ElementsAre(0xDE, 0xAD, 0xBE, 0xEF));
}

TEST_F(IdentityTest, OfAnOddDigitIsTheThumbprintOfNoCertificate) {
  for (const char* text : {"3FA", "3F A", " ", ""}) {
    Identity identity;
    ASSERT_TRUE(identity.read(text)) << text;
    EXPECT_EQ(identity.findType(), DWORD{CERT_FIND_SHA1_HASH}) << text;
    EXPECT_THAT(hashOf(identity), IsEmpty()) << text;
  }
}

TEST_F(IdentityTest, OfAThumbprintMatchesWhateverWasFound) {
  EXPECT_EQ(match("3FA012", "CN=Anybody"), Match::Matches);
  EXPECT_EQ(match("3FA012", "broken"), Match::Matches);
  EXPECT_THAT(provider().calls("CertNameToStrW"), IsEmpty());
}

TEST_F(IdentityTest, ThatIsNoNameIsRefused) {
  for (const char* text : {"Ivan Petrov", "3F G0", "=x", "CN=", "CN=Ivan, O", "CN=Ivan, O="}) {
    Identity identity;
    EXPECT_FALSE(identity.read(text)) << text;
  }
}

TEST_F(IdentityTest, EndsAtItsLengthAndAtANul) {
  const std::string text = "CN=Ivan, O=Bank";
  EXPECT_EQ(match(std::string_view(text).substr(0, 7), "CN=Ivan"), Match::Matches);
  EXPECT_EQ(match(std::string_view("CN=Ivan\0, O=Bank", 16), "CN=Ivan"), Match::Matches);
}

TEST_F(IdentityTest, WantsEveryAttributeInAnyOrder) {
  const char* subject = "CN=Ivan, O=Bank, C=RU";
  EXPECT_EQ(match("CN=Ivan", subject), Match::Matches);
  EXPECT_EQ(match("C=RU,CN=Ivan", subject), Match::Matches);
  EXPECT_EQ(match("C=RU, O=\"Bank\" , CN=Ivan", subject), Match::Matches);
  EXPECT_EQ(match("CN=Ivan,CN=Ivan", subject), Match::Matches);
  EXPECT_EQ(match("2.5.4.3=Ivan", subject), Match::Matches);
  EXPECT_EQ(match("CN=Ivan, S=Moscow", subject), Match::Differs);
  EXPECT_EQ(match("CN=Iva", subject), Match::Differs);
  EXPECT_EQ(match("CN=ivan", subject), Match::Differs);
  EXPECT_EQ(match("cn=Ivan", subject), Match::Differs);
  EXPECT_EQ(match("O=Ivan", subject), Match::Differs);
}

TEST_F(IdentityTest, DecodesItsEscapes) {
  EXPECT_EQ(match(R"(CN=Iv\u0061n)", "CN=Ivan"), Match::Matches);
  EXPECT_EQ(match(R"(CN=\u0418)", "CN=Ivan"), Match::Differs);
}

TEST_F(IdentityTest, FindsASubjectThatDoesNotParseUnreadable) {
  EXPECT_EQ(match("CN=Ivan", "broken"), Match::Unreadable);
  EXPECT_EQ(match("CN=Ivan", "CN=Ivan, O="), Match::Unreadable);
  EXPECT_EQ(match("CN=Ivan", "=x"), Match::Unreadable);
}

TEST_F(IdentityTest, TakesAnEmptySubjectForAnother) {
  EXPECT_EQ(match("CN=Ivan", ""), Match::Differs);
  provider().failAlways("CertNameToStrW", CRYPT_E_ASN1_BADTAG);
  EXPECT_EQ(match("CN=Ivan", "CN=Ivan"), Match::Differs);
}

TEST_F(IdentityTest, MatchesAnyNumberOfCertificates) {
  Identity identity;
  ASSERT_TRUE(identity.read("CN=Ivan"));
  EXPECT_EQ(match(identity, "CN=Other"), Match::Differs);
  EXPECT_EQ(match(identity, "CN=Ivan"), Match::Matches);
  EXPECT_EQ(match(identity, "broken"), Match::Unreadable);
  EXPECT_EQ(match(identity, "CN=Ivan"), Match::Matches);
}

TEST_F(IdentityTest, IsRefusedWhenThereIsNoMemoryForItsThumbprint) {
  // The copy of the text fits into the string itself; the first allocation is the thumbprint's.
  Identity identity;
  bool read = true;
  {
    const AllocationFailure failure(1);
    read = identity.read("3FA012");
    EXPECT_TRUE(failure.hasHappened());
  }
  EXPECT_FALSE(read);
  EXPECT_THAT(test::linesOf("parse_CertHashID"),
              ElementsAre("#error#: Failed to allocate buffer of 3 chars\n"));
}

}  // namespace
}  // namespace qx::identity_test
