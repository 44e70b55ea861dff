#include "provider/cades/material.h"

#include "provider/cades/oids.h"
#include "provider/cades/values.h"

namespace qx {

std::vector<CertificatePtr> certificatesOf(const CertificateSet& set) {
  std::vector<CertificatePtr> certificates;
  for (std::size_t i = 0; i < set.size(); ++i) {
    if (const auto certificate = CertificateData::parse(*set.at(i))) {
      certificates.push_back(*certificate);
    }
  }
  return certificates;
}

std::vector<CrlPtr> crlsOf(const CertificateSet& set) {
  std::vector<CrlPtr> crls;
  for (std::size_t i = 0; i < set.size(); ++i) {
    if (const auto crl = CrlData::parse(*set.at(i))) {
      crls.push_back(*crl);
    }
  }
  return crls;
}

std::vector<CertificatePtr> carriedCertificates(const SignerInfo& signer) {
  std::vector<CertificatePtr> certificates;
  for (const Attribute& attribute : signer.unsignedAttributes()) {
    if (attribute.oid != oids::kCertificateValues) {
      continue;
    }
    const Result<std::vector<der::Bytes>> values = readCertificateValues(attribute);
    for (const der::Bytes value : values ? *values : std::vector<der::Bytes>{}) {
      if (const auto certificate = CertificateData::parse(value)) {
        certificates.push_back(*certificate);
      }
    }
  }
  return certificates;
}

}  // namespace qx
