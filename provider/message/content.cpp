#include "provider/message/content.h"

#include <algorithm>

#include "provider/support/fork_gate.h"

namespace qx {
namespace {

// Two headers of the longest kind that a size can need, and the identifier behind them.
constexpr std::size_t kPrefixSize = 32;

// Content may be large. A hash at work holds no lock.
void hashContent(Hasher& hasher, der::Bytes octets) {
  const ForkMayPass noLockIsHeld;
  hasher.update(octets);
}

}  // namespace

void MessageContent::setOctets(der::Bytes octets) {
  source_ = octets;
  note(octets);
  complete_ = true;
}

Result<void> MessageContent::setString(const der::Element& string) {
  const Result<void> read = der::visitOctets(string, [this](der::Bytes octets) { note(octets); });
  if (!read) {
    return read;
  }
  source_ = string;
  complete_ = true;
  return {};
}

Result<void> MessageContent::addPart(der::Bytes part,
                                     bool final,
                                     const std::vector<HashAlgorithm>& algorithms) {
  if (spoilt_) {
    return fail(NTE_BAD_HASH_STATE);
  }
  if (std::holds_alternative<std::monostate>(source_)) {
    if (final) {
      setOctets(part);
      return {};
    }
    InParts& parts = source_.emplace<InParts>();
    for (const HashAlgorithm algorithm : algorithms) {
      parts.try_emplace(algorithm, algorithm);
    }
  }
  note(part);
  for (auto& [algorithm, hasher] : std::get<InParts>(source_)) {
    hashContent(hasher, part);
    if (final) {
      hashes_[algorithm] = hasher.finish();
    }
  }
  complete_ = final;
  return {};
}

template <class Visitor>
void MessageContent::visit(const Visitor& visitor) const {
  if (const auto* octets = std::get_if<der::Bytes>(&source_)) {
    visitor(*octets);
  }
  if (const auto* string = std::get_if<der::Element>(&source_)) {
    (void)der::visitOctets(*string, visitor);  // read to its end before, by setString
  }
}

void MessageContent::writeTo(std::uint8_t* out) const {
  visit([&out](der::Bytes octets) { out = der::copyTo(out, octets); });
}

Result<HashValue> MessageContent::hash(HashAlgorithm algorithm) {
  if (!complete_) {
    spoilt_ = true;
    return fail(NTE_BAD_HASH_STATE);
  }
  if (const auto known = hashes_.find(algorithm); known != hashes_.end()) {
    return known->second;
  }
  if (std::holds_alternative<InParts>(source_)) {
    return fail(NTE_BAD_HASH_STATE);
  }
  Hasher hasher(algorithm);
  visit([&hasher](der::Bytes octets) { hashContent(hasher, octets); });
  return hashes_[algorithm] = hasher.finish();
}

void MessageContent::note(der::Bytes octets) {
  size_ += octets.size();
  const der::Bytes head = octets.first(std::min(kPrefixSize - prefix_.size(), octets.size()));
  prefix_.insert(prefix_.end(), head.begin(), head.end());
}

bool MessageContent::mayBeAttributes() const {
  const der::Bytes prefix(prefix_);
  const Result<der::Header> set = der::readHeader(prefix);
  if (!set || set->identifier != der::kSet || set->size + set->contentSize != size_) {
    return false;
  }
  const der::Bytes first = prefix.subspan(set->size);
  const Result<der::Header> attribute = der::readHeader(first);
  return attribute && attribute->identifier == der::kSequence && first.size() > attribute->size &&
         first[attribute->size] == der::kOid;
}

}  // namespace qx
