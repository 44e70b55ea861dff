#include "provider/message/recipient_certificate.h"

#include <algorithm>

#include "platform/cert.h"

#include "provider/store/computed_value.h"
#include "provider/store/folder_store.h"

namespace qx {
namespace {

bool hasKeyId(const CertificateData& certificate, der::Bytes keyId) {
  const auto value = computedValue(certificate, CERT_KEY_IDENTIFIER_PROP_ID);
  return value && std::ranges::equal(*value, keyId);
}

}  // namespace

std::shared_ptr<const CertificateData> certificateByKeyId(der::Bytes keyId) {
  for (const Location location : {Location::CurrentUser, Location::LocalMachine}) {
    const auto store = snapshot(location, "My");
    if (!store) {
      continue;
    }
    for (const StoredCertificate& stored : (*store)->certificates()) {
      if (hasKeyId(*stored.data, keyId)) {
        return stored.data;
      }
    }
  }
  return nullptr;
}

}  // namespace qx
