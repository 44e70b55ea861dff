#include "provider/chain/online_revocation.h"

#include "provider/chain/addresses.h"
#include "provider/chain/ocsp_request.h"
#include "provider/chain/revocation.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

bool isEmpty(const RevocationData& data) {
  return data.crls.empty() && data.ocsp.empty();
}

}  // namespace

bool OnlineRevocation::decides(const RevocationData& data,
                               const CertificateData& subject,
                               const CertificateData& issuer) const {
  return isStatusKnown(subject, issuer, data, std::time(nullptr), freshness_);
}

RevocationData OnlineRevocation::cached(const CertificateData& subject,
                                        const CertificateData& issuer) const {
  OcspPtr answer = cache_.answerAbout(subject);
  if (answer == nullptr) {
    return {};
  }
  const RevocationData data{.crls = {}, .ocsp = {std::move(answer)}};
  if (!isStatusKnown(subject, issuer, data, std::time(nullptr))) {
    cache_.forget(subject);
    return {};
  }
  // What is too old for this caller may be fresh enough for the next.
  return decides(data, subject, issuer) ? data : RevocationData();
}

RevocationData OnlineRevocation::askResponder(const std::string& address,
                                              const CertificateData& subject,
                                              const CertificateData& issuer) {
  const Result<OcspQuery> query = OcspQuery::about(subject, issuer);
  if (!query) {
    return {};
  }
  const Result<std::vector<std::uint8_t>> body =
      network_->ask({.url = address,
                     .contentType = "application/ocsp-request",
                     .accept = "application/ocsp-response",
                     .body = query->der()},
                    OcspData::kMaxSize);
  const Result<OcspPtr> answer = body ? OcspData::parse(*body) : body.failure();
  if (!answer) {
    return {};
  }
  RevocationData data{.crls = {}, .ocsp = {*answer}};
  if (!query->isAnsweredBy(**answer) || !decides(data, subject, issuer)) {
    QX_TRACE("revocation: a responder's answer does not tell the status");
    return {};
  }
  cache_.keep(subject, **answer);
  return data;
}

RevocationData OnlineRevocation::fetchCrl(const std::string& address,
                                          const CertificateData& subject,
                                          const CertificateData& issuer) {
  const Result<std::vector<std::uint8_t>> der = network_->fetch(FileKind::Crl, address);
  const Result<CrlPtr> crl = der ? CrlData::parse(*der) : der.failure();
  if (!crl) {
    return {};
  }
  RevocationData data{.crls = {*crl}, .ocsp = {}};
  if (!decides(data, subject, issuer)) {
    QX_TRACE("revocation: a fetched CRL does not tell the status");
    return {};
  }
  cache_.keep(address, **crl);
  return data;
}

RevocationData OnlineRevocation::dataFor(const CertificateData& subject,
                                         const CertificateData& issuer) {
  RevocationData data = cached(subject, issuer);
  if (!isEmpty(data) || network_ == nullptr) {
    return data;
  }
  for (const std::string& address : responderAddresses(subject)) {
    if (data = askResponder(address, subject, issuer); !isEmpty(data)) {
      return data;
    }
  }
  for (const std::string& address : crlAddresses(subject)) {
    if (data = fetchCrl(address, subject, issuer); !isEmpty(data)) {
      return data;
    }
  }
  return {};
}

}  // namespace qx
