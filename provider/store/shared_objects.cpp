#include "provider/store/shared_objects.h"

namespace qx {
namespace {

constexpr std::size_t kKilobyte = 1024;

}  // namespace

// Never destroyed: what libcrypto made of the objects could outlive libcrypto's own end.
template <>
Result<std::shared_ptr<const CertificateData>> parseShared(der::Bytes der) {
  static auto& objects =
      *new SharedObjects<CertificateData>({.objects = 500, .bytes = 8 * kKilobyte});
  return objects.parse(der);
}

template <>
Result<std::shared_ptr<const CrlData>> parseShared(der::Bytes der) {
  static auto& objects = *new SharedObjects<CrlData>({.objects = 50, .bytes = 64 * kKilobyte});
  return objects.parse(der);
}

}  // namespace qx
