#ifndef QX_PROVIDER_CADES_MATERIAL_H_
#define QX_PROVIDER_CADES_MATERIAL_H_

#include <memory>
#include <span>
#include <vector>

#include "provider/chain/name_index.h"
#include "provider/der/reader.h"
#include "provider/message/certificate_set.h"
#include "provider/message/signer_info.h"
#include "provider/store/shared_objects.h"

namespace qx {

// What a message brings along that chains are built and judged with. What we cannot read is left out:
// one bad object must not spoil the others.

/// readable parses certificates (CertificateData) or CRLs (CrlData).
template <class Object>
std::vector<std::shared_ptr<const Object>> readable(std::span<const der::Bytes> encodings) {
  std::vector<std::shared_ptr<const Object>> objects;
  for (const der::Bytes encoding : encodings) {
    if (auto object = parseShared<Object>(encoding)) {
      objects.push_back(*std::move(object));
    }
  }
  return objects;
}

/// certificatesOf reads the certificates of a message.
std::vector<CertificatePtr> certificatesOf(const CertificateSet& set);

/// crlsOf reads the CRLs of a message.
std::vector<CrlPtr> crlsOf(const CertificateSet& set);

/// carriedCertificates reads the certificates among a signer's values, whether these are well made or
/// not.
std::vector<CertificatePtr> carriedCertificates(const SignerInfo& signer);

}  // namespace qx

#endif
