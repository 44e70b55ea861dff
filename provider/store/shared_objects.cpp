#include "provider/store/shared_objects.h"

#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::size_t kKilobyte = 1024;

template <class Data>
SharedObjects<Data>& shared(typename SharedObjects<Data>::Limits limits) {
  static auto& objects = untilUnload(std::make_unique<SharedObjects<Data>>(limits));
  return objects;
}

}  // namespace

template <>
Result<std::shared_ptr<const CertificateData>> parseShared(der::Bytes der) {
  return shared<CertificateData>({.objects = 500, .bytes = 8 * kKilobyte}).parse(der);
}

template <>
Result<std::shared_ptr<const CrlData>> parseShared(der::Bytes der) {
  return shared<CrlData>({.objects = 50, .bytes = 64 * kKilobyte}).parse(der);
}

}  // namespace qx
