#include "tools/qxssf/doctor/key_view.h"

#include <array>

#include "platform/errors.h"

namespace qx::ssf::doctor {

Key::Key(const Library& library, const CERT_CONTEXT& certificate) : library_(library) {
  if (QX_SSF_FUNCTION(library, CryptAcquireCertificatePrivateKey)(
          &certificate, CRYPT_ACQUIRE_SILENT_FLAG, nullptr, &handle_, nullptr, &isOurs_) == FALSE) {
    error_ = QX_SSF_FUNCTION(library, GetLastError)();
  }
}

Key::~Key() {
  if (isOurs_ != FALSE) {
    QX_SSF_FUNCTION(library_, CryptReleaseContext)(handle_, /*dwFlags=*/0);
  }
}

bool Key::opens() const {
  std::array<BYTE, 8> answer{};
  DWORD length = answer.size();
  return QX_SSF_FUNCTION(library_, CryptGetProvParam)(
             handle_, PP_QX_KEY_USABLE, answer.data(), &length, /*dwFlags=*/0) != FALSE;
}

bool Key::opensWith(const tools::Secret& pin) const {
  tools::Secret ended(pin.text());
  return ended.append('\0') &&
         QX_SSF_FUNCTION(library_, CryptSetProvParam)(
             handle_, PP_SIGNATURE_PIN, ended.bytes().data(), /*dwFlags=*/0) != FALSE &&
         opens();
}

}  // namespace qx::ssf::doctor
