#ifndef QX_QXSAPSSF_SSFXXMAIN_RESULTS_H_
#define QX_QXSAPSSF_SSFXXMAIN_RESULTS_H_

#include <string>

#include "platform/cert.h"

#include "qxsapssf/ssf.h"

namespace qx {

/// What addToSignerResultList is told about a signer by: a certificate context, a CERT_INFO, or his
/// identity as a NUL-terminated text. The first and the last may be NULL.
inline constexpr int kByCertificate = 0;
inline constexpr int kByCertInfo = 1;
inline constexpr int kByText = 2;

/// addToSignerResultList appends a record about a signer to the list, which owns it: his name as id, the
/// times as profile, the encoded certificate as password. Either time may be NULL. A signer who cannot
/// be named gets a fixed name and the result 26. NULL, after a report, when the record cannot be made.
SigRcpSsfInformation* addToSignerResultList(SigRcpSsfInformationListStruct** list,
                                            const void* signer,
                                            int kind,
                                            const FILETIME* signingTime,
                                            const FILETIME* timeStampTime,
                                            SAPRETURN result) noexcept;

/// BlobToHex writes a number as hexadecimal text in the blob's own byte order, "0x" first. One that
/// begins with a zero byte, and an empty one, is "0x0".
std::string BlobToHex(const CRYPT_INTEGER_BLOB& blob);

}  // namespace qx

#endif
