#include "provider/cades/material.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "provider/cades/oids.h"
#include "provider/cades/values.h"

namespace qx {

namespace {

std::vector<der::Bytes> encodingsIn(const CertificateSet& set) {
  std::vector<der::Bytes> encodings;
  encodings.reserve(set.size());
  for (std::size_t i = 0; i < set.size(); ++i) {
    encodings.push_back(*set.at(i));
  }
  return encodings;
}

}  // namespace

std::vector<CertificatePtr> certificatesOf(const CertificateSet& set) {
  return readable<CertificateData>(encodingsIn(set));
}

std::vector<CrlPtr> crlsOf(const CertificateSet& set) {
  return readable<CrlData>(encodingsIn(set));
}

std::vector<CertificatePtr> carriedCertificates(const SignerInfo& signer) {
  std::vector<CertificatePtr> certificates;
  for (const Attribute& attribute : signer.unsignedAttributes()) {
    if (attribute.oid != oids::kCertificateValues) {
      continue;
    }
    if (const Result<std::vector<der::Bytes>> values = readCertificateValues(attribute)) {
      std::ranges::move(readable<CertificateData>(*values), std::back_inserter(certificates));
    }
  }
  return certificates;
}

}  // namespace qx
