#include "provider/cades/referenced_data.h"

#include <algorithm>

namespace qx {
namespace {

// Adds to `found` the first object that the reference names.
template <class Ref, class Pointer>
bool find(const Ref& ref,
          std::span<const Pointer> values,
          std::span<const Pointer> others,
          std::vector<Pointer>& found) {
  for (const std::span<const Pointer> objects : {values, others}) {
    const auto match = std::ranges::find_if(
        objects, [&ref](const Pointer& object) { return ref.matches(*object); });
    if (match != objects.end()) {
      found.push_back(*match);
      return true;
    }
  }
  return false;
}

template <class Ref, class Pointer>
bool findAll(const std::vector<Ref>& refs,
             const std::vector<Pointer>& values,
             std::span<const Pointer> others,
             std::vector<Pointer>& found) {
  return std::ranges::all_of(
      refs, [&](const Ref& ref) { return find(ref, std::span(values), others, found); });
}

}  // namespace

Result<ReferencedData> findReferenced(const ValidationData& data,
                                      std::span<const CertificatePtr> certificates,
                                      std::span<const CrlPtr> crls) {
  ReferencedData found;
  bool complete =
      findAll(data.certificateRefs, data.certificates, certificates, found.certificates);
  for (const RevocationRef& ref : data.revocationRefs) {
    complete = complete && findAll(ref.crls, data.crls, crls, found.crls) &&
               findAll(ref.ocsp, data.ocsp, {}, found.ocsp);
  }
  return complete ? Result<ReferencedData>(std::move(found)) : fail(CRYPT_E_NOT_FOUND);
}

}  // namespace qx
