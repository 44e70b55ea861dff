#ifndef QX_TOOLS_QXSSF_DOCTOR_KEY_VIEW_H_
#define QX_TOOLS_QXSSF_DOCTOR_KEY_VIEW_H_

#include "platform/crypt_prov.h"

#include "tools/common/secret.h"
#include "tools/qxssf/library.h"

namespace qx::ssf::doctor {

/// Key is the private key of a certificate, as the platform finds it; nobody is asked for a PIN.
class Key {
 public:
  Key(const Library& library, const CERT_CONTEXT& certificate);
  ~Key();

  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  Key(Key&&) = delete;
  Key& operator=(Key&&) = delete;

  /// error is 0 when there is a key, else why there is none.
  DWORD error() const { return error_; }

  /// opens tells whether it can be used without a PIN, opensWith whether with this one.
  bool opens() const;
  bool opensWith(const tools::Secret& pin) const;

 private:
  const Library& library_;
  HCRYPTPROV handle_ = 0;
  BOOL isOurs_ = FALSE;
  DWORD error_ = 0;
};

}  // namespace qx::ssf::doctor

#endif
