#ifndef QX_PROVIDER_CHAIN_NAME_INDEX_H_
#define QX_PROVIDER_CHAIN_NAME_INDEX_H_

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include <openssl/x509.h>

#include "provider/openssl/owned.h"
#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"

namespace qx {

using CertificatePtr = std::shared_ptr<const CertificateData>;
using CrlPtr = std::shared_ptr<const CrlData>;

/// The name under which a certificate is looked up: its subject.
inline der::Bytes indexedName(const CertificateData& certificate) {
  return {certificate.info().Subject.pbData, certificate.info().Subject.cbData};
}

/// The name under which a CRL is looked up: its issuer.
inline der::Bytes indexedName(const CrlData& crl) {
  return crl.issuer();
}

/// NameIndex finds certificates or CRLs by name as libcrypto compares names (RFC 5280, 7.1: case and
/// string type do not matter). Only the names are decoded here; the objects are when they are looked
/// at. It never changes. What has no readable name is left out.
template <class Data>
class NameIndex {
 public:
  using Pointer = std::shared_ptr<const Data>;

  explicit NameIndex(std::span<const Pointer> objects = {});

  /// Those with this name, in the order in which they were given.
  std::span<const Pointer> find(const X509_NAME* name) const;

 private:
  struct Named {
    X509NamePtr name;
    std::size_t position = 0;
    Pointer object;
  };

  static bool comesBefore(const Named& left, const Named& right) {
    const int compared = X509_NAME_cmp(left.name.get(), right.name.get());
    return compared != 0 ? compared < 0 : left.position < right.position;
  }

  // Two parallel arrays, so that a range of objects can be handed out.
  std::vector<X509NamePtr> names_;
  std::vector<Pointer> objects_;
};

template <class Data>
NameIndex<Data>::NameIndex(std::span<const Pointer> objects) {
  std::vector<Named> sorted;
  sorted.reserve(objects.size());
  for (const Pointer& object : objects) {
    const der::Bytes name = indexedName(*object);
    const unsigned char* position = name.data();
    X509NamePtr decoded(d2i_X509_NAME(nullptr, &position, static_cast<long>(name.size())));
    if (decoded != nullptr) {
      sorted.push_back({std::move(decoded), sorted.size(), object});
    }
  }
  std::ranges::sort(sorted, comesBefore);
  names_.reserve(sorted.size());
  objects_.reserve(sorted.size());
  for (Named& named : sorted) {
    names_.push_back(std::move(named.name));
    objects_.push_back(std::move(named.object));
  }
}

template <class Data>
std::span<const typename NameIndex<Data>::Pointer> NameIndex<Data>::find(
    const X509_NAME* name) const {
  const auto first = std::ranges::partition_point(
      names_, [name](const X509NamePtr& other) { return X509_NAME_cmp(other.get(), name) < 0; });
  const auto last = std::partition_point(first, names_.end(), [name](const X509NamePtr& other) {
    return X509_NAME_cmp(other.get(), name) == 0;
  });
  const auto offset = static_cast<std::size_t>(first - names_.begin());
  return std::span(objects_).subspan(offset, static_cast<std::size_t>(last - first));
}

using CertificateIndex = NameIndex<CertificateData>;
using CrlIndex = NameIndex<CrlData>;

}  // namespace qx

#endif
