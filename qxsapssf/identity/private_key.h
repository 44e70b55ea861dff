#ifndef QX_QXSAPSSF_IDENTITY_PRIVATE_KEY_H_
#define QX_QXSAPSSF_IDENTITY_PRIVATE_KEY_H_

#include "platform/crypt_prov.h"

#include "qxsapssf/identity/selection_trace.h"
#include "qxsapssf/ssf.h"

namespace qx {

/// isPinExplicit says whether a record's password is the PIN, so that the provider must not ask for
/// one. "!" with at most two bytes behind it leaves the PIN to the provider, and so does an empty
/// password when the configuration says so.
bool isPinExplicit(const SigRcpSsfInformation& record) noexcept;

/// unlockPrivateKey acquires the private key of a certificate, hands the record's password over as its
/// PIN and proves that the key can be used. The handle stays the certificate context's. False when
/// the key is of no use; the record's result and the trace then tell why.
bool unlockPrivateKey(PCCERT_CONTEXT certificate,
                      SigRcpSsfInformation& record,
                      const SelectionTrace& trace,
                      HCRYPTPROV& provider,
                      DWORD& keySpec);

}  // namespace qx

#endif
