#include "tests/provider/cades/bes.h"

#include <algorithm>

#include "platform/cades.h"

#include "tests/support/command.h"
#include "tests/support/temp_dir.h"

namespace qx::test {
namespace {

std::vector<CERT_BLOB> blobsOf(const std::vector<Octets>& all) {
  std::vector<CERT_BLOB> blobs;
  std::ranges::transform(all, std::back_inserter(blobs), blob);
  return blobs;
}

}  // namespace

MessageHandle openBes(std::vector<CMSG_SIGNER_ENCODE_INFO> records,
                      const SignOptions& options,
                      const std::vector<Octets>& certificates) {
  std::vector<CERT_BLOB> certificateBlobs = blobsOf(certificates);
  std::vector<CRL_BLOB> crlBlobs = blobsOf(options.crls);
  CMSG_SIGNED_ENCODE_INFO info{.cbSize = sizeof info,
                               .cSigners = static_cast<DWORD>(records.size()),
                               .rgSigners = records.data(),
                               .cCertEncoded = static_cast<DWORD>(certificateBlobs.size()),
                               .rgCertEncoded = certificateBlobs.data(),
                               .cCrlEncoded = static_cast<DWORD>(crlBlobs.size()),
                               .rgCrlEncoded = crlBlobs.data()};
  CADES_ENCODE_INFO cades{.dwSize = sizeof cades, .pSignedEncodeInfo = &info};
  return MessageHandle(
      CadesMsgOpenToEncode(kEncoding, options.flags, &cades, writable(options.innerType), nullptr));
}

MessageHandle openBes(const std::vector<Signer*>& signers, const SignOptions& options) {
  std::vector<CMSG_SIGNER_ENCODE_INFO> records;
  std::vector<Octets> certificates;
  for (Signer* one : signers) {
    records.push_back(one->encodeInfo());
    if (options.certificates) {
      certificates.push_back(one->der());
    }
  }
  return openBes(std::move(records), options, certificates);
}

Octets signBes(const std::vector<Signer*>& signers,
               der::Bytes content,
               const SignOptions& options) {
  const MessageHandle message = openBes(signers, options);
  EXPECT_TRUE(message) << GetLastError();
  EXPECT_EQ(update(message, content), ERROR_SUCCESS);
  return bytesParam(message, CMSG_CONTENT_PARAM);
}

::testing::AssertionResult cadesVerifies(const Octets& message,
                                         const std::vector<Signer*>& signers,
                                         const Octets* content) {
  const TempDir files;
  std::string trusted;
  for (const Signer* one : signers) {
    trusted += lab::toPem(one->certificate());
  }
  return opensslVerifies(
      message,
      signers,
      content,
      {"-cades", "-partial_chain", "-purpose", "any", "-CAfile", files.write("trusted", trusted)});
}

}  // namespace qx::test
