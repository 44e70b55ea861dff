#include "provider/store/certificate_store.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "provider/store/store_files.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

std::shared_ptr<const StoreSnapshot> emptySnapshot() {
  return std::make_shared<const StoreSnapshot>(std::vector<StoredCertificate>{},
                                               std::vector<StoredCrl>{});
}

// Which properties a certificate has of which nobody asked for a context.
const Properties& noProperties() {
  static const Properties none;
  return none;
}

// A newer certificate is never found: certificates are the same when all their bytes are.
bool refusesExisting(DWORD disposition) {
  return disposition == CERT_STORE_ADD_NEW || disposition == CERT_STORE_ADD_NEWER ||
         disposition == CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES;
}

IfPresent ifPresentFor(DWORD disposition) {
  if (disposition == CERT_STORE_ADD_ALWAYS) {
    return IfPresent::AddAnother;
  }
  return refusesExisting(disposition) ? IfPresent::Refuse : IfPresent::Keep;
}

}  // namespace

CertificateStore* CertificateStore::from(HCERTSTORE handle) {
  return fromHandle<CertificateStore>(handle);
}

// Contexts point at it until the library goes.
CertificateStore& CertificateStore::none() {
  static CertificateStore* const store = [] {
    auto* made = new CertificateStore(std::nullopt, emptySnapshot(), 0, true);
    endAtUnload(made, [](void* kept) { delete static_cast<CertificateStore*>(kept); });
    return made;
  }();
  return *store;
}

// A memory store is written whatever its flags say.
CertificateStore* CertificateStore::openMemory(DWORD flags) {
  return new CertificateStore(std::nullopt, emptySnapshot(), flags, false);
}

CertificateStore* CertificateStore::openSystem(StoreName name,
                                               std::shared_ptr<const StoreSnapshot> snapshot,
                                               DWORD flags) {
  const bool readOnly = (flags & CERT_STORE_READONLY_FLAG) != 0;
  return new CertificateStore(std::move(name), std::move(snapshot), flags, readOnly);
}

CertificateStore::CertificateStore(std::optional<StoreName> name,
                                   std::shared_ptr<const StoreSnapshot> snapshot,
                                   DWORD flags,
                                   bool readOnly)
    : name_(std::move(name)), snapshot_(std::move(snapshot)), flags_(flags), readOnly_(readOnly) {}

// Nothing is allocated here: who closes has no second try.
Result<bool> CertificateStore::close() {
  std::size_t idle = 0;
  bool contextsOut = false;
  {
    const std::scoped_lock lock(mutex_);
    if (closed_) {
      return fail(ERROR_INVALID_HANDLE);
    }
    closed_ = true;
    idle = std::erase_if(contexts_, [](const auto& item) {
      const bool back = item.second->references_ == 0;
      if (back) {
        delete item.second;
      }
      return back;
    });
    contextsOut = !contexts_.empty();
  }
  dropReferences(idle + 1);
  return contextsOut;
}

void CertificateStore::dropReferences(std::size_t count) {
  if (references_.fetch_sub(count, std::memory_order_acq_rel) == count) {
    delete this;
  }
}

// The last reference goes under the lock, so that nobody finds a context that is about to end.
void CertificateStore::release(CertificateContext& context) {
  {
    const std::scoped_lock lock(mutex_);
    if (context.references_.fetch_sub(1, std::memory_order_acq_rel) != 1) {
      return;
    }
    const auto known = contexts_.find(context.order_);
    if (known != contexts_.end() && known->second == &context) {
      if (!closed_ && !context.properties().untouched()) {
        return;
      }
      contexts_.erase(known);
    }
  }
  delete &context;
  dropReferences(1);
}

