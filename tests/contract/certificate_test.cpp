#include "tests/contract/contract.h"

// Certificate contexts, their comparison, and names as text.

namespace qx::test::certificate_test {
namespace {

TEST(ContractCertificate, IsACopyOfItsBytes) {
  std::vector<BYTE> given = subject().signer;
  const Certificate certificate = contextOf(given);
  ASSERT_TRUE(certificate);
  std::ranges::fill(given, BYTE{0});
  EXPECT_EQ(bytesOf(certificate.get()), subject().signer);
  EXPECT_NE(certificate.get()->hCertStore, nullptr);
}

TEST(ContractCertificate, RefusesWhatIsNoCertificate) {
  const std::vector<BYTE>& der = subject().signer;
  const std::vector<BYTE> null = {0x05, 0x00};
  EXPECT_REFUSED(CertCreateCertificateContext(0, der.data(), sizeOf(der)), E_INVALIDARG);
  EXPECT_REFUSED(CertCreateCertificateContext(kBoth, nullptr, 0), CRYPT_E_ASN1_EOD);
  EXPECT_REFUSED(CertCreateCertificateContext(kBoth, der.data(), sizeOf(der) - 1),
                 CRYPT_E_ASN1_EOD);
  EXPECT_FALSE(CertCreateCertificateContext(kBoth, null.data(), sizeOf(null)));
}

TEST(ContractCertificate, IsCounted) {
  const Certificate certificate = contextOf(subject().signer);
  PCCERT_CONTEXT same = CertDuplicateCertificateContext(certificate.get());
  EXPECT_EQ(same, certificate.get());
  EXPECT_QUIET(CertFreeCertificateContext(same));
  EXPECT_EQ(bytesOf(certificate.get()), subject().signer) << "one reference is left";
  EXPECT_EQ(CertDuplicateCertificateContext(nullptr), nullptr);
  EXPECT_QUIET(CertFreeCertificateContext(nullptr));
}

TEST(ContractCertificate, IsComparedByIssuerAndSerialNumber) {
  const Certificate signer = contextOf(subject().signer);
  const Certificate stranger = contextOf(subject().stranger);
  CERT_INFO asked = *signer.get()->pCertInfo;
  asked.Subject = {};
  EXPECT_TRUE(CertCompareCertificate(kBoth, &asked, signer.get()->pCertInfo));
  EXPECT_FALSE(CertCompareCertificate(kBoth, &asked, stranger.get()->pCertInfo));
}

TEST(ContractCertificate, HasItsNamesComparedByteForByte) {
  const Certificate signer = contextOf(subject().signer);
  const Certificate root = contextOf(subject().root);
  CERT_NAME_BLOB empty{};
  EXPECT_TRUE(CertCompareCertificateName(
      0, &signer.get()->pCertInfo->Issuer, &root.get()->pCertInfo->Subject));
  EXPECT_FALSE(CertCompareCertificateName(
      kBoth, &signer.get()->pCertInfo->Subject, &root.get()->pCertInfo->Subject));
  EXPECT_TRUE(CertCompareCertificateName(kBoth, &empty, &empty));
}

TEST(ContractCertificate, HasIntegersComparedWithoutRedundantOctets) {
  struct Case {
    std::vector<BYTE> one;
    std::vector<BYTE> other;
    bool equal;
  };

  const Case cases[] = {{{0x88, 0xFF, 0xFF, 0xFF}, {0x88, 0xFF}, true},
                        {{0x7F, 0x00}, {0x7F}, true},
                        {{0x80, 0x00, 0x00, 0x00}, {0x80, 0x00}, true},
                        {{0x01, 0x00, 0x00, 0x00}, {0x01, 0x00}, true},
                        {{0x88, 0xFF, 0xFF, 0xFF}, {0x80, 0x00}, false}};
  for (Case given : cases) {
    CRYPT_INTEGER_BLOB one = {sizeOf(given.one), given.one.data()};
    CRYPT_INTEGER_BLOB other = {sizeOf(given.other), given.other.data()};
    EXPECT_EQ(CertCompareIntegerBlob(&one, &other) != FALSE, given.equal) << int{given.one[0]};
  }
}

TEST(ContractCertificate, HasItsNameAsText) {
  const Certificate signer = contextOf(subject().signer);
  CERT_NAME_BLOB* name = &signer.get()->pCertInfo->Subject;
  const std::wstring expected = L"C=RU, O=Bank, CN=Signer";
  const auto length = static_cast<DWORD>(expected.size() + 1);
  EXPECT_EQ(CertNameToStrW(kBoth, name, CERT_X500_NAME_STR, nullptr, 0), length);
  std::vector<WCHAR> text(length, L'?');
  EXPECT_EQ(CertNameToStrW(kBoth, name, CERT_X500_NAME_STR, text.data(), length), length);
  EXPECT_EQ(text.data(), expected);
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_EQ(CertNameToStrW(kBoth, name, CERT_X500_NAME_STR, text.data(), 5), 5U);
  EXPECT_EQ(std::wstring(text.data()), L"C=RU") << "what fits, with its NUL";
  SetLastError(kMark);
  EXPECT_EQ(CertNameToStrW(0, name, CERT_X500_NAME_STR, text.data(), length), 1U);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST(ContractCertificate, HasItsNameInEveryForm) {
  const Certificate signer = contextOf(subject().signer);
  const std::pair<DWORD, std::wstring> forms[] = {
      {CERT_SIMPLE_NAME_STR, L"RU, Bank, Signer"},
      {CERT_OID_NAME_STR, L"2.5.4.6=RU, 2.5.4.10=Bank, 2.5.4.3=Signer"},
      {CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG, L"CN=Signer, O=Bank, C=RU"},
      {CERT_X500_NAME_STR | CERT_NAME_STR_SEMICOLON_FLAG, L"C=RU; O=Bank; CN=Signer"},
      {CERT_X500_NAME_STR | CERT_NAME_STR_CRLF_FLAG, L"C=RU\r\nO=Bank\r\nCN=Signer"}};
  for (const auto& [type, expected] : forms) {
    WCHAR text[100] = {};
    EXPECT_EQ(CertNameToStrW(kBoth, &signer.get()->pCertInfo->Subject, type, text, 100),
              expected.size() + 1);
    EXPECT_EQ(text, expected);
  }
}

TEST(ContractCertificate, FindsTheFirstAttributeOfAType) {
  char first[] = "1.2.3";
  char second[] = "1.2.4";
  CRYPT_ATTRIBUTE attributes[] = {{first, 0, nullptr}, {second, 0, nullptr}, {second, 1, nullptr}};
  EXPECT_EQ(CertFindAttribute("1.2.4", 3, attributes), &attributes[1]);
  EXPECT_EQ(CertFindAttribute("1.2", 3, attributes), nullptr);
  EXPECT_EQ(CertFindAttribute("1.2.4", 0, nullptr), nullptr);
}

}  // namespace
}  // namespace qx::test::certificate_test
