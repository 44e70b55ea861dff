#ifndef QX_PROVIDER_STORE_SHARED_OBJECTS_H_
#define QX_PROVIDER_STORE_SHARED_OBJECTS_H_

#include <cstddef>
#include <memory>
#include <optional>

#include "provider/hash/hash.h"
#include "provider/result.h"
#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "provider/support/kept_lately.h"

namespace qx {

/// SharedObjects decodes what messages bring along. Message after message brings the same authorities'
/// certificates and the same lists: while such a one is kept, the same bytes give the same object, which
/// knows what libcrypto made of it. Equal bytes always decode alike, so nothing can become stale.
template <class Data>
class SharedObjects {
 public:
  struct Limits {
    std::size_t objects;
    std::size_t bytes;  ///< of one object; larger ones are not kept
  };

  explicit SharedObjects(Limits limits) : limits_(limits), kept_(limits.objects) {}

  /// parse is Data::parse.
  Result<std::shared_ptr<const Data>> parse(der::Bytes der) {
    if (der.size() > limits_.bytes) {
      return Data::parse(der);
    }
    const HashValue key = hashOf(HashAlgorithm::Sha256, der);
    if (auto known = kept_.find(key)) {
      return *std::move(known);
    }
    auto fresh = Data::parse(der);
    if (fresh) {
      kept_.keep(key, *fresh);
    }
    return fresh;
  }

  std::size_t size() { return kept_.size(); }

 private:
  Limits limits_;
  KeptLately<HashValue, std::shared_ptr<const Data>> kept_;
};

/// parseShared is Data::parse over what this process keeps.
template <class Data>
Result<std::shared_ptr<const Data>> parseShared(der::Bytes der);

/// 500 certificates of at most 8 KB.
template <>
Result<std::shared_ptr<const CertificateData>> parseShared(der::Bytes der);

/// 50 lists of at most 64 KB.
template <>
Result<std::shared_ptr<const CrlData>> parseShared(der::Bytes der);

}  // namespace qx

#endif