Result<PCCERT_CONTEXT> CertificateStore::next(const StoreSearch& search,
                                              const CertificateContext* previous) {
  if (previous != nullptr && previous->store_ != this) {
    return fail(E_INVALIDARG);
  }
  Order order = previous == nullptr ? kStart : previous->order_;
  for (;;) {
    const Step step = stepBehind(order, search);
    if (step.data == nullptr) {
      return fail(CRYPT_E_NOT_FOUND);
    }
    order = step.order;
    if (!matches(step, search)) {
      continue;
    }
    // Null: somebody deleted it just now.
    if (CertificateContext* context = take(step.order); context != nullptr) {
      return context;
    }
  }
}

CertificateStore::Step CertificateStore::stepBehind(Order order, const StoreSearch& search) {
  const std::scoped_lock lock(mutex_);
  const std::optional<Order> next = orderBehind(order, search);
  if (!next) {
    return {};
  }
  const auto known = contexts_.find(*next);
  if (known != contexts_.end()) {
    known->second->addReference();
  }
  return {.order = *next,
          .data = storedAt(*next).data,
          .context = ContextReference(known == contexts_.end() ? nullptr : known->second)};
}

// A search may render names and look for key files; the store is not locked meanwhile.
bool CertificateStore::matches(const Step& step, const StoreSearch& search) const {
  const Properties& properties =
      step.context == nullptr ? noProperties() : step.context->properties();
  const bool hidden = search.isForAll() && (flags_ & CERT_STORE_ENUM_ARCHIVED_FLAG) == 0 &&
                      properties.has(CERT_ARCHIVED_PROP_ID);
  return !hidden &&
         search.matches(
             {.data = step.data.get(), .properties = &properties, .location = location()});
}

CertificateContext* CertificateStore::take(Order order) {
  const std::scoped_lock lock(mutex_);
  return isThere(order) ? contextAt(order) : nullptr;
}

CertificateContext* CertificateStore::contextAt(Order order) {
  const auto known = contexts_.find(order);
  if (known == contexts_.end()) {
    return makeContext(storedAt(order).data, order);
  }
  known->second->addReference();
  return known->second;
}

CertificateContext* CertificateStore::makeContext(std::shared_ptr<const CertificateData> data,
                                                  Order order) {
  const auto destroy = [](CertificateContext* context) { delete context; };
  std::unique_ptr<CertificateContext, decltype(destroy)> fresh(
      new CertificateContext(std::move(data), this, order));
  contexts_.emplace(order, fresh.get());
  references_.fetch_add(1, std::memory_order_relaxed);
  return fresh.release();
}

Result<PCCERT_CONTEXT> CertificateStore::add(std::shared_ptr<const CertificateData> data,
                                             DWORD disposition) {
  if (readOnly_) {
    return fail(E_ACCESSDENIED);
  }
  ContextReference before;
  if (disposition != CERT_STORE_ADD_ALWAYS) {
    before = ContextReference(takeByThumbprint(data->sha1()));
  }
  if (before != nullptr && refusesExisting(disposition)) {
    return fail(CRYPT_E_EXISTS);
  }
  if (before != nullptr && disposition == CERT_STORE_ADD_USE_EXISTING) {
    return before.release();
  }
  StoredCertificate addition{
      .data = std::move(data), .location = location().value_or(Location{}), .fileName = {}};
  if (name_) {
    Result<std::string> fileName =
        addCertificateFile(*name_, *addition.data, ifPresentFor(disposition));
    if (!fileName) {
      return fileName.failure();
    }
    addition.fileName = *std::move(fileName);
  }
  CertificateContext* context = putIn(std::move(addition), before.get());
  if (before != nullptr && disposition == CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES) {
    context->properties().inherit(before->properties());
  }
  return context;
}

CertificateContext* CertificateStore::takeByThumbprint(const Thumbprint& sha1) {
  const std::scoped_lock lock(mutex_);
  const std::optional<Order> order = orderOf(sha1);
  return order ? contextAt(*order) : nullptr;
}

