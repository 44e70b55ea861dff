// Providers and private keys.
#include <cstring>

#include "tests/scripted_provider/state.h"

using namespace qx::scripted;  // NOLINT(google-*): a file of exported functions

namespace {

// The published handle is an integer of pointer size.
const void* pointerOf(HCRYPTPROV handle) {
  return reinterpret_cast<const void*>(handle);  // NOLINT(performance-no-int-to-ptr)
}

KeyObject* keyOf(HCRYPTPROV handle, const char* user) {
  return state().find<KeyObject>(pointerOf(handle), user);
}

KeyObject* giveKey(std::unique_ptr<KeyObject> object, const char* kind) {
  const KeyObject* raw = object.get();
  return state().give(std::move(object), raw, kind);
}

bool isUsable(const KeyObject& key) {
  return key.isBare || key.pin.empty() || key.pinSet == key.pin ||
         (key.mayAsk && provider().promptAnswer == key.pin);
}

}  // namespace

BOOL CryptAcquireContextA(
    HCRYPTPROV* phProv, LPCSTR szContainer, LPCSTR szProvider, DWORD dwProvType, DWORD dwFlags) {
  Call call("CryptAcquireContextA(%s, %s, %u, 0x%x)",
            szContainer == nullptr ? "NULL" : szContainer,
            szProvider == nullptr ? "NULL" : szProvider,
            dwProvType,
            dwFlags);
  if (call.fails()) {
    return FALSE;
  }
  auto object = std::make_unique<KeyObject>();
  object->isBare = true;
  *phProv = reinterpret_cast<HCRYPTPROV>(call.handsOut(giveKey(std::move(object), "provider")));
  return TRUE;
}

BOOL CryptReleaseContext(HCRYPTPROV hProv, DWORD dwFlags) {
  const AllocationsPause pause;
  Call call("CryptReleaseContext(%s, %u)", state().nameOf(pointerOf(hProv)).c_str(), dwFlags);
  const bool fails = call.fails();
  state().takeBack(pointerOf(hProv), "CryptReleaseContext");
  return fails ? FALSE : TRUE;
}

BOOL CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert,
                                       DWORD dwFlags,
                                       void* pvParameters,
                                       HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                       DWORD* pdwKeySpec,
                                       BOOL* pfCallerFreeProvOrNCryptKey) {
  const AllocationsPause pause;
  Call call("CryptAcquireCertificatePrivateKey(%s, 0x%x, %s)",
            state().nameOf(pCert).c_str(),
            dwFlags,
            pvParameters == nullptr ? "NULL" : "parameters");
  auto* certificate = state().find<CertificateObject>(pCert, "CryptAcquireCertificatePrivateKey");
  if (pfCallerFreeProvOrNCryptKey != nullptr) {
    *pfCallerFreeProvOrNCryptKey = FALSE;
  }
  if (call.fails()) {
    return FALSE;
  }
  if (certificate == nullptr || !certificate->toy.hasKey) {
    return call.fail(CRYPT_E_NO_KEY_PROPERTY);
  }
  auto object = std::make_unique<KeyObject>();
  object->pin = certificate->toy.pin;
  object->pinError = certificate->toy.pinError;
  object->mayAsk = (dwFlags & CRYPT_ACQUIRE_SILENT_FLAG) == 0;
  KeyObject* key = giveKey(std::move(object), "key");
  if ((dwFlags & CRYPT_ACQUIRE_CACHE_FLAG) != 0) {
    certificate->cachedKey = key;
  } else if (pfCallerFreeProvOrNCryptKey != nullptr) {
    *pfCallerFreeProvOrNCryptKey = TRUE;
  }
  *phCryptProvOrNCryptKey = reinterpret_cast<HCRYPTPROV>(call.handsOut(key));
  *pdwKeySpec = certificate->toy.keySpec;
  state().lastError = ERROR_SUCCESS;
  return TRUE;
}

BOOL CryptSetProvParam(HCRYPTPROV hProv, DWORD dwParam, const BYTE* pbData, DWORD dwFlags) {
  const AllocationsPause pause;
  Call call("CryptSetProvParam(%s, 0x%x, a PIN of %zu, %u)",
            state().nameOf(pointerOf(hProv)).c_str(),
            dwParam,
            std::strlen(reinterpret_cast<const char*>(pbData)),
            dwFlags);
  KeyObject* key = keyOf(hProv, "CryptSetProvParam");
  if (call.fails() || key == nullptr) {
    return FALSE;
  }
  if (key->pinError != ERROR_SUCCESS) {
    return call.fail(key->pinError);
  }
  key->pinSet = reinterpret_cast<const char*>(pbData);
  if (provider().onPinSet) {
    provider().onPinSet(pbData, key->pinSet.size());
  }
  state().pins.push_back(key->pinSet);
  return TRUE;
}

BOOL CryptGetProvParam(
    HCRYPTPROV hProv, DWORD dwParam, BYTE* pbData, DWORD* pdwDataLen, DWORD dwFlags) {
  Call call("CryptGetProvParam(%s, %u, %u bytes, 0x%x)",
            state().nameOf(pointerOf(hProv)).c_str(),
            dwParam,
            pdwDataLen == nullptr ? 0 : *pdwDataLen,
            dwFlags);
  KeyObject* key = keyOf(hProv, "CryptGetProvParam");
  if (call.fails() || key == nullptr) {
    return FALSE;
  }
  if (dwParam == PP_QX_KEY_USABLE) {
    const DWORD value = 1;
    return isUsable(*key)
               ? call.give(std::span(reinterpret_cast<const BYTE*>(&value), 4), pbData, pdwDataLen)
               : call.fail(SCARD_W_WRONG_CHV);
  }
  if (dwParam != PP_ENUMALGS) {
    return call.fail(NTE_BAD_TYPE);
  }
  key->nextAlgorithm = (dwFlags & CRYPT_FIRST) != 0 ? 0 : key->nextAlgorithm;
  if (key->nextAlgorithm >= provider().algorithms.size()) {
    return call.fail(ERROR_NO_MORE_ITEMS);
  }
  PROV_ENUMALGS algorithm{};
  algorithm.aiAlgid = provider().algorithms[key->nextAlgorithm++];
  return call.give(
      std::span(reinterpret_cast<const BYTE*>(&algorithm), sizeof(algorithm)), pbData, pdwDataLen);
}
