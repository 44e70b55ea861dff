#include "provider/api.h"

#include "platform/crypt_prov.h"

#include "provider/key/acquire.h"
#include "provider/key/key_context.h"
#include "provider/key/parameters.h"

namespace qx {
namespace {

Result<KeyContext*> contextOf(HCRYPTPROV handle) {
  auto* context = fromHandle<KeyContext>(handle);
  return context != nullptr ? Result<KeyContext*>(context) : fail(ERROR_INVALID_HANDLE);
}

Result<void> release(HCRYPTPROV handle, DWORD flags) {
  if (handle == 0) {
    return fail(ERROR_INVALID_PARAMETER);
  }
  const auto context = contextOf(handle);
  if (!context) {
    return context.failure();
  }
  delete *context;
  return flags == 0 ? Result<void>() : fail(NTE_BAD_FLAGS);
}

template <class T>
void store(T* out, T value) {
  if (out != nullptr) {
    *out = value;
  }
}

}  // namespace
}  // namespace qx

BOOL CryptAcquireContextA(
    HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider, DWORD dwProvType, DWORD dwFlags) {
  return qx::apiBool([&]() -> qx::Result<void> {
    if (phProv == nullptr) {
      return qx::fail(ERROR_INVALID_PARAMETER);
    }
    const auto handle = qx::acquireContext(szContainer, szProvider, dwProvType, dwFlags);
    *phProv = handle ? *handle : 0;
    return handle ? qx::Result<void>() : handle.failure();
  });
}

BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  return qx::apiBool([&] { return qx::release(hProv, dwFlags); });
}

BOOL CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert,
                                       DWORD dwFlags,
                                       void* /*pvParameters*/,
                                       HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                       DWORD* pdwKeySpec,
                                       BOOL* pfCallerFreeProvOrNCryptKey) {
  return qx::apiBool([&]() -> qx::Result<void> {
    qx::store(pfCallerFreeProvOrNCryptKey, FALSE);
    if (phCryptProvOrNCryptKey == nullptr) {
      return qx::fail(ERROR_INVALID_PARAMETER);
    }
    *phCryptProvOrNCryptKey = 0;
    const auto key = qx::acquireCertificateKey(pCert, dwFlags);
    if (!key) {
      return key.failure();
    }
    *phCryptProvOrNCryptKey = key->handle;
    qx::store(pdwKeySpec, key->keySpec);
    qx::store(pfCallerFreeProvOrNCryptKey, key->callerFrees ? TRUE : FALSE);
    SetLastError(ERROR_SUCCESS);
    return {};
  });
}

BOOL CryptSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  return qx::apiBool([&]() -> qx::Result<void> {
    const auto context = qx::contextOf(hProv);
    return context ? qx::setParameter(**context, dwParam, pbData, dwFlags) : context.failure();
  });
}

BOOL CryptGetProvParam(
    HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen, DWORD dwFlags) {
  return qx::apiBool([&]() -> qx::Result<void> {
    const auto context = qx::contextOf(hProv);
    return context ? qx::readParameter(**context, dwParam, pbData, pdwDataLen, dwFlags)
                   : context.failure();
  });
}
