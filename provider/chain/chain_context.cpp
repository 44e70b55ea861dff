#include "provider/chain/chain_context.h"

#include "provider/store/certificate_context.h"

namespace qx {
namespace {

DWORD revocationResult(DWORD errors) {
  if ((errors & CERT_TRUST_IS_REVOKED) != 0) {
    return CRYPT_E_REVOKED;
  }
  return (errors & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0 ? CRYPT_E_REVOCATION_OFFLINE
                                                              : ERROR_SUCCESS;
}

}  // namespace

ChainContext::ChainContext(PCCERT_CONTEXT end, const ChainVerdict& verdict, DWORD flags)
    : CERT_CHAIN_CONTEXT{}, elements_(verdict.elements.size()) {
  elementPointers_.reserve(elements_.size());
  for (std::size_t i = 0; i < elements_.size(); ++i) {
    elements_[i].certificate.reset(
        i == 0 ? CertDuplicateCertificateContext(end)
               : CertificateContext::createFree(verdict.elements[i].certificate));
    fill(i, verdict.elements[i]);
    elementPointers_.push_back(&elements_[i].record);
  }
  const CERT_TRUST_STATUS status{.dwErrorStatus = verdict.errors, .dwInfoStatus = verdict.info};
  chain_.cbSize = sizeof chain_;
  chain_.TrustStatus = status;
  chain_.cElement = static_cast<DWORD>(elements_.size());
  chain_.rgpElement = elementPointers_.data();
  cbSize = sizeof(CERT_CHAIN_CONTEXT);
  TrustStatus = status;
  cChain = 1;
  rgpChain = &chainPointer_;
  dwCreateFlags = flags;
}

void ChainContext::ContextRelease::operator()(PCCERT_CONTEXT context) const {
  CertificateContext::from(context)->release();
}

void ChainContext::fill(std::size_t i, const ChainElement& from) {
  auto& [certificate, record, revocation] = elements_[i];
  record.cbSize = sizeof record;
  record.pCertContext = certificate.get();
  record.TrustStatus = {.dwErrorStatus = from.errors, .dwInfoStatus = from.info};
  if (from.revocationChecked) {
    revocation.cbSize = sizeof revocation;
    revocation.dwRevocationResult = revocationResult(from.errors);
    record.pRevocationInfo = &revocation;
  }
}

ChainContext* ChainContext::from(PCCERT_CHAIN_CONTEXT chain) {
  // NOLINTNEXTLINE(*-const-cast, *-static-cast-downcast): the published type is a view of our object
  auto* object = static_cast<ChainContext*>(const_cast<CERT_CHAIN_CONTEXT*>(chain));
  return object != nullptr && object->isAlive() ? object : nullptr;
}

}  // namespace qx