CertificateContext* CertificateStore::putIn(StoredCertificate addition,
                                            const CertificateContext* instead) {
  const std::scoped_lock lock(mutex_);
  const Order order = --lastAddition_;  // never used again: contexts outlive their entries
  std::map<Order, StoredCertificate> entry;
  entry.emplace(order, std::move(addition));
  CertificateContext* context = makeContext(entry.at(order).data, order);
  additions_.merge(entry);  // cannot fail: nothing is allocated any more
  if (instead != nullptr) {
    takeOut(instead->order_);
  }
  return context;
}

Result<void> CertificateStore::remove(CertificateContext& context) {
  if (readOnly_) {
    return fail(E_ACCESSDENIED);
  }
  if (name_) {
    if (const Result<void> removed = removeFile(*name_, context.order_); !removed) {
      return removed;
    }
  }
  const std::scoped_lock lock(mutex_);
  takeOut(context.order_);
  return {};
}

// What is another store's is removed from that store.
Result<void> CertificateStore::removeFile(const StoreName& name, Order order) {
  StoredCertificate stored;
  {
    const std::scoped_lock lock(mutex_);
    if (!isThere(order)) {
      return {};
    }
    stored = storedAt(order);
  }
  for (const StoreName& source : name.sources()) {
    if (source.location() == stored.location) {
      return removeCertificateFile(source, stored.fileName, stored.data->sha1());
    }
  }
  return {};
}

std::vector<std::shared_ptr<const CertificateData>> CertificateStore::certificates() {
  std::vector<std::shared_ptr<const CertificateData>> all;
  const StoreSearch everything = StoreSearch::all();
  const std::scoped_lock lock(mutex_);
  for (std::optional<Order> order = orderBehind(kStart, everything); order;
       order = orderBehind(*order, everything)) {
    all.push_back(storedAt(*order).data);
  }
  return all;
}

std::optional<Location> CertificateStore::location() const {
  return name_ ? std::optional(name_->location()) : std::nullopt;
}

bool CertificateStore::isThere(Order order) const {
  return order < 0 ? additions_.contains(order) : !removed_.contains(order);
}

const StoredCertificate& CertificateStore::storedAt(Order order) const {
  return order < 0 ? additions_.at(order)
                   : snapshot_->certificates()[static_cast<std::size_t>(order)];
}

std::optional<CertificateStore::Order> CertificateStore::orderBehind(
    Order order, const StoreSearch& search) const {
  const auto addition = additions_.upper_bound(order);
  if (addition != additions_.end()) {
    return addition->first;
  }
  return positionFrom(order < 0 ? 0 : order + 1, search);
}

// The first position of the snapshot from this one on that is worth looking at.
std::optional<CertificateStore::Order> CertificateStore::positionFrom(
    Order position, const StoreSearch& search) const {
  if (const std::optional<Thumbprint>& wanted = search.thumbprint()) {
    for (const std::size_t found : snapshot_->find(*wanted)) {
      const auto order = static_cast<Order>(found);
      if (order >= position && isThere(order)) {
        return order;
      }
    }
    return std::nullopt;
  }
  const auto end = static_cast<Order>(snapshot_->certificates().size());
  while (position < end && !isThere(position)) {
    ++position;
  }
  return position < end ? std::optional(position) : std::nullopt;
}

std::optional<CertificateStore::Order> CertificateStore::orderOf(const Thumbprint& sha1) const {
  const auto found = std::ranges::find_if(
      additions_, [&](const auto& item) { return item.second.data->sha1() == sha1; });
  return found != additions_.end() ? std::optional(found->first)
                                   : positionFrom(0, StoreSearch::byThumbprint(sha1));
}

// A context of it that is out lives on, and ends with its last reference.
void CertificateStore::takeOut(Order order) {
  if (order < 0) {
    additions_.erase(order);
  } else {
    removed_.insert(order);
  }
  contexts_.erase(order);
}

}  // namespace qx
