#include "qxsapssf/ssfxxmain_results.h"

#include <string_view>

#include "qxsapssf/config/config.h"
#include "qxsapssf/frame.h"
#include "qxsapssf/identity/cert_name.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/ssfxxmain_signing_time.h"

namespace qx {
namespace {

constexpr const char* kResultList = "addToSignerResultList";

/// Names a signer of whom nothing is known. Hosts compare with it.
constexpr std::string_view kUnknownSigner =
    "issuer-name/Noserialnumber:CN=CA, OU=SSF-TEST, O=SAP-AG, C=DE/No-2";

constexpr std::string_view kHexDigits = "0123456789abcdef";

void appendHex(std::string& text, BYTE byte) {
  text += kHexDigits[byte >> 4U];
  text += kHexDigits[byte & 0xFU];
}

/// What is known of a signer; at most one of certificate and text, and with a certificate its info.
struct Signer {
  PCCERT_CONTEXT certificate = nullptr;
  const CERT_INFO* info = nullptr;
  const char* text = nullptr;
};

Signer signerOf(const void* signer, int kind) noexcept {
  if (kind == kByCertificate) {
    const auto* certificate = static_cast<PCCERT_CONTEXT>(signer);
    return {.certificate = certificate,
            .info = certificate == nullptr ? nullptr : certificate->pCertInfo};
  }
  if (kind == kByCertInfo) {
    return {.info = static_cast<const CERT_INFO*>(signer)};
  }
  return {.text = static_cast<const char*>(signer)};
}

OwnedBytes readHash(PCCERT_CONTEXT certificate) noexcept {
  DWORD size = 0;
  OwnedBytes hash;
  if (CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, nullptr, &size) ==
      FALSE) {
    reportFailedCall(kResultList);
    return hash;
  }
  hash = OwnedBytes::allocate(size);
  if (!hash || CertGetCertificateContextProperty(
                   certificate, CERT_SHA1_HASH_PROP_ID, hash.data(), &size) == FALSE) {
    reportFailedCall(kResultList);
    return {};
  }
  hash.shrinkTo(size);
  return hash;
}

std::string hashText(PCCERT_CONTEXT certificate) {
  const OwnedBytes hash = readHash(certificate);
  std::string text;
  for (std::size_t i = 0; i < hash.size(); ++i) {
    if (i != 0) {
      text += ' ';
    }
    appendHex(text, hash.data()[i]);
  }
  return text;
}

/// Names under the older GOST arc have always been written in the certificate's own order.
DWORD nameFormOf(const CERT_INFO& info) noexcept {
  const char* algorithm = info.SignatureAlgorithm.pszObjId;
  const bool isGost =
      algorithm != nullptr && std::string_view(algorithm).starts_with("1.2.643.2.2");
  return isGost ? CERT_X500_NAME_STR : CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG;
}

std::string nameText(const CERT_INFO& info) {
  const DWORD form = nameFormOf(info);
  std::string subject = certNameText(info.Subject, form);
  if (!subject.empty()) {
    return subject;
  }
  return "issuer-name/serialnumber:" + certNameText(info.Issuer, form) + "/" +
         BlobToHex(info.SerialNumber);
}

/// Empty when there is no name to be had, for want of memory too.
std::string identityText(const Signer& signer) noexcept {
  return guarded(
      [&signer]() -> std::string {
        if (signer.certificate != nullptr && gConfig.useCertHash != 0) {
          return hashText(signer.certificate);
        }
        return signer.info == nullptr ? std::string() : nameText(*signer.info);
      },
      [] { return std::string(); });
}

const SAP_B8* bytesOf(std::string_view text) noexcept {
  return reinterpret_cast<const SAP_B8*>(text.data());
}

SigRcpSsfInformation* appendRecord(SigRcpSsfInformationListStruct** list,
                                   std::string_view identity,
                                   std::string_view times,
                                   PCCERT_CONTEXT certificate,
                                   SAPRETURN result) noexcept {
  SigRcpSsfInformation* record = nullptr;
  SAPRETURN code = SsfNEWSigRcpSsfInfo(
      bytesOf(identity),
      static_cast<SsfOctetlen>(identity.size()),
      nullptr,
      0,
      bytesOf(times),
      static_cast<SsfOctetlen>(times.size()),
      certificate == nullptr ? nullptr : certificate->pbCertEncoded,
      certificate == nullptr ? 0 : static_cast<SsfOctetlen>(certificate->cbCertEncoded),
      result,
      &record);
  if (code == SSF_API_OK) {
    code = SsfINSSigRcpSsfInfo(record, list);
  }
  if (code != SSF_API_OK) {
    reportFailedCall(kResultList);
    SsfDELSigRcpSsfInfo(&record);
    return nullptr;
  }
  return record;
}

}  // namespace

SigRcpSsfInformation* addToSignerResultList(SigRcpSsfInformationListStruct** list,
                                            const void* signer,
                                            int kind,
                                            const FILETIME* signingTime,
                                            const FILETIME* timeStampTime,
                                            SAPRETURN result) noexcept {
  const Signer known = signerOf(signer, kind);
  const std::string name = identityText(known);
  std::string_view identity = name;
  if (identity.empty() && known.text != nullptr) {
    identity = known.text;
  } else if (identity.empty()) {
    identity = kUnknownSigner;
    result = SSF_RESULT_NOCERTIFICATE;
  }
  const SigningTimeText times(signingTime, timeStampTime);
  return appendRecord(list, identity, times.view(), known.certificate, result);
}

std::string BlobToHex(const CRYPT_INTEGER_BLOB& blob) {
  std::string text = "0x";
  if (blob.cbData == 0 || blob.pbData[0] == 0) {
    return text += '0';
  }
  text.reserve((std::size_t{2} * blob.cbData) + 3);
  // The number is to be read as a positive one.
  if (blob.pbData[0] >= 0x80) {
    text += '0';
  }
  for (DWORD i = 0; i < blob.cbData; ++i) {
    appendHex(text, blob.pbData[i]);
  }
  return text;
}

}  // namespace qx
