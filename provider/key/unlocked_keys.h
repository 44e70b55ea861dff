#ifndef QX_PROVIDER_KEY_UNLOCKED_KEYS_H_
#define QX_PROVIDER_KEY_UNLOCKED_KEYS_H_

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>

#include "provider/key/private_key.h"
#include "provider/support/fork.h"
#include "provider/support/wipe.h"

namespace qx {

/// UnlockedKeys remembers opened keys, each beside a keyed digest of its PIN, so that the costly
/// derivation is done once. It answers to the very PIN that opened the key and to no other. Safe from
/// several threads. After fork() the child begins with an empty one.
class UnlockedKeys {
 public:
  using Time = std::chrono::nanoseconds;

  /// When an entry leaves: after `unused` without a use, and `most` after it came. 0 keeps nothing.
  struct Limits {
    std::chrono::seconds unused;
    std::chrono::seconds most;
  };

  /// `clock` gives a time that never goes back and goes on while the machine sleeps.
  UnlockedKeys(Limits limits, Time (*clock)());
  ~UnlockedKeys() = default;
  UnlockedKeys(const UnlockedKeys&) = delete;
  UnlockedKeys& operator=(const UnlockedKeys&) = delete;
  UnlockedKeys(UnlockedKeys&&) = delete;
  UnlockedKeys& operator=(UnlockedKeys&&) = delete;

  /// find gives the key of a file (KeyFile::serial) if this PIN opened it before, else null.
  std::shared_ptr<const PrivateKey> find(std::uint64_t file, std::string_view pin);

  /// add remembers a key that `pin` opened, in the place of an earlier entry of the file.
  void add(std::uint64_t file, std::string_view pin, std::shared_ptr<const PrivateKey> key);

  /// forget drops the entry of a file that changed or went.
  void forget(std::uint64_t file);

  /// size counts the entries, those that are due to leave excluded.
  std::size_t size();

 private:
  static constexpr std::size_t kDigestLength = 32;
  using Digest = std::array<std::uint8_t, kDigestLength>;

  struct Entry {
    Digest pin;
    std::shared_ptr<const PrivateKey> key;
    Time added;
    Time used;
  };

  struct Moment {
    Time time;
    unsigned generation;
  };

  Moment moment() const;
  bool isDue(const Entry& entry, Time now) const;
  void prepare(Moment now);
  Digest digestOf(std::uint64_t file, std::string_view pin) const;

  Limits limits_;
  Time (*clock_)();
  ForkSafeMutex mutex_;
  std::map<std::uint64_t, Entry> entries_;
  SecretBytes digestKey_;
  unsigned generation_ = 0;
  Time nextSweep_{};
};

}  // namespace qx

#endif
