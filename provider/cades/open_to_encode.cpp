#include "provider/cades/open_to_encode.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "provider/cades/bes_signer.h"
#include "provider/message/blob.h"
#include "provider/message/limits.h"

namespace qx {
namespace {

// What cannot be read is none of the signers'; the encoder refuses it.
std::vector<CertificatePtr> certificatesOf(const CMSG_SIGNED_ENCODE_INFO& info) {
  std::vector<CertificatePtr> certificates;
  for (DWORD i = 0; info.rgCertEncoded != nullptr && i < info.cCertEncoded; ++i) {
    if (const auto certificate = CertificateData::parse(bytesOf(info.rgCertEncoded[i]))) {
      certificates.push_back(*certificate);
    }
  }
  return certificates;
}

Result<std::vector<BesSigner>> completeSigners(const CMSG_SIGNED_ENCODE_INFO& info) {
  // The first record's own size tells the form, and so the step from one to the next.
  const auto* next = reinterpret_cast<const BYTE*>(info.rgSigners);
  const bool isLong =
      info.cSigners > 0 && info.rgSigners->cbSize >= sizeof(CMSG_SIGNER_ENCODE_INFO_LONG);
  const std::size_t step =
      isLong ? sizeof(CMSG_SIGNER_ENCODE_INFO_LONG) : sizeof(CMSG_SIGNER_ENCODE_INFO);
  const std::vector<CertificatePtr> certificates = certificatesOf(info);
  std::vector<BesSigner> signers;
  for (DWORD i = 0; i < info.cSigners; ++i, next += step) {
    Result<BesSigner> signer =
        BesSigner::make(*reinterpret_cast<const CMSG_SIGNER_ENCODE_INFO*>(next), certificates);
    if (!signer) {
      return signer.failure();
    }
    signers.push_back(*std::move(signer));
  }
  return signers;
}

}  // namespace

Result<HCRYPTMSG> openToEncode(DWORD encodingType,
                               DWORD flags,
                               const CMSG_SIGNED_ENCODE_INFO& info,
                               LPSTR innerContentType,
                               PCMSG_STREAM_INFO stream) {
  const bool hasSigners = info.cSigners == 0 || info.rgSigners != nullptr;
  const bool tooMany = info.cSigners > kMaxSigners || info.cCertEncoded > kMaxCertificates;
  if (info.cbSize < sizeof info || tooMany || !hasSigners) {
    return fail(E_INVALIDARG);
  }
  Result<std::vector<BesSigner>> signers = completeSigners(info);
  if (!signers) {
    return signers.failure();
  }
  std::vector<CMSG_SIGNER_ENCODE_INFO_LONG> records;
  std::ranges::transform(*signers, std::back_inserter(records), &BesSigner::record);
  CMSG_SIGNED_ENCODE_INFO_LONG completed{};
  std::memcpy(&completed, &info, std::min<std::size_t>(info.cbSize, sizeof completed));
  completed.rgSigners = reinterpret_cast<CMSG_SIGNER_ENCODE_INFO*>(records.data());
  HCRYPTMSG message =
      CryptMsgOpenToEncode(encodingType, flags, CMSG_SIGNED, &completed, innerContentType, stream);
  return message == nullptr ? Result<HCRYPTMSG>(fail(GetLastError())) : message;
}

}  // namespace qx
