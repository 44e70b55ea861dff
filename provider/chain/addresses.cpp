#include "provider/chain/addresses.h"

#include <strings.h>

#include <openssl/x509v3.h>

#include "provider/openssl/owned.h"

namespace qx {
namespace {

bool beginsWith(const std::string& text, const char* scheme) {
  return strncasecmp(text.c_str(), scheme, std::string_view(scheme).size()) == 0;
}

void addUri(const GENERAL_NAME& name, std::vector<std::string>& into) {
  if (name.type != GEN_URI || into.size() >= kMaxAddresses) {
    return;
  }
  const ASN1_IA5STRING* uri = name.d.uniformResourceIdentifier;
  std::string text(reinterpret_cast<const char*>(ASN1_STRING_get0_data(uri)),
                   static_cast<std::size_t>(ASN1_STRING_length(uri)));
  if (beginsWith(text, "http://") || beginsWith(text, "https://")) {
    into.push_back(std::move(text));
  }
}

std::vector<std::string> accessAddresses(const CertificateData& certificate, int method) {
  const InformationAccessPtr access(static_cast<AUTHORITY_INFO_ACCESS*>(
      X509_get_ext_d2i(certificate.x509(), NID_info_access, nullptr, nullptr)));
  std::vector<std::string> addresses;
  for (int i = 0; i < sk_ACCESS_DESCRIPTION_num(access.get()); ++i) {
    const ACCESS_DESCRIPTION* description = sk_ACCESS_DESCRIPTION_value(access.get(), i);
    if (OBJ_obj2nid(description->method) == method) {
      addUri(*description->location, addresses);
    }
  }
  return addresses;
}

}  // namespace

std::vector<std::string> responderAddresses(const CertificateData& certificate) {
  return accessAddresses(certificate, NID_ad_OCSP);
}

std::vector<std::string> issuerAddresses(const CertificateData& certificate) {
  return accessAddresses(certificate, NID_ad_ca_issuers);
}

std::vector<std::string> crlAddresses(const CertificateData& certificate) {
  constexpr int kFullName = 0;
  const DistributionPointsPtr points(static_cast<CRL_DIST_POINTS*>(
      X509_get_ext_d2i(certificate.x509(), NID_crl_distribution_points, nullptr, nullptr)));
  std::vector<std::string> addresses;
  for (int i = 0; i < sk_DIST_POINT_num(points.get()); ++i) {
    const DIST_POINT* point = sk_DIST_POINT_value(points.get(), i);
    const bool isUsed = point->CRLissuer == nullptr && point->reasons == nullptr &&
                        point->distpoint != nullptr && point->distpoint->type == kFullName;
    const GENERAL_NAMES* names = isUsed ? point->distpoint->name.fullname : nullptr;
    for (int j = 0; j < sk_GENERAL_NAME_num(names); ++j) {
      addUri(*sk_GENERAL_NAME_value(names, j), addresses);
    }
  }
  return addresses;
}

}  // namespace qx
