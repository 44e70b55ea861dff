#ifndef QX_TESTS_PROVIDER_CHAIN_LAB_DATA_H_
#define QX_TESTS_PROVIDER_CHAIN_LAB_DATA_H_

// What a lab made, as the provider reads it. An exception stops the test when it cannot be read.

#include <stdexcept>
#include <utility>

#include "provider/chain/ocsp_data.h"
#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "tools/lab/pki.h"

namespace qx::test {

/// read gives what was parsed.
template <class Data>
Data read(Result<Data> parsed) {
  if (!parsed) {
    throw std::runtime_error("what the lab made cannot be parsed");
  }
  return *std::move(parsed);
}

inline CertificatePtr dataOf(const X509* certificate) {
  return read(CertificateData::parse(lab::toDer(certificate)));
}

inline CrlPtr dataOf(const X509_CRL* crl) {
  return read(CrlData::parse(lab::toDer(crl)));
}

inline OcspPtr answerOf(const lab::Bytes& der) {
  return read(OcspData::parse(der));
}

}  // namespace qx::test

#endif
