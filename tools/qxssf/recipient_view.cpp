#include "tools/qxssf/recipient_view.h"

#include <algorithm>
#include <string_view>

#include "platform/encode.h"

#include "tools/common/times.h"
#include "tools/qxssf/chain_view.h"
#include "tools/qxssf/doctor/store_view.h"
#include "tools/qxssf/message_view.h"

namespace qx::ssf {
namespace {

using doctor::CertificatePtr;

constexpr std::string_view kKeyUsage = "2.5.29.15";

// keyEncipherment and keyAgreement in the first byte of a key usage (RFC 5280, 4.2.1.3).
constexpr unsigned kReceivesKeys = 0x28;

const CERT_EXTENSION* keyUsageOf(const CERT_INFO& info) {
  const std::span extensions(info.rgExtension, info.cExtension);
  const auto found = std::ranges::find_if(extensions, [](const CERT_EXTENSION& extension) {
    return std::string_view(extension.pszObjId) == kKeyUsage;
  });
  return found == extensions.end() ? nullptr : &*found;
}

// The first byte of the bits; none that can be read allows nothing.
unsigned firstByteOf(const Library& library, const CRYPT_OBJID_BLOB& usage) {
  auto* const decode = QX_SSF_FUNCTION(library, CryptDecodeObject);
  DWORD length = 0;
  if (decode(kEncoding, X509_KEY_USAGE, usage.pbData, usage.cbData, 0, nullptr, &length) == FALSE) {
    return 0;
  }
  std::vector<std::uint8_t> record(length);
  if (decode(kEncoding, X509_KEY_USAGE, usage.pbData, usage.cbData, 0, record.data(), &length) ==
      FALSE) {
    return 0;
  }
  const auto& bits = *reinterpret_cast<const CRYPT_BIT_BLOB*>(record.data());
  return bits.cbData == 0 ? 0 : bits.pbData[0];
}

bool isRevoked(const Library& library, const CERT_CONTEXT& certificate) {
  const ChainPtr chain =
      chainOf(library,
              certificate,
              CERT_CHAIN_REVOCATION_CHECK_END_CERT | CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY |
                  CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL);
  return chain != nullptr && (chain->TrustStatus.dwErrorStatus & CERT_TRUST_IS_REVOKED) != 0;
}

void warnOf(const Library& library, const CERT_CONTEXT& certificate, tools::Report& report) {
  const std::string start = "recipient " +
                            doctor::nameText(library, certificate.pCertInfo->Subject) +
                            ": the certificate ";
  for (const std::string& fault : validityFaults(library, certificate)) {
    report.warn(start + fault);
  }
  if (!isForEncryption(library, certificate)) {
    report.warn(start + "is not meant for encryption, by its key usage");
  }
}

}  // namespace

std::vector<std::string> validityFaults(const Library& library, const CERT_CONTEXT& certificate) {
  std::vector<std::string> faults;
  const std::uint64_t now = tools::ticksNow();
  const std::uint64_t notBefore = doctor::ticksOf(certificate.pCertInfo->NotBefore);
  const std::uint64_t notAfter = doctor::ticksOf(certificate.pCertInfo->NotAfter);
  if (notAfter < now) {
    faults.push_back("expired at " + tools::isoTime(notAfter));
  }
  if (notBefore > now) {
    faults.push_back("is valid from " + tools::isoTime(notBefore) + " on");
  }
  if (isRevoked(library, certificate)) {
    faults.emplace_back("is revoked");
  }
  return faults;
}

bool isForEncryption(const Library& library, const CERT_CONTEXT& certificate) {
  const CERT_EXTENSION* usage = keyUsageOf(*certificate.pCertInfo);
  return usage == nullptr || (firstByteOf(library, usage->Value) & kReceivesKeys) != 0;
}

void warnOfRecipients(const Library& library,
                      std::span<const std::uint8_t> message,
                      const std::string& profile,
                      tools::Report& report) {
  const MessageView view(library, message);
  const auto book = doctor::certificatesIn(
      library, doctor::storeOfProfile(profile.empty() ? "Addressbook" : profile));
  if (!book) {
    return;
  }
  auto* const isSame = QX_SSF_FUNCTION(library, CertCompareCertificate);
  const DWORD recipients = view.count(CMSG_RECIPIENT_COUNT_PARAM);
  for (DWORD i = 0; i < recipients; ++i) {
    std::vector<std::uint8_t> record = view.parameter(CMSG_RECIPIENT_INFO_PARAM, i);
    const auto found = std::ranges::find_if(*book, [&](const CertificatePtr& one) {
      return !record.empty() &&
             isSame(kEncoding, reinterpret_cast<CERT_INFO*>(record.data()), one->pCertInfo) !=
                 FALSE;
    });
    if (found != book->end()) {
      warnOf(library, **found, report);
    }
  }
}

}  // namespace qx::ssf
