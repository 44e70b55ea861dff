#ifndef QX_PROVIDER_SUPPORT_KEPT_LATELY_H_
#define QX_PROVIDER_SUPPORT_KEPT_LATELY_H_

#include <cstddef>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "provider/support/fork.h"

namespace qx {

/// KeptLately remembers values by their keys: as many as it may, then the oldest makes room for the next.
/// Safe from several threads and over fork. Values are copied in and out: shared pointers, or small.
template <class Key, class Value>
class KeptLately {
 public:
  explicit KeptLately(std::size_t capacity) : capacity_(capacity) {}

  std::optional<Value> find(const Key& key) {
    const std::scoped_lock lock(mutex_);
    const auto found = entries_.find(key);
    return found == entries_.end() ? std::nullopt : std::optional(found->second);
  }

  /// keep puts a value in the place of the one with this key, or in a new one. Throws std::bad_alloc; what
  /// was kept before stays then.
  void keep(const Key& key, Value value) {
    // What leaves ends outside of the lock: `value` carries the one that is replaced.
    typename std::map<Key, Value>::node_type oldest;
    const std::scoped_lock lock(mutex_);
    if (const auto found = entries_.find(key); found != entries_.end()) {
      std::swap(found->second, value);
      return;
    }
    // In this order a failing allocation leaves a key without a value, which goes its way, never a value
    // that would stay for good.
    oldestFirst_.push_back(key);
    entries_.emplace(key, std::move(value));
    if (oldestFirst_.size() > capacity_) {
      oldest = entries_.extract(oldestFirst_.front());
      oldestFirst_.pop_front();
    }
  }

  std::size_t size() {
    const std::scoped_lock lock(mutex_);
    return entries_.size();
  }

 private:
  std::size_t capacity_;
  ForkSafeMutex mutex_;
  std::map<Key, Value> entries_;
  std::deque<Key> oldestFirst_;
};

}  // namespace qx

#endif
