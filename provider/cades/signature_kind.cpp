#include "provider/cades/signature_kind.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "provider/cades/oids.h"

namespace qx {
namespace {

constexpr std::array kXLongType1 = {oids::kSignatureTimeStamp,
                                    oids::kCertificateRefs,
                                    oids::kRevocationRefs,
                                    oids::kCertificateValues,
                                    oids::kRevocationValues,
                                    oids::kCadesCTimeStamp};

auto isAttributeOf(const SignerInfo& signer) {
  return [&signer](std::string_view type) {
    return findAttribute(signer.unsignedAttributes(), type) != nullptr;
  };
}

}  // namespace

bool isXLongType1(const SignerInfo& signer) {
  return std::ranges::all_of(kXLongType1, isAttributeOf(signer));
}

bool isEnhanced(const SignerInfo& signer) {
  return std::ranges::any_of(kXLongType1, isAttributeOf(signer));
}

}  // namespace qx
