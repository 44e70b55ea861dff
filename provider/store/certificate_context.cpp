#include "provider/store/certificate_context.h"

#include <utility>

#include "provider/store/certificate_store.h"

namespace qx {
namespace {

// Published records point at what they show without const; nobody may write through them.
CERT_CONTEXT recordOf(const CertificateData& data, HCERTSTORE store) {
  return {.dwCertEncodingType = X509_ASN_ENCODING,
          // NOLINTNEXTLINE(*-const-cast): see above
          .pbCertEncoded = const_cast<BYTE*>(data.der().data()),
          .cbCertEncoded = static_cast<DWORD>(data.der().size()),
          // NOLINTNEXTLINE(*-const-cast): see above
          .pCertInfo = const_cast<CERT_INFO*>(&data.info()),
          .hCertStore = store};
}

}  // namespace

CertificateContext* CertificateContext::from(PCCERT_CONTEXT context) {
  // NOLINTNEXTLINE(*-const-cast): the record is published without rights to write, the object is ours
  return fromHandle<CertificateContext>(const_cast<CERT_CONTEXT*>(context));
}

PCCERT_CONTEXT CertificateContext::createFree(std::shared_ptr<const CertificateData> data) {
  return new CertificateContext(std::move(data), nullptr, 0);
}

CertificateContext::CertificateContext(std::shared_ptr<const CertificateData> data,
                                       CertificateStore* store,
                                       std::int64_t order)
    : CERT_CONTEXT(recordOf(*data, store != nullptr ? store : &CertificateStore::none())),
      data_(std::move(data)),
      store_(store),
      order_(order) {}

std::optional<Location> CertificateContext::location() const {
  return store_ == nullptr ? std::nullopt : store_->location();
}

DWORD CertificateContext::accessState() const {
  const bool persistent = store_ != nullptr && store_->isPersistent();
  return persistent ? CERT_ACCESS_STATE_WRITE_PERSIST_FLAG : 0;
}

void CertificateContext::release() {
  if (store_ != nullptr) {
    store_->release(*this);
  } else if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}

}  // namespace qx
