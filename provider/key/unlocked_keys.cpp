#include "provider/key/unlocked_keys.h"

#include <unistd.h>

#include <mutex>
#include <new>
#include <utility>

#include <nettle/hmac.h>
#include <openssl/crypto.h>

namespace qx {
namespace {

constexpr std::chrono::seconds kSweepInterval{1};

SecretBytes freshKey(std::size_t length) {
  SecretBytes key(length);
  if (getentropy(key.data(), key.size()) != 0) {
    throw std::bad_alloc();
  }
  return key;
}

}  // namespace

UnlockedKeys::UnlockedKeys(Limits limits, Time (*clock)())
    : limits_(limits),
      clock_(clock),
      digestKey_(freshKey(kDigestLength)),
      generation_(forkGeneration()) {}

std::shared_ptr<const PrivateKey> UnlockedKeys::find(std::uint64_t file, std::string_view pin) {
  const Moment now = moment();
  const std::scoped_lock lock(mutex_);
  prepare(now);
  const auto found = entries_.find(file);
  if (found == entries_.end()) {
    return nullptr;
  }
  Entry& entry = found->second;
  if (isDue(entry, now.time)) {
    entries_.erase(found);
    return nullptr;
  }
  const Digest digest = digestOf(file, pin);
  if (CRYPTO_memcmp(digest.data(), entry.pin.data(), digest.size()) != 0) {
    return nullptr;
  }
  entry.used = now.time;
  return entry.key;
}

void UnlockedKeys::add(std::uint64_t file,
                       std::string_view pin,
                       std::shared_ptr<const PrivateKey> key) {
  if (limits_.unused <= std::chrono::seconds::zero()) {
    return;
  }
  const Moment now = moment();
  const std::scoped_lock lock(mutex_);
  prepare(now);
  entries_.insert_or_assign(
      file,
      Entry{
          .pin = digestOf(file, pin), .key = std::move(key), .added = now.time, .used = now.time});
}

void UnlockedKeys::forget(std::uint64_t file) {
  const std::scoped_lock lock(mutex_);
  entries_.erase(file);
}

std::size_t UnlockedKeys::size() {
  const Moment now = moment();
  const std::scoped_lock lock(mutex_);
  nextSweep_ = {};
  prepare(now);
  return entries_.size();
}

bool UnlockedKeys::isDue(const Entry& entry, Time now) const {
  return now - entry.used >= limits_.unused || now - entry.added >= limits_.most;
}

/// Read before the lock is taken: a fork in another thread holds the generation's lock while it waits
/// for ours.
UnlockedKeys::Moment UnlockedKeys::moment() const {
  return {.time = clock_(), .generation = forkGeneration()};
}

/// Empties a child's cache, and drops what is due, about once a second.
void UnlockedKeys::prepare(Moment now) {
  if (now.generation != generation_) {
    entries_.clear();
    digestKey_ = freshKey(kDigestLength);
    generation_ = now.generation;
  }
  if (now.time < nextSweep_) {
    return;
  }
  std::erase_if(entries_, [&](const auto& item) { return isDue(item.second, now.time); });
  nextSweep_ = now.time + kSweepInterval;
}

UnlockedKeys::Digest UnlockedKeys::digestOf(std::uint64_t file, std::string_view pin) const {
  hmac_sha256_ctx context{};
  hmac_sha256_set_key(&context, digestKey_.size(), digestKey_.data());
  hmac_sha256_update(&context, sizeof file, reinterpret_cast<const std::uint8_t*>(&file));
  hmac_sha256_update(&context, pin.size(), reinterpret_cast<const std::uint8_t*>(pin.data()));
  Digest digest{};
  hmac_sha256_digest(&context, digest.size(), digest.data());
  wipe(&context, sizeof context);
  return digest;
}

}  // namespace qx
