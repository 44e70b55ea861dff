#ifndef QX_PROVIDER_STORE_PROPERTIES_H_
#define QX_PROVIDER_STORE_PROPERTIES_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/cert.h"

#include "provider/result.h"
#include "provider/store/key_prov_info.h"

namespace qx {

/// Properties are what callers set on one certificate context. Safe from several threads. What can
/// be computed from the certificate itself (hashes) is not here unless it was set.
class Properties {
 public:
  Properties() = default;
  /// Gives the key handle back, unless its setter kept it.
  ~Properties() = default;
  Properties(const Properties&) = delete;
  Properties& operator=(const Properties&) = delete;
  Properties(Properties&&) = delete;
  Properties& operator=(Properties&&) = delete;

  /// Whether nothing was ever set.
  bool untouched() const { return !used_.load(std::memory_order_relaxed); }

  /// set copies the value that CertSetCertificateContextProperty was given for this id; null deletes
  /// it. E_INVALIDARG for an id of 0 or above 0xFFFF, for the read-only CERT_ACCESS_STATE_PROP_ID
  /// and for a CERT_KEY_CONTEXT of another size.
  Result<void> set(DWORD id, DWORD flags, const void* value);

  /// Whether there is a value under this id.
  bool has(DWORD id) const;

  /// The bytes set under an id whose value is a blob; nothing when unset.
  std::optional<std::vector<std::uint8_t>> blob(DWORD id) const;

  std::optional<KeyProvInfo> keyProvInfo() const;

  /// The key handle and its kind; the handle stays with the properties. A handle of 0 means that it
  /// was deleted.
  std::optional<CERT_KEY_CONTEXT> keyContext() const;

  /// AT_KEYEXCHANGE or AT_SIGNATURE, of the key context or else of the provider information.
  std::optional<DWORD> keySpec() const;

  /// Takes a key handle in, in the place of an earlier one. With `releaseWithContext` it is given
  /// back (CryptReleaseContext) when the context ends or the property is deleted or replaced.
  void setKeyContext(HCRYPTPROV provider, DWORD keySpec, bool releaseWithContext);

  /// Takes over copies of those properties of `other` that are not set here. A key handle is never
  /// among them: it belongs to one context.
  void inherit(const Properties& other);

 private:
  /// KeySlot is the key handle of a context; an owned one is given back at the slot's end.
  class KeySlot {
   public:
    KeySlot(HCRYPTPROV provider, DWORD keySpec, bool owned)
        : provider_(provider), keySpec_(keySpec), owned_(owned) {}

    ~KeySlot();

    KeySlot(KeySlot&& other) noexcept { swap(other); }

    KeySlot& operator=(KeySlot&& other) noexcept {
      swap(other);
      return *this;
    }

    KeySlot(const KeySlot&) = delete;
    KeySlot& operator=(const KeySlot&) = delete;

    CERT_KEY_CONTEXT published() const;

    void setKeySpec(DWORD keySpec) { keySpec_ = keySpec; }

   private:
    void swap(KeySlot& other) noexcept;

    HCRYPTPROV provider_ = 0;
    DWORD keySpec_ = 0;
    bool owned_ = false;
  };

  struct Values {
    std::map<DWORD, std::vector<std::uint8_t>> blobs;
    std::optional<KeyProvInfo> keyProvInfo;
    std::optional<KeySlot> key;
  };

  void setBlob(DWORD id, const CRYPT_DATA_BLOB* blob);
  void setKeyProvInfo(const CRYPT_KEY_PROV_INFO* info);
  Result<void> setKeyContext(const CERT_KEY_CONTEXT* context, bool owned);
  void setKeyProvHandle(const HCRYPTPROV* provider, bool owned);
  void setKeySpec(const DWORD* keySpec);
  void replaceKey(std::optional<KeySlot> key);

  std::atomic<bool> used_ = false;  // most contexts never are
  Values values_;
};

}  // namespace qx

#endif
