#include "provider/cades/bes_signer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "provider/cades/ess.h"
#include "provider/cades/oids.h"
#include "provider/cades/signer_certificate.h"
#include "provider/message/limits.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

CMSG_SIGNER_ENCODE_INFO_LONG longFormOf(const CMSG_SIGNER_ENCODE_INFO& record) {
  CMSG_SIGNER_ENCODE_INFO_LONG copy{};
  const bool isLong = record.cbSize >= sizeof copy;
  std::memcpy(&copy, &record, isLong ? sizeof copy : sizeof record);
  copy.cbSize = sizeof copy;
  return copy;
}

std::vector<std::uint8_t> now() {
  return der::time(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()))
      .bytes();
}

}  // namespace

Result<BesSigner> BesSigner::make(const CMSG_SIGNER_ENCODE_INFO& record,
                                  std::span<const CertificatePtr> certificates) {
  const bool hasAttributes = record.cAuthAttr == 0 || record.rgAuthAttr != nullptr;
  if (record.cbSize < sizeof record || record.cAuthAttr > kMaxAttributes || !hasAttributes) {
    return fail(E_INVALIDARG);
  }
  const char* hashOid = record.HashAlgorithm.pszObjId;
  const HashInfo* hash = hashOid == nullptr ? nullptr : hashByOid(hashOid);
  if (hash == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  BesSigner signer;
  signer.record_ = longFormOf(record);
  signer.attributes_.assign(record.rgAuthAttr, record.rgAuthAttr + record.cAuthAttr);
  if (!signer.has(oids::kSigningTime)) {
    signer.add(oids::kSigningTime, now());
  }
  if (!signer.has(oids::kSigningCertificate) && !signer.has(oids::kSigningCertificateV2)) {
    Result<CertificatePtr> certificate = signerCertificate(record, certificates);
    if (!certificate) {
      return certificate.failure();
    }
    signer.certificate_ = *std::move(certificate);
    signer.add(signingCertificateType(hash->algorithm),
               signingCertificateValue(hash->algorithm, *signer.certificate_));
  }
  signer.record_.cAuthAttr = static_cast<DWORD>(signer.attributes_.size());
  signer.record_.rgAuthAttr = signer.attributes_.data();
  return signer;
}

bool BesSigner::has(std::string_view type) const {
  return std::ranges::any_of(attributes_, [type](const CRYPT_ATTRIBUTE& attribute) {
    return attribute.pszObjId != nullptr && attribute.pszObjId == type;
  });
}

void BesSigner::add(std::string_view type, std::vector<std::uint8_t> value) {
  Added& added =
      added_.emplace_back(Added{.type = std::string(type), .value = std::move(value), .blob = {}});
  added.blob = {.cbData = static_cast<DWORD>(added.value.size()), .pbData = added.value.data()};
  attributes_.push_back({.pszObjId = added.type.data(), .cValue = 1, .rgValue = &added.blob});
}

}  // namespace qx
