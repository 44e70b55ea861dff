#include "provider/store/store_snapshot.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <tuple>
#include <utility>

namespace qx {
namespace {

std::uint64_t nextStamp() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

std::uint64_t ticksOf(const FILETIME& time) {
  return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

bool comesBefore(const StoredCertificate& left, const StoredCertificate& right) {
  const std::uint64_t leftTime = ticksOf(left.data->info().NotBefore);
  const std::uint64_t rightTime = ticksOf(right.data->info().NotBefore);
  return std::tie(rightTime, left.fileName, left.location) <
         std::tie(leftTime, right.fileName, right.location);
}

std::uint64_t prefixOf(const Thumbprint& sha1) {
  std::uint64_t prefix = 0;
  std::memcpy(&prefix, sha1.data(), sizeof prefix);
  return prefix;
}

}  // namespace

StoreSnapshot::StoreSnapshot(std::vector<StoredCertificate> certificates,
                             std::vector<StoredCrl> crls)
    : certificates_(std::move(certificates)), crls_(std::move(crls)), stamp_(nextStamp()) {
  std::ranges::sort(certificates_, comesBefore);
  index_.reserve(certificates_.size());
  for (const StoredCertificate& certificate : certificates_) {
    index_.push_back({.prefix = prefixOf(certificate.data->sha1()), .position = index_.size()});
  }
  std::ranges::sort(index_, [](const IndexEntry& left, const IndexEntry& right) {
    return std::tie(left.prefix, left.position) < std::tie(right.prefix, right.position);
  });
}

std::vector<std::size_t> StoreSnapshot::find(const Thumbprint& sha1) const {
  std::vector<std::size_t> positions;
  for (const IndexEntry& entry :
       std::ranges::equal_range(index_, prefixOf(sha1), {}, &IndexEntry::prefix)) {
    if (certificates_[entry.position].data->sha1() == sha1) {
      positions.push_back(entry.position);
    }
  }
  return positions;
}

}  // namespace qx
