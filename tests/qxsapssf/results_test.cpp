#include "qxsapssf/encoding.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssfxxmain_results.h"
#include "tests/qxsapssf/operation.h"

namespace qx::test::results_test {
namespace {

using scripted::Bytes;
using scripted::fileTime;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kUnknown =
    "issuer-name/Noserialnumber:CN=CA, OU=SSF-TEST, O=SAP-AG, C=DE/No-2";

class SignerResultTest : public OperationTest {
 protected:
  Certificate contextOf(const ToyCertificate& toy) {
    provider().otherCertificates = {toy};
    const std::string encoded = toy.encoded();
    return Certificate(CertCreateCertificateContext(kEncoding,
                                                    reinterpret_cast<const BYTE*>(encoded.data()),
                                                    static_cast<DWORD>(encoded.size())));
  }

  /// The record of a signer who is known by a certificate.
  const SigRcpSsfInformation& add(const ToyCertificate& toy,
                                  SAPRETURN result = 0,
                                  const FILETIME* signing = nullptr,
                                  const FILETIME* stamp = nullptr) {
    const Certificate certificate = contextOf(toy);
    return recordOf(addToSignerResultList(
        &records.list, certificate.get(), kByCertificate, signing, stamp, result));
  }

  const SigRcpSsfInformation& recordOf(const SigRcpSsfInformation* record) {
    EXPECT_NE(record, nullptr);
    EXPECT_EQ(record, records.all().back());
    return *record;
  }

  static ToyCertificate oldGost() {
    ToyCertificate toy;
    toy.signatureOid = "1.2.643.2.2.3";
    return toy;
  }

