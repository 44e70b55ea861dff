#ifndef QX_PROVIDER_STORE_KEY_PROV_INFO_H_
#define QX_PROVIDER_STORE_KEY_PROV_INFO_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/cert.h"

namespace qx {

/// KeyProvInfo is a copy of a CRYPT_KEY_PROV_INFO that owns all that the record points at.
class KeyProvInfo {
 public:
  /// Copies the record, its strings (NULL stays NULL) and its parameters with their data.
  explicit KeyProvInfo(const CRYPT_KEY_PROV_INFO& info);

  DWORD keySpec() const { return keySpec_; }

  /// The bytes that the one-piece form needs.
  std::size_t size() const;

  /// Writes the one-piece form: the record, and behind it everything that it points at. `buffer` is
  /// aligned to 8 bytes and holds size() bytes.
  void writeTo(void* buffer) const;

 private:
  struct Parameter {
    DWORD number;
    DWORD flags;
    std::vector<std::uint8_t> data;
  };

  std::optional<std::wstring> container_;
  std::optional<std::wstring> provider_;
  DWORD providerType_;
  DWORD flags_;
  DWORD keySpec_;
  std::vector<Parameter> parameters_;
};

}  // namespace qx

#endif
