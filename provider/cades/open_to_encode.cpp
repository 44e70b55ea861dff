#include "provider/cades/open_to_encode.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "provider/cades/bes_signer.h"
#include "provider/cades/material.h"
#include "provider/der/blob.h"
#include "provider/message/limits.h"
#include "provider/message/signer_request.h"

namespace qx {
namespace {

// What cannot be read is none of the signers'; the encoder refuses it.
std::vector<CertificatePtr> certificatesOf(const CMSG_SIGNED_ENCODE_INFO& info) {
  std::vector<der::Bytes> encodings;
  for (DWORD i = 0; info.rgCertEncoded != nullptr && i < info.cCertEncoded; ++i) {
    encodings.push_back(bytesOf(info.rgCertEncoded[i]));
  }
  return readable<CertificateData>(encodings);
}

Result<std::vector<BesSigner>> completeSigners(const CMSG_SIGNED_ENCODE_INFO& info) {
  const std::vector<CertificatePtr> certificates = certificatesOf(info);
  std::vector<BesSigner> signers;
  for (const CMSG_SIGNER_ENCODE_INFO* record : signerRecords(info)) {
    Result<BesSigner> signer = BesSigner::make(*record, certificates);
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
