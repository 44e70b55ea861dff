#include "provider/store/file_content.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/errors.h"

#include "tests/provider/store/store_support.h"

namespace qx::test::file_content_test {
namespace {

Bytes bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

TEST(FileKind, IsToldByTheEnding) {
  for (const char* name : {"a.pem", "a.crt", "a.cer", "a.der", "Иван.cer", "a.b.pem", "A.CER"}) {
    EXPECT_EQ(FileKind::Certificate, fileKindOf(name)) << name;
  }
  EXPECT_EQ(FileKind::Crl, fileKindOf("a.crl"));
  EXPECT_EQ(FileKind::Crl, fileKindOf("a.CRL"));
}

TEST(FileKind, IsNoneOfOtherNames) {
  for (const char* name : {"", "a", "pem", ".pem", ".hidden.pem", "a.pem.bak", "a.key", "a.pem~"}) {
    EXPECT_FALSE(fileKindOf(name)) << name;
  }
}

TEST(FileKind, LimitsTheSize) {
  EXPECT_EQ(1U << 20U, fileLimit(FileKind::Certificate));
  EXPECT_EQ(16U << 20U, fileLimit(FileKind::Crl));
}

TEST(DerFromFile, TakesDerAsItIs) {
  const Bytes der = makeDer("DER");
  EXPECT_EQ(der, *derFromFile(FileKind::Certificate, der));
  const Bytes noise = {0x30, 0x01};
  EXPECT_EQ(noise, *derFromFile(FileKind::Certificate, noise));
}

TEST(DerFromFile, ReadsPem) {
  const X509Ptr certificate = makeCertificate("PEM");
  const auto der = derFromFile(FileKind::Certificate, bytes(lab::toPem(certificate.get())));
  ASSERT_TRUE(der);
  EXPECT_EQ(lab::toDer(certificate.get()), *der);
}

TEST(DerFromFile, ReadsPemOfARevocationList) {
  const X509CrlPtr crl = authority().crl();
  const auto der = derFromFile(FileKind::Crl, bytes(lab::toPem(crl.get())));
  ASSERT_TRUE(der);
  EXPECT_EQ(lab::toDer(crl.get()), *der);
}

TEST(DerFromFile, StepsOverTextAndOtherBlocks) {
  const X509Ptr certificate = makeCertificate("Second block");
  const std::string text = "Bag Attributes\n" + lab::toPem(authority().key()) + "text\n" +
                           lab::toPem(certificate.get()) + "more text";
  const auto der = derFromFile(FileKind::Certificate, bytes(text));
  ASSERT_TRUE(der);
  EXPECT_EQ(lab::toDer(certificate.get()), *der);
}

TEST(DerFromFile, TakesTheFirstOfSeveralCertificates) {
  const X509Ptr first = makeCertificate("First");
  const X509Ptr second = makeCertificate("Second");
  const auto der =
      derFromFile(FileKind::Certificate, bytes(lab::toPem(first.get()) + lab::toPem(second.get())));
  EXPECT_EQ(lab::toDer(first.get()), *der);
}

TEST(DerFromFile, ReadsWindowsLineEnds) {
  const X509Ptr certificate = makeCertificate("Lines");
  std::string windows;
  for (const char letter : lab::toPem(certificate.get())) {
    windows += letter == '\n' ? std::string("\r\n") : std::string(1, letter);
  }
  const Bytes der = lab::toDer(certificate.get());
  EXPECT_EQ(der, *derFromFile(FileKind::Certificate, bytes(windows)));
}

TEST(DerFromFile, RefusesWhatIsNeither) {
  const std::string good = lab::toPem(makeCertificate("Broken").get());
  const std::vector<std::string> bad = {
      "",
      "no certificate",
      "-----BEGIN CERTIFICATE-----\n",
      "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n",
      "-----BEGIN CERTIFICATE-----\n!!!!\n-----END CERTIFICATE-----\n",
      "-----BEGIN X509 CRL-----\nMAA=\n-----END X509 CRL-----\n",
      good.substr(0, good.size() / 2),
  };
  for (const std::string& text : bad) {
    const auto der = derFromFile(FileKind::Certificate, bytes(text));
    EXPECT_TRUE(!der || der->empty()) << text;
  }
}

TEST(DerFromFile, RefusesAnotherKindsBlock) {
  const auto der = derFromFile(FileKind::Crl, bytes(lab::toPem(makeCertificate("Kind").get())));
  EXPECT_EQ(CRYPT_E_BAD_ENCODE, der.error());
}

}  // namespace
}  // namespace qx::test::file_content_test
