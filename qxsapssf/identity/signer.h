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

/// openKeyStore opens the store that the owner of a private key names in his profile. Empty when there is
/// none; the record's result and the trace then tell so. `number` is the owner's place in the caller's
/// list, from 0; it is only printed.
Store openKeyStore(SigRcpSsfInformation& owner, int number, const SelectionTrace& trace);

/// searchKeyStore finds the owner's certificate in that store, with a private key that his password
/// opens, and fills key, certificate and, where the operation needs one, hash of the slot. Certificate
/// and `certificates` as for selectSignerCertificate. The record's result is 0 when one was found, else
/// what the last rejection left.
Certificate searchKeyStore(Store store,
                           SigRcpSsfInformation& owner,
                           int number,
                           const SelectionTrace& trace,
                           CMSG_SIGNER_ENCODE_INFO& slot,
                           CertificateList* certificates);

/// selectSignerCertificate finds the certificate of a signer who has an identity, in the store of his
/// profile, with a private key that his password opens, and fills his slot for the encoder.
///
/// Answers the certificate, whose information and key handle the slot uses: keep it until the message
/// is encoded. When `certificates` is given it gets a duplicate, which may be kept instead. Empty when
/// nothing was found. The record's result tells the outcome.
Certificate selectSignerCertificate(SigRcpSsfInformation& signer,
                                    int number,
                                    const SelectionTrace& trace,
                                    CMSG_SIGNER_ENCODE_INFO& slot,
                                    CertificateList* certificates);

}  // namespace qx

#endif
