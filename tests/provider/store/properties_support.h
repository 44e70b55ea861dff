#ifndef QX_TESTS_PROVIDER_STORE_PROPERTIES_SUPPORT_H_
#define QX_TESTS_PROVIDER_STORE_PROPERTIES_SUPPORT_H_

#include <optional>

#include <openssl/evp.h>

#include "tests/provider/store/store_support.h"

namespace qx::test {

/// PropertiesTest has one context of its own, and short ways to its properties.
class PropertiesTest : public StoreTest {
 protected:
  PropertiesTest() : der_(makeDer("Properties")), context_(makeContext(der_)) {
    SetLastError(kUntouched);
  }

  PCCERT_CONTEXT context() const { return context_.get(); }

  BOOL set(DWORD id, const void* value, DWORD flags = 0) const {
    return CertSetCertificateContextProperty(context(), id, flags, value);
  }

  // Both passes; nothing when the property is not there.
  std::optional<Bytes> get(DWORD id) const { return get(context(), id); }

  static std::optional<Bytes> get(PCCERT_CONTEXT context, DWORD id) {
    DWORD size = 0;
    if (CertGetCertificateContextProperty(context, id, nullptr, &size) == FALSE) {
      return std::nullopt;
    }
    Bytes value(size);
    EXPECT_EQ(TRUE, CertGetCertificateContextProperty(context, id, value.data(), &size));
    EXPECT_EQ(value.size(), size);
    return value;
  }

  // The value of a property of fixed size; an empty one, and a failure, when it is not there.
  template <class T>
  T read(DWORD id) const {
    T value{};
    DWORD size = sizeof value;
    EXPECT_EQ(TRUE, CertGetCertificateContextProperty(context(), id, &value, &size));
    EXPECT_EQ(sizeof value, size);
    return value;
  }

  BOOL setBlob(DWORD id, const Bytes& bytes) const {
    const CRYPT_DATA_BLOB blob = blobOf(bytes);
    return set(id, &blob);
  }

  static Bytes digestOf(const EVP_MD* digest, const Bytes& bytes) {
    Bytes value(static_cast<std::size_t>(EVP_MD_get_size(digest)));
    EVP_Digest(bytes.data(), bytes.size(), value.data(), nullptr, digest, nullptr);
    return value;
  }

  const Bytes& der() const { return der_; }

 private:
  Bytes der_;
  ContextHandle context_;
};

}  // namespace qx::test

#endif
