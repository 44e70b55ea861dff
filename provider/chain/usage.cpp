#include "provider/chain/usage.h"

#include <algorithm>
#include <ranges>
#include <string_view>

#include <openssl/x509v3.h>

#include "provider/chain/dotted.h"
#include "provider/openssl/owned.h"

namespace qx {
namespace {

constexpr std::string_view kAnyUsage = "2.5.29.37.0";
constexpr std::string_view kAnyPolicy = "2.5.29.32.0";

std::vector<std::string> usagesIn(const EXTENDED_KEY_USAGE* extension) {
  std::vector<std::string> usages;
  usages.reserve(static_cast<std::size_t>(std::max(0, sk_ASN1_OBJECT_num(extension))));
  for (int i = 0; i < sk_ASN1_OBJECT_num(extension); ++i) {
    usages.push_back(dotted(sk_ASN1_OBJECT_value(extension, i)));
  }
  return usages;
}

bool has(const std::vector<std::string>& usages, std::string_view oid) {
  return std::ranges::find(usages, oid) != usages.end();
}

/// Those of `usages` that a certificate allows.
std::vector<std::string> allowedBy(const CertificateData& certificate,
                                   const std::vector<std::string>& usages) {
  int presence = -1;  // also that of an extension that cannot be read
  const ExtendedKeyUsagePtr extension(static_cast<EXTENDED_KEY_USAGE*>(
      X509_get_ext_d2i(certificate.x509(), NID_ext_key_usage, &presence, nullptr)));
  if (presence == -1) {
    return usages;
  }
  const std::vector<std::string> listed = usagesIn(extension.get());
  if (has(listed, kAnyUsage)) {
    return usages;
  }
  std::vector<std::string> allowed;
  std::ranges::copy_if(usages, std::back_inserter(allowed), [&](const std::string& oid) {
    return has(listed, oid);
  });
  return allowed;
}

}  // namespace

void markUsage(const RequestedUsage& requested, std::vector<ChainElement>& elements) {
  if (requested.oids.empty()) {
    return;
  }
  std::vector<std::string> left = requested.oids;
  for (ChainElement& element : std::views::reverse(elements)) {
    std::vector<std::string> allowed = allowedBy(*element.certificate, left);
    const bool suffices = requested.any ? !allowed.empty() : allowed.size() == left.size();
    if (!suffices) {
      element.errors |= CERT_TRUST_IS_NOT_VALID_FOR_USAGE;
    } else {
      left = std::move(allowed);
    }
  }
}

bool allowsPolicies(const RequestedUsage& requested, const std::vector<std::string>& valid) {
  if (requested.oids.empty() || has(valid, kAnyPolicy)) {
    return true;
  }
  const auto isValid = [&](const std::string& oid) { return has(valid, oid); };
  return requested.any ? std::ranges::any_of(requested.oids, isValid)
                       : std::ranges::all_of(requested.oids, isValid);
}

}  // namespace qx
