#include "qxsapssf/identity/identity.h"

#include <string>

#include "platform/cert_store.h"

#include "qxsapssf/identity/cert_id.h"
#include "qxsapssf/identity/cert_name.h"

namespace qx {

bool Identity::read(std::string_view text) {
  const std::string identity(text);
  const auto length = static_cast<std::int32_t>(identity.size());
  isThumbprint_ = isHexString(identity.c_str(), length);
  if (!isThumbprint_) {
    return parse_dn_string(identity.c_str(), length, wanted_) == 0;
  }
  if (!parse_CertHashID(identity.c_str(), length, thumbprintBytes_)) {
    return false;
  }
  thumbprint_ = {.cbData = static_cast<DWORD>(thumbprintBytes_.size()),
                 .pbData = thumbprintBytes_.data()};
  return true;
}

DWORD Identity::findType() const noexcept {
  return isThumbprint_ ? CERT_FIND_SHA1_HASH : CERT_FIND_ANY;
}

const void* Identity::findParameter() const noexcept {
  return isThumbprint_ ? &thumbprint_ : nullptr;
}

Identity::Match Identity::match(const CERT_INFO& certificate) const {
  if (isThumbprint_) {
    return Match::Matches;
  }
  const std::string text = certNameText(certificate.Subject, CERT_OID_NAME_STR);
  DnEntries candidate;
  if (parse_dn_string(text.data(), static_cast<std::int32_t>(text.size()), candidate) != 0) {
    return Match::Unreadable;
  }
  return is_equal_dns(wanted_, candidate) ? Match::Matches : Match::Differs;
}

}  // namespace qx
