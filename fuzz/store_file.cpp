// A file in a store: PEM or DER, certificate or CRL. What libcrypto reads too says the same to it.

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include <openssl/x509.h>

#include "platform/cert.h"

#include "fuzz/input.h"
#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "provider/store/file_content.h"

namespace {

using qx::fuzz::expect;

std::span<const BYTE> bytesOf(const CRYPT_INTEGER_BLOB& blob) {
  return {blob.pbData, blob.cbData};
}

bool isName(std::span<const BYTE> der, const X509_NAME* name) {
  const unsigned char* bytes = nullptr;
  std::size_t length = 0;
  return X509_NAME_get0_der(name, &bytes, &length) == 1 &&
         std::ranges::equal(der, std::span(bytes, length));
}

bool isTime(std::uint64_t ticks, const ASN1_TIME* time) {
  constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;
  std::tm broken{};
  return ASN1_TIME_to_tm(time, &broken) != 1 ||
         static_cast<std::int64_t>(ticks / 10'000'000) - kFrom1601To1970 == timegm(&broken);
}

std::uint64_t ticksOf(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

// Our serial number is the INTEGER's octets reversed; libcrypto keeps a magnitude and a sign.
bool isSerial(const CRYPT_INTEGER_BLOB& serial, const ASN1_INTEGER* theirs) {
  std::vector<BYTE> encoded(static_cast<std::size_t>(i2d_ASN1_INTEGER(theirs, nullptr)));
  unsigned char* out = encoded.data();
  i2d_ASN1_INTEGER(theirs, &out);
  const std::span<const BYTE> ours = bytesOf(serial);
  return ours.size() <= encoded.size() && std::equal(ours.begin(), ours.end(), encoded.rbegin());
}

void render(CERT_NAME_BLOB name) {
  for (const DWORD type : {CERT_SIMPLE_NAME_STR, CERT_OID_NAME_STR, CERT_X500_NAME_STR}) {
    const DWORD needed = CertNameToStrW(X509_ASN_ENCODING, &name, type, nullptr, 0);
    std::vector<WCHAR> text(needed);
    expect(CertNameToStrW(X509_ASN_ENCODING, &name, type, text.data(), needed) == needed,
           "a name is as long as it was said to be");
  }
}

void readCertificate(std::span<const std::uint8_t> der) {
  const auto certificate = qx::CertificateData::parse(der);
  if (!certificate) {
    return;
  }
  const CERT_INFO& info = (*certificate)->info();
  render(info.Subject);
  render(info.Issuer);
  const X509* theirs = (*certificate)->x509();
  if (theirs == nullptr) {
    return;
  }
  expect(isName(bytesOf(info.Subject), X509_get_subject_name(theirs)), "one subject");
  expect(isName(bytesOf(info.Issuer), X509_get_issuer_name(theirs)), "one issuer");
  expect(isSerial(info.SerialNumber, X509_get0_serialNumber(theirs)), "one serial number");
  expect(isTime(ticksOf(info.NotBefore), X509_get0_notBefore(theirs)), "one beginning");
  expect(isTime(ticksOf(info.NotAfter), X509_get0_notAfter(theirs)), "one end");
  expect(static_cast<int>(info.cExtension) == std::max(X509_get_ext_count(theirs), 0),
         "the same number of extensions");
}

void readCrl(std::span<const std::uint8_t> der) {
  const auto crl = qx::CrlData::parse(der);
  const X509_CRL* theirs = crl ? (*crl)->crl() : nullptr;
  if (theirs != nullptr) {
    expect(isName((*crl)->issuer(), X509_CRL_get_issuer(theirs)), "one issuer");
    expect(isTime((*crl)->thisUpdate(), X509_CRL_get0_lastUpdate(theirs)), "one update");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::Input input(data, size);
  const bool isCrl = input.byte() % 2 == 1;
  const auto bytes = input.restBytes();
  const auto der = qx::derFromFile(isCrl ? qx::FileKind::Crl : qx::FileKind::Certificate,
                                   {bytes.begin(), bytes.end()});
  if (der) {
    isCrl ? readCrl(*der) : readCertificate(*der);
  }
  return 0;
}
