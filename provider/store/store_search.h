#ifndef QX_PROVIDER_STORE_STORE_SEARCH_H_
#define QX_PROVIDER_STORE_STORE_SEARCH_H_

#include <functional>
#include <optional>
#include <utility>

#include "platform/cert_store.h"

#include "provider/result.h"
#include "provider/store/certificate_data.h"
#include "provider/store/properties.h"
#include "provider/support/folders.h"

namespace qx {

/// What a search looks at.
struct Candidate {
  const CertificateData* data = nullptr;
  const Properties* properties = nullptr;
  std::optional<Location> location;  ///< whose keys the certificate may use
};

/// StoreSearch is what somebody looks for in a store.
class StoreSearch {
 public:
  /// Every certificate.
  static StoreSearch all() { return {}; }

  /// of reads the arguments of CertFindCertificateInStore; what `parameter` points at must live as long
  /// as the search. E_INVALIDARG for an unknown type, and for a parameter that is missing.
  static Result<StoreSearch> of(DWORD findType, const void* parameter);

  /// Every certificate with this thumbprint.
  static StoreSearch byThumbprint(const Thumbprint& sha1);

  bool isForAll() const { return test_ == nullptr; }

  bool matches(const Candidate& candidate) const { return test_ == nullptr || test_(candidate); }

  /// The one thumbprint that is looked for, if it is that: the store has an index for it.
  const std::optional<Thumbprint>& thumbprint() const { return thumbprint_; }

 private:
  using Test = std::function<bool(const Candidate&)>;

  StoreSearch() = default;

  explicit StoreSearch(Test test) : test_(std::move(test)) {}

  static StoreSearch byHash(const CRYPT_HASH_BLOB& hash);

  Test test_;
  std::optional<Thumbprint> thumbprint_;
};

}  // namespace qx

#endif
