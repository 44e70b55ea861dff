#ifndef QX_QXSAPSSF_IDENTITY_SIGNER_H_
#define QX_QXSAPSSF_IDENTITY_SIGNER_H_

#include <vector>

#include "platform/crypt_msg.h"

#include "qxsapssf/identity/selection_trace.h"
#include "qxsapssf/platform_handles.h"
#include "qxsapssf/ssf.h"

namespace qx {

using CertificateList = std::vector<Certificate>;

/// hasIdentity checks that a signer is named at all. If not, the record's result and the trace of
/// `function` tell so.
bool hasIdentity(SigRcpSsfInformation& signer, const char* function) noexcept;

/// selectSignerCertificate finds the certificate of a signer who has an identity, in the store of his
/// profile, with a private key that his password opens, and fills his slot for the encoder.
///
/// Answers the certificate, whose information and key handle the slot uses: keep it until the message
/// is encoded. When `certificates` is given it gets a duplicate, which may be kept instead. Empty when
/// nothing was found. The record's result tells the outcome. `number` is the signer's place in the
/// caller's list, from 0; it is only printed.
Certificate selectSignerCertificate(SigRcpSsfInformation& signer,
                                    int number,
                                    const SelectionTrace& trace,
                                    CMSG_SIGNER_ENCODE_INFO& slot,
                                    CertificateList* certificates);

}  // namespace qx

#endif
