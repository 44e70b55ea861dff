#ifndef QX_PROVIDER_STORE_CERTIFICATE_CONTEXT_H_
#define QX_PROVIDER_STORE_CERTIFICATE_CONTEXT_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/cert.h"

#include "provider/handle.h"
#include "provider/store/certificate_data.h"
#include "provider/store/properties.h"
#include "provider/support/folders.h"

namespace qx {

class CertificateStore;

/// CertificateContext is what a PCCERT_CONTEXT points at: the published record first, behind it a
/// count of references, the shared data and the properties of this one context.
class CertificateContext : public CERT_CONTEXT, public Tagged<HandleTag::Certificate> {
 public:
  /// from gives the object behind a context, or null for NULL and for what is none of ours.
  static CertificateContext* from(PCCERT_CONTEXT context);

  /// createFree makes a context that belongs to no store, with one reference for the caller.
  static PCCERT_CONTEXT createFree(std::shared_ptr<const CertificateData> data);

  CertificateContext(const CertificateContext&) = delete;
  CertificateContext& operator=(const CertificateContext&) = delete;
  CertificateContext(CertificateContext&&) = delete;
  CertificateContext& operator=(CertificateContext&&) = delete;

  const CertificateData& data() const { return *data_; }

  const std::shared_ptr<const CertificateData>& sharedData() const { return data_; }

  /// Where the store lies that the context came from; nothing for memory stores and contexts that
  /// belong to no store. It says whose keys the certificate may use.
  std::optional<Location> location() const;

  /// The store it came from; null when it belongs to none.
  CertificateStore* store() const { return store_; }

  /// CERT_ACCESS_STATE_WRITE_PERSIST_FLAG when what happens to the certificate in its store reaches the
  /// disk, else 0.
  DWORD accessState() const;

  Properties& properties() { return properties_; }

  const Properties& properties() const { return properties_; }

  /// addReference and release count; the last release ends the object, unless its store keeps it for
  /// its properties' sake.
  void addReference() { references_.fetch_add(1, std::memory_order_relaxed); }

  void release();

 private:
  friend class CertificateStore;

  CertificateContext(std::shared_ptr<const CertificateData> data,
                     CertificateStore* store,
                     std::int64_t order);
  ~CertificateContext() = default;

  std::shared_ptr<const CertificateData> data_;
  CertificateStore* store_;  // null: belongs to no store
  std::int64_t order_;       // in the store
  std::atomic<std::size_t> references_ = 1;
  Properties properties_;
};

/// ContextReference owns one reference.
struct ReleaseContext {
  void operator()(CertificateContext* context) const { context->release(); }
};

using ContextReference = std::unique_ptr<CertificateContext, ReleaseContext>;

}  // namespace qx

#endif
