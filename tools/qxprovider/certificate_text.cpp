#include "tools/qxprovider/certificate_text.h"

#include <array>
#include <ctime>
#include <vector>

#include <openssl/asn1.h>
#include <openssl/x509.h>

#include "platform/strings.h"

#include "tools/common/report.h"
#include "tools/common/times.h"

namespace qx::admin {
namespace {

std::string toUtf8(const std::wstring& wide) {
  std::string text(wide.size() * 4, '\0');
  const int length = WideCharToMultiByte(CP_UTF8,
                                         0,
                                         wide.data(),
                                         static_cast<int>(wide.size()),
                                         text.data(),
                                         static_cast<int>(text.size()),
                                         nullptr,
                                         nullptr);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string timeOf(const FILETIME& time) {
  return tools::isoTime(tools::ticksOf(time.dwHighDateTime, time.dwLowDateTime));
}

std::string timeOf(const ASN1_TIME* time) {
  tm parts{};
  if (time == nullptr || ASN1_TIME_to_tm(time, &parts) != 1) {
    return "";
  }
  std::array<char, 32> text{};
  const std::size_t length = strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), length};
}

}  // namespace

std::string nameText(const CERT_NAME_BLOB& name) {
  CERT_NAME_BLOB blob = name;
  constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  const DWORD size = CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, nullptr, 0);
  std::wstring wide(size, L'\0');
  const DWORD written = CertNameToStrW(kEncoding, &blob, CERT_X500_NAME_STR, wide.data(), size);
  wide.resize(written > 0 ? written - 1 : 0);
  return wide.empty() ? std::string() : toUtf8(wide);
}

std::string thumbprintText(const CertificateData& certificate) {
  return tools::hex(certificate.sha1());
}

nlohmann::ordered_json certificateFacts(const CertificateData& certificate) {
  const CERT_INFO& info = certificate.info();
  return {{"thumbprint", thumbprintText(certificate)},
          {"subject", nameText(info.Subject)},
          {"issuer", nameText(info.Issuer)},
          {"notBefore", timeOf(info.NotBefore)},
          {"notAfter", timeOf(info.NotAfter)},
          {"key", certificate.keyFileName()}};
}

nlohmann::ordered_json crlFacts(const CrlData& crl) {
  const der::Bytes issuer = crl.issuer();
  const CERT_NAME_BLOB blob{
      .cbData = static_cast<DWORD>(issuer.size()),
      .pbData = const_cast<BYTE*>(issuer.data())};  // NOLINT(*-const-cast): read.
  nlohmann::ordered_json facts = {{"issuer", nameText(blob)},
                                  {"thisUpdate", tools::isoTime(crl.thisUpdate())}};
  if (const X509_CRL* list = crl.crl(); list != nullptr) {
    facts["nextUpdate"] = timeOf(X509_CRL_get0_nextUpdate(list));
    const auto* revoked = X509_CRL_get_REVOKED(crl.crl());
    facts["revoked"] = revoked == nullptr ? 0 : sk_X509_REVOKED_num(revoked);
  }
  return facts;
}

}  // namespace qx::admin
