#ifndef QX_PROVIDER_KEY_ACQUIRE_H_
#define QX_PROVIDER_KEY_ACQUIRE_H_

#include "platform/crypt_prov.h"

#include "provider/result.h"

namespace qx {

/// acquireContext is CryptAcquireContextA: gives a new handle. Its errors are that function's.
Result<HCRYPTPROV> acquireContext(LPCSTR container, LPCSTR provider, DWORD type, DWORD flags);

/// What CryptAcquireCertificatePrivateKey gives.
struct AcquiredKey {
  HCRYPTPROV handle;
  DWORD keySpec;
  bool callerFrees;
};

/// acquireCertificateKey finds the private key of a certificate by its public key. Errors:
/// E_INVALIDARG for what is no certificate, NTE_BAD_FLAGS, CRYPT_E_NO_KEY_PROPERTY when there is no key
/// for it, NTE_BAD_PUBLIC_KEY, and without CRYPT_ACQUIRE_SILENT_FLAG those of
/// KeyContext::unlockByPrompt.
Result<AcquiredKey> acquireCertificateKey(PCCERT_CONTEXT certificate, DWORD flags);

}  // namespace qx

#endif
