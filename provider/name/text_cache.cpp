#include "provider/name/text_cache.h"

#include <array>
#include <functional>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "provider/support/fork.h"

namespace qx {
namespace {

using Text = std::shared_ptr<const std::wstring>;

// Together 16 MB: the subjects of ten thousand certificates in two forms.
constexpr std::size_t kShards = 8;
constexpr std::size_t kShardBytes = std::size_t{2} << 20U;
// A longer name is rendered each time rather than push the usual ones out.
constexpr std::size_t kMaxName = 1024;
constexpr std::size_t kEntryOverhead = 200;

struct Key {
  std::string name;
  DWORD stringType;
};

// What a search has in its hands: the same as a Key, without a copy.
struct KeyView {
  std::string_view name;
  DWORD stringType;
};

std::size_t hashOf(const KeyView& key) {
  return std::hash<std::string_view>()(key.name) ^ key.stringType;
}

struct KeyHash {
  using is_transparent = void;

  std::size_t operator()(const KeyView& key) const { return hashOf(key); }

  std::size_t operator()(const Key& key) const {
    return hashOf({.name = key.name, .stringType = key.stringType});
  }
};

struct KeyEqual {
  using is_transparent = void;

  template <class Left, class Right>
  bool operator()(const Left& left, const Right& right) const {
    return left.stringType == right.stringType && left.name == right.name;
  }
};

class Shard {
 public:
  Text find(const KeyView& key) {
    const std::scoped_lock lock(mutex_);
    const auto found = texts_.find(key);
    return found == texts_.end() ? nullptr : found->second;
  }

  void add(const KeyView& key, const Text& text) {
    const std::size_t cost = kEntryOverhead + key.name.size() + (text->size() * sizeof(wchar_t));
    const std::scoped_lock lock(mutex_);
    if (bytes_ + cost > kShardBytes) {
      texts_.clear();
      bytes_ = 0;
    }
    if (texts_.emplace(Key{.name = std::string(key.name), .stringType = key.stringType}, text)
            .second) {
      bytes_ += cost;
    }
  }

 private:
  ForkSafeMutex mutex_;
  std::unordered_map<Key, Text, KeyHash, KeyEqual> texts_;
  std::size_t bytes_ = 0;
};

Shard& shardOf(const KeyView& key) {
  static std::array<Shard, kShards> shards;
  return shards.at(hashOf(key) % kShards);
}

}  // namespace

Result<Text> cachedNameText(der::Bytes name, DWORD stringType) {
  const KeyView key{.name = {reinterpret_cast<const char*>(name.data()), name.size()},
                    .stringType = stringType};
  const bool cacheable = name.size() <= kMaxName;
  if (cacheable) {
    if (Text known = shardOf(key).find(key)) {
      return known;
    }
  }
  Result<std::wstring> text = nameText(name, stringType);
  if (!text) {
    return text.failure();
  }
  Text made = std::make_shared<const std::wstring>(*std::move(text));
  if (cacheable) {
    shardOf(key).add(key, made);
  }
  return made;
}

}  // namespace qx
