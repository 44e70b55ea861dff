#include "provider/message/known_certificate.h"

#include <algorithm>

#include "platform/cert.h"

#include "provider/store/computed_value.h"
#include "provider/store/folder_store.h"

namespace qx {
namespace {

std::shared_ptr<const CertificateData> findIn(Location location,
                                              std::string_view name,
                                              const SignerId& id) {
  const auto store = snapshot(location, name);
  if (!store) {
    return nullptr;
  }
  const auto& certificates = (*store)->certificates();
  const auto found = std::ranges::find_if(
      certificates, [&id](const StoredCertificate& stored) { return isNamedBy(*stored.data, id); });
  return found == certificates.end() ? nullptr : found->data;
}

}  // namespace

bool isNamedBy(const CertificateData& certificate, const SignerId& id) {
  if (!id.isKeyId()) {
    return namesSigner(certificate.info(), id);
  }
  const auto value = computedValue(certificate, CERT_KEY_IDENTIFIER_PROP_ID);
  return value && std::ranges::equal(*value, id.keyId);
}

std::shared_ptr<const CertificateData> knownCertificate(
    const SignerId& id, std::initializer_list<std::string_view> stores) {
  for (const std::string_view name : stores) {
    for (const Location location : {Location::CurrentUser, Location::LocalMachine}) {
      if (auto found = findIn(location, name, id); found != nullptr) {
        return found;
      }
    }
  }
  return nullptr;
}

}  // namespace qx
