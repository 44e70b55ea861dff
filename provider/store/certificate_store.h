#ifndef QX_PROVIDER_STORE_CERTIFICATE_STORE_H_
#define QX_PROVIDER_STORE_CERTIFICATE_STORE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "platform/cert_store.h"

#include "provider/handle.h"
#include "provider/result.h"
#include "provider/store/certificate_context.h"
#include "provider/store/store_name.h"
#include "provider/store/store_search.h"
#include "provider/store/store_snapshot.h"
#include "provider/support/fork.h"

namespace qx {

/// CertificateStore is one open of a store, what an HCERTSTORE points at. A system store shows the
/// snapshot of its folder as it was when it was opened, and before it, newest first, what was added by
/// this handle since; a memory store shows only the latter. Each certificate has at most one context
/// at a time, made when somebody asks for it and kept while it is out or has properties.
///
/// The object lives until the handle is closed and the last context is freed. Safe from several
/// threads.
class CertificateStore : public Tagged<HandleTag::Store> {
 public:
  /// from gives the store behind a handle, also a closed one whose contexts are still out.
  static CertificateStore* from(HCERTSTORE handle);

  /// The store that contexts without a store point at: empty, never closed.
  static CertificateStore& none();

  /// isNone tells that store: the only one without a name that cannot be written.
  bool isNone() const { return !name_ && readOnly_; }

  /// A new, empty store in memory.
  static CertificateStore* openMemory(DWORD flags);

  /// A system store as it is now.
  static CertificateStore* openSystem(StoreName name,
                                      std::shared_ptr<const StoreSnapshot> snapshot,
                                      DWORD flags);

  CertificateStore(const CertificateStore&) = delete;
  CertificateStore& operator=(const CertificateStore&) = delete;
  CertificateStore(CertificateStore&&) = delete;
  CertificateStore& operator=(CertificateStore&&) = delete;

  /// close ends the handle; ERROR_INVALID_HANDLE when it was closed before. The answer: whether
  /// contexts are still out.
  Result<bool> close();

  /// next gives a reference to the first certificate behind `previous` (null: at all) that the search
  /// is for, or CRYPT_E_NOT_FOUND. E_INVALIDARG when `previous` is of another store.
  Result<PCCERT_CONTEXT> next(const StoreSearch& search, const CertificateContext* previous);

  /// add puts a certificate in, in the way that the disposition says, and gives a reference to what
  /// stands there now.
  Result<PCCERT_CONTEXT> add(std::shared_ptr<const CertificateData> data, DWORD disposition);

  /// remove takes a context's certificate out; one that is out already is success.
  Result<void> remove(CertificateContext& context);

  /// Everything in the store, in its order: for building chains.
  std::vector<std::shared_ptr<const CertificateData>> certificates();

  /// Where a system store lies.
  std::optional<Location> location() const;

  /// Whether additions and deletions reach the disk.
  bool isPersistent() const { return name_ && !readOnly_; }

 private:
  friend class CertificateContext;

  /// Entries are walked in ascending order: additions count down from -1, the snapshot's positions up
  /// from 0.
  using Order = std::int64_t;
  static constexpr Order kStart = std::numeric_limits<Order>::min();

  CertificateStore(std::optional<StoreName> name,
                   std::shared_ptr<const StoreSnapshot> snapshot,
                   DWORD flags,
                   bool readOnly);
  ~CertificateStore() = default;

  /// One entry on the way through the store; no data: the end.
  struct Step {
    Order order = 0;
    std::shared_ptr<const CertificateData> data;
    ContextReference context;  // if there is one
  };

  void release(CertificateContext& context);
  void dropReferences(std::size_t count);

  Step stepBehind(Order order, const StoreSearch& search);
  bool matches(const Step& step, const StoreSearch& search) const;
  CertificateContext* take(Order order);
  CertificateContext* takeByThumbprint(const Thumbprint& sha1);
  CertificateContext* putIn(StoredCertificate addition, const CertificateContext* instead);
  Result<void> removeFile(const StoreName& name, Order order);

  // These are called with the lock held.
  bool isThere(Order order) const;
  const StoredCertificate& storedAt(Order order) const;
  std::optional<Order> orderBehind(Order order, const StoreSearch& search) const;
  std::optional<Order> positionFrom(Order position, const StoreSearch& search) const;
  std::optional<Order> orderOf(const Thumbprint& sha1) const;
  CertificateContext* contextAt(Order order);
  CertificateContext* makeContext(std::shared_ptr<const CertificateData> data, Order order);
  void takeOut(Order order);

  const std::optional<StoreName> name_;
  const std::shared_ptr<const StoreSnapshot> snapshot_;
  const DWORD flags_;
  const bool readOnly_;
  std::atomic<std::size_t> references_ = 1;  // the handle and the contexts

  mutable ForkSafeMutex mutex_;
  bool closed_ = false;
  Order lastAddition_ = 0;
  std::map<Order, StoredCertificate> additions_;
  std::set<Order> removed_;  // positions of the snapshot
  std::unordered_map<Order, CertificateContext*> contexts_;
};

}  // namespace qx

#endif
