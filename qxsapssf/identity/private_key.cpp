#include "qxsapssf/identity/private_key.h"

#include <array>
#include <string>
#include <string_view>

#include "qxsapssf/config/config.h"
#include "qxsapssf/identity/profile.h"
#include "qxsapssf/owned_bytes.h"
#include "qxsapssf/qxsapssf_errors.h"
#include "qxsapssf/trace.h"

namespace qx {
namespace {

/// Pin is a NUL-terminated copy of a password that leaves no trace in memory.
class Pin {
 public:
  explicit Pin(std::string_view password) : text_(password) {}

  Pin(const Pin&) = delete;
  Pin& operator=(const Pin&) = delete;
  Pin(Pin&&) = delete;
  Pin& operator=(Pin&&) = delete;

  ~Pin() { wipeWithSpaces(text_.data(), text_.size()); }

  const BYTE* bytes() const noexcept { return reinterpret_cast<const BYTE*>(text_.c_str()); }

 private:
  std::string text_;
};

std::string_view passwordOf(const SigRcpSsfInformation& record) noexcept {
  return viewOf(record.password, record.passwordLength);
}

bool acquireKey(PCCERT_CONTEXT certificate,
                bool isExplicit,
                HCRYPTPROV& provider,
                DWORD& keySpec) noexcept {
  const DWORD silent = isExplicit ? CRYPT_ACQUIRE_SILENT_FLAG : 0;
  // With the cache flag the handle belongs to the context, whatever is said here.
  BOOL callerFrees = FALSE;
  return CryptAcquireCertificatePrivateKey(
             certificate,
             CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_COMPARE_KEY_FLAG | silent,
             /*pvParameters=*/nullptr,
             &provider,
             &keySpec,
             &callerFrees) != FALSE;
}

bool setPin(HCRYPTPROV provider, DWORD keySpec, std::string_view password) {
  const Pin pin(password);
  const DWORD param = keySpec == AT_SIGNATURE ? PP_SIGNATURE_PIN : PP_KEYEXCHANGE_PIN;
  return CryptSetProvParam(provider, param, pin.bytes(), /*dwFlags=*/0) != FALSE;
}

bool isKeyUsable(HCRYPTPROV provider) noexcept {
  std::array<BYTE, 8> unused{};
  auto length = static_cast<DWORD>(unused.size());
  return CryptGetProvParam(provider, PP_QX_KEY_USABLE, unused.data(), &length, /*dwFlags=*/0) !=
         FALSE;
}

}  // namespace

bool isPinExplicit(const SigRcpSsfInformation& record) noexcept {
  const std::string_view password = passwordOf(record);
  if (password.empty()) {
    return gConfig.askPinWhenEmpty == 0;
  }
  return password.size() > 3 || password.front() != '!';
}

bool unlockPrivateKey(PCCERT_CONTEXT certificate,
                      SigRcpSsfInformation& record,
                      const SelectionTrace& trace,
                      HCRYPTPROV& provider,
                      DWORD& keySpec) {
  const bool isExplicit = isPinExplicit(record);
  if (trace.tellsProgress) {
    QX_TRACE(trace.function,
             "#trace# One of Signer's certificate found. Trying to acquire private key.\n");
    QX_TRACE(trace.function,
             "#trace# Explicit pin code? IsPinExplicit = %d.\n",
             static_cast<int>(isExplicit));
  }
  if (!acquireKey(certificate, isExplicit, provider, keySpec)) {
    record.result = SSF_RESULT_INVALID_PROFILE;
    trace.keyNotAcquired();
    return false;
  }
  if (isExplicit && !passwordOf(record).empty()) {
    if (!setPin(provider, keySpec, passwordOf(record))) {
      reportFailedCall(trace.function);
      record.result = trace.pinNotTaken;
      trace.pinNotSet();
      return false;
    }
    if (trace.tellsProgress) {
      QX_TRACE(trace.function, "#trace# Set explisit pin code - Ok.\n");
    }
  }
  if (!isKeyUsable(provider)) {
    record.result = SSF_RESULT_INVALID_PASSWORD;
    trace.keyNotUsable();
    return false;
  }
  if (trace.tellsProgress) {
    QX_TRACE(trace.function, "#trace# Private Key successfully acquired.\n");
  }
  return true;
}

}  // namespace qx