  Records records;
};

TEST_F(SignerResultTest, NamesASignerByTheSubjectInReverse) {
  EXPECT_EQ(idOf(add({})), "C=RU, O=Bank, CN=Ivan Petrov");
  EXPECT_THAT(provider().calls("CertNameToStrW"),
              ElementsAre("CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2000003, size)",
                          "CertNameToStrW(0x10001, CN=Ivan Petrov, O=Bank, C=RU, 0x2000003, "
                          "read)"));
}

TEST_F(SignerResultTest, KeepsTheOrderOfNamesUnderTheOldGostArc) {
  for (const std::string oid : {"1.2.643.2.2.3", "1.2.643.2.2.4", "1.2.643.2.20"}) {
    ToyCertificate toy;
    toy.signatureOid = oid;
    EXPECT_EQ(idOf(add(toy)), "CN=Ivan Petrov, O=Bank, C=RU") << oid;
  }
  for (const std::string oid : {"1.2.643.7.1.1.3.2", "1.2.643.2.1", "1.2.840.113549.1.1.11", ""}) {
    ToyCertificate toy;
    toy.signatureOid = oid;
    EXPECT_EQ(idOf(add(toy)), "C=RU, O=Bank, CN=Ivan Petrov") << oid;
  }
}

TEST_F(SignerResultTest, CarriesTimesAndCertificateInItsOtherFields) {
  const FILETIME signing = fileTime(2026, 11, 15, 17, 3, 41);
  const auto& record = add({}, SSF_RESULT_NOT_OK, &signing);
  EXPECT_EQ(record.reserved, nullptr);
  EXPECT_EQ(record.reservedLength, 0);
  EXPECT_THAT(profileOf(record), EndsWith("(UTCTime: 261115170341Z)"));
  EXPECT_EQ(passwordOf(record), "certificate(CN=Ivan Petrov, O=Bank, C=RU,01)");
  EXPECT_EQ(record.result, SSF_RESULT_NOT_OK);
}

TEST_F(SignerResultTest, CarriesBothTimes) {
  const FILETIME signing = fileTime(2026, 11, 15, 17, 3, 41);
  const FILETIME stamp = fileTime(2026, 11, 15, 17, 4, 5);
  const std::string times = profileOf(add({}, 0, &signing, &stamp));
  EXPECT_NE(times.find('\0'), std::string::npos);
  EXPECT_THAT(times, EndsWith("(UTCTime: 261115170405Z) extracted from timestamp"));
}

TEST_F(SignerResultTest, LeavesEmptyFieldsNull) {
  const auto& record =
      recordOf(addToSignerResultList(&records.list, nullptr, kByCertificate, nullptr, nullptr, 0));
  EXPECT_EQ(record.profile, nullptr);
  EXPECT_EQ(record.password, nullptr);
  EXPECT_EQ(record.passwordLength, 0);
}

TEST_F(SignerResultTest, NamesAnEmptySubjectByIssuerAndSerialNumber) {
  ToyCertificate toy = oldGost();
  toy.subject = "";
  toy.serial = {0x8F, 0x00, 0x1A};
  EXPECT_EQ(idOf(add(toy)), "issuer-name/serialnumber:CN=Test CA, C=RU/0x08f001a");
  toy.signatureOid = "1.2.840.113549.1.1.11";
  EXPECT_EQ(idOf(add(toy)), "issuer-name/serialnumber:C=RU, CN=Test CA/0x08f001a");
}

TEST_F(SignerResultTest, NamesASignerByACertInfo) {
  const Certificate certificate = contextOf(oldGost());
  const auto& record = recordOf(addToSignerResultList(
      &records.list, certificate.get()->pCertInfo, kByCertInfo, nullptr, nullptr, 0));
  EXPECT_EQ(idOf(record), "CN=Ivan Petrov, O=Bank, C=RU");
  EXPECT_EQ(record.passwordLength, 0);
  EXPECT_EQ(record.result, 0);
}

TEST_F(SignerResultTest, NamesASignerByAText) {
  const auto& record =
      recordOf(addToSignerResultList(&records.list, "somebody", kByText, nullptr, nullptr, 22));
  EXPECT_EQ(idOf(record), "somebody");
  EXPECT_EQ(record.result, 22);
  EXPECT_EQ(
      idOf(recordOf(addToSignerResultList(&records.list, "anybody", 7, nullptr, nullptr, 22))),
      "anybody");
}

TEST_F(SignerResultTest, HasAFixedNameAndResultForAnUnknownSigner) {
  for (const int kind : {kByCertificate, kByCertInfo, kByText}) {
    const auto& record =
        recordOf(addToSignerResultList(&records.list, nullptr, kind, nullptr, nullptr, 0));
    EXPECT_EQ(idOf(record), kUnknown);
    EXPECT_EQ(record.result, SSF_RESULT_NOCERTIFICATE);
  }
  EXPECT_THAT(provider().journal(), IsEmpty());
}

TEST_F(SignerResultTest, NamesASignerByTheHashWhenConfigured) {
  gConfig.useCertHash = 1;
  ToyCertificate toy;
  toy.thumbprint = {0x3F, 0x0A, 0x91, 0x00, 0xFF};
  EXPECT_EQ(idOf(add(toy)), "3f 0a 91 00 ff");
  EXPECT_THAT(provider().calls("CertGetCertificateContextProperty"),
              ElementsAre("CertGetCertificateContextProperty(certificate#1, 3, size)",
                          "CertGetCertificateContextProperty(certificate#1, 3, read)"));
  EXPECT_THAT(provider().calls("CertNameToStrW"), IsEmpty());
}

TEST_F(SignerResultTest, UsesTheHashForCertificatesOnly) {
  gConfig.useCertHash = 1;
  const Certificate certificate = contextOf(oldGost());
  EXPECT_EQ(idOf(recordOf(addToSignerResultList(
                &records.list, certificate.get()->pCertInfo, kByCertInfo, nullptr, nullptr, 0))),
            "CN=Ivan Petrov, O=Bank, C=RU");
  EXPECT_EQ(idOf(recordOf(addToSignerResultList(
                &records.list, nullptr, kByCertificate, nullptr, nullptr, 0))),
            kUnknown);
  EXPECT_THAT(provider().calls("CertGetCertificateContextProperty"), IsEmpty());
}

class SignerHashFailure : public SignerResultTest,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(SignerHashFailure, LeavesTheSignerUnknown) {
  gConfig.useCertHash = 1;
  provider().failFirst(GetParam(), 0x80092004);
  const auto& record = add({});
  EXPECT_EQ(idOf(record), kUnknown);
  EXPECT_EQ(record.result, SSF_RESULT_NOCERTIFICATE);
  EXPECT_EQ(passwordOf(record), "certificate(CN=Ivan Petrov, O=Bank, C=RU,01)");
  EXPECT_THAT(linesOf("addToSignerResultList"), ElementsAre(errorLine(0x80092004)));
  EXPECT_THAT(linesOf("PrintString"), ElementsAre(errorText(0x80092004)));
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall,
    SignerHashFailure,
    ::testing::Values("CertGetCertificateContextProperty(certificate#1, 3, size)",
                      "CertGetCertificateContextProperty(certificate#1, 3, read)"));

TEST_F(SignerResultTest, AppendsBehindTheRecordsThatAreThere) {
  records.add("CN=first");
  add({});
  add(oldGost());
  std::vector<std::string> ids;
  for (const auto* record : records.all()) {
    ids.push_back(idOf(*record));
  }
  EXPECT_THAT(
      ids, ElementsAre("CN=first", "C=RU, O=Bank, CN=Ivan Petrov", "CN=Ivan Petrov, O=Bank, C=RU"));
}

TEST_F(SignerResultTest, ReportsARecordThatCannotBeMade) {
  EXPECT_EQ(addToSignerResultList(&records.list, "", kByText, nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(records.list, nullptr);
  EXPECT_THAT(linesOf("addToSignerResultList"), SizeIs(1));
}

TEST_F(SignerResultTest, KeepsToTheFixedNameOrNoRecordWhereverMemoryIsShort) {
  const Certificate certificate = contextOf({});
  const FILETIME signing = fileTime(2026, 11, 15, 17, 3, 41);
  unsigned unnamed = 0;
  unsigned lost = 0;
  const auto run = [&] {
    return addToSignerResultList(
        &records.list, certificate.get(), kByCertificate, &signing, nullptr, 0);
  };
  SigRcpSsfInformation* record = nullptr;
  scripted::sweepAllocations([&] { SsfDELSigRcpSsfInfoList(&records.list); },
                             [&] { record = run(); },
                             [&](unsigned n) {
                               if (record == nullptr) {
                                 ++lost;
                                 EXPECT_EQ(records.list, nullptr) << n;
                               } else {
                                 ++unnamed;
                                 EXPECT_EQ(idOf(*record), kUnknown) << n;
                                 EXPECT_EQ(record->result, SSF_RESULT_NOCERTIFICATE) << n;
                               }
                             });
  EXPECT_GE(unnamed, 3U);
  EXPECT_EQ(lost, 5U);  // record, identity, times, certificate, list node
}

std::string hexOf(Bytes bytes) {
  return BlobToHex({.cbData = static_cast<DWORD>(bytes.size()), .pbData = bytes.data()});
}

TEST(BlobToHexTest, WritesTheBytesInTheirOwnOrder) {
  EXPECT_EQ(hexOf({0x12, 0xAB, 0x00}), "0x12ab00");
  EXPECT_EQ(hexOf({0x01}), "0x01");
  EXPECT_EQ(hexOf({0x7F, 0xFF}), "0x7fff");
}

TEST(BlobToHexTest, KeepsTheNumberPositive) {
  EXPECT_EQ(hexOf({0x80}), "0x080");
  EXPECT_EQ(hexOf({0xFF, 0x01}), "0x0ff01");
}

TEST(BlobToHexTest, ShortensWhateverBeginsWithZero) {
  EXPECT_EQ(hexOf({0x00}), "0x0");
  EXPECT_EQ(hexOf({0x00, 0x12}), "0x0");
}

TEST(BlobToHexTest, ReadsAnEmptyBlobAsZero) {
  EXPECT_EQ(hexOf({}), "0x0");
  EXPECT_EQ(BlobToHex({.cbData = 0, .pbData = nullptr}), "0x0");
}

}  // namespace
}  // namespace qx::test::results_test
