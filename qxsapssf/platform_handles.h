#ifndef QX_QXSAPSSF_PLATFORM_HANDLES_H_
#define QX_QXSAPSSF_PLATFORM_HANDLES_H_

// Owners of what the platform gives out. No release is called anywhere else.
//
// A destructor closes and forgets the answer; a close that succeeds leaves the last error alone. Where
// a failing close matters, close() tells. Report a failed call before its handles go out of scope.

#include <utility>

#include "platform/cades.h"
#include "platform/cert_chain.h"
#include "platform/cert_store.h"
#include "platform/crypt_msg.h"
#include "platform/crypt_prov.h"
#include "platform/errors.h"

namespace qx {

/// PlatformHandle owns a handle that kClose gives back. An empty one holds 0 or NULL.
template <class Handle, auto kClose>
class PlatformHandle {
 public:
  PlatformHandle() noexcept = default;

  explicit PlatformHandle(Handle handle) noexcept : handle_(handle) {}

  PlatformHandle(const PlatformHandle&) = delete;
  PlatformHandle& operator=(const PlatformHandle&) = delete;

  PlatformHandle(PlatformHandle&& other) noexcept : handle_(other.release()) {}

  PlatformHandle& operator=(PlatformHandle&& other) noexcept {
    reset(other.release());
    return *this;
  }

  ~PlatformHandle() { close(); }

  explicit operator bool() const noexcept { return handle_ != Handle{}; }

  Handle get() const noexcept { return handle_; }

  /// release gives the handle up without closing it.
  Handle release() noexcept { return std::exchange(handle_, Handle{}); }

  void reset(Handle handle = Handle{}) noexcept {
    close();
    handle_ = handle;
  }

  /// close gives the handle back now; false when that failed. An empty one is closed already.
  bool close() noexcept {
    const Handle handle = release();
    return handle == Handle{} || kClose(handle) != FALSE;
  }

  /// put is where a platform function stores a handle. What was held is closed first.
  Handle* put() noexcept {
    close();
    return &handle_;
  }

 private:
  Handle handle_ = Handle{};
};

inline BOOL closeStore(HCERTSTORE store) noexcept {
  return CertCloseStore(store, /*dwFlags=*/0);
}

inline BOOL releaseProvider(HCRYPTPROV provider) noexcept {
  return CryptReleaseContext(provider, /*dwFlags=*/0);
}

inline BOOL freeChain(PCCERT_CHAIN_CONTEXT chain) noexcept {
  CertFreeCertificateChain(chain);
  return TRUE;
}

inline BOOL freeLocal(char* memory) noexcept {
  return LocalFree(memory) == nullptr ? TRUE : FALSE;
}

using Message = PlatformHandle<HCRYPTMSG, CryptMsgClose>;
using Store = PlatformHandle<HCERTSTORE, closeStore>;
using Certificate = PlatformHandle<PCCERT_CONTEXT, CertFreeCertificateContext>;
using Chain = PlatformHandle<PCCERT_CHAIN_CONTEXT, freeChain>;
using Provider = PlatformHandle<HCRYPTPROV, releaseProvider>;
using CadesInfo = PlatformHandle<CADES_VERIFICATION_INFO*, CadesFreeVerificationInfo>;
using CadesBlobs = PlatformHandle<CADES_BLOB_ARRAY*, CadesFreeBlobArray>;
using LocalText = PlatformHandle<char*, freeLocal>;

}  // namespace qx

#endif
