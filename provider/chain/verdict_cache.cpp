#include "provider/chain/verdict_cache.h"

#include <optional>
#include <string>
#include <utility>

#include "provider/hash/hash.h"
#include "provider/support/until_unload.h"

namespace qx {
namespace {

constexpr std::size_t kCachedVerdicts = 1000;

template <class Data>
der::Bytes encodedOf(const Data& object) {
  return object.der();
}

der::Bytes encodedOf(const OcspData& answer) {
  return answer.basic();
}

/// Digest hashes values one behind another, each with its length or of fixed length, so that no two
/// different requests feed it the same bytes.
class Digest {
 public:
  void add(std::uint64_t number) {
    hasher_.update({reinterpret_cast<const std::uint8_t*>(&number), sizeof number});
  }

  void add(der::Bytes bytes) {
    add(bytes.size());
    hasher_.update(bytes);
  }

  void add(const std::string& text) {
    add(der::Bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  }

  void add(const RequestedUsage& usage) {
    add(std::uint64_t{usage.any});
    add(usage.oids.size());
    for (const std::string& oid : usage.oids) {
      add(oid);
    }
  }

  template <class Pointer>
  void addAll(std::span<const Pointer> objects) {
    add(objects.size());
    for (const Pointer& object : objects) {
      add(encodedOf(*object));
    }
  }

  HashValue finish() { return hasher_.finish(); }

 private:
  Hasher hasher_{HashAlgorithm::Sha256};
};

bool isOnline(const ChainRequest& request) {
  return request.source != nullptr && request.source->isOnline();
}

// A server that did not answer may answer the next time.
bool mayBeAnsweredLater(const ChainRequest& request, DWORD errors) {
  const bool revocation = isOnline(request) && (errors & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0;
  const bool issuers = request.issuers != nullptr && (errors & CERT_TRUST_IS_PARTIAL_CHAIN) != 0;
  return revocation || issuers;
}

}  // namespace

HashValue VerdictCache::keyOf(const ChainRequest& request) {
  Digest digest;
  digest.add(request.certificate->der());
  digest.add(std::uint64_t{request.time.has_value()});
  digest.add(static_cast<std::uint64_t>(request.time.value_or(0)));
  digest.add(static_cast<std::uint64_t>(request.revocation));
  digest.add(std::uint64_t{request.givenRevocationOnly});
  digest.add(std::uint64_t{request.revocationAsOfTime});
  digest.add(std::uint64_t{request.source != nullptr});
  digest.add(std::uint64_t{isOnline(request)});
  digest.add(std::uint64_t{request.issuers != nullptr});
  digest.add(std::uint64_t{request.freshness.has_value()});
  digest.add(static_cast<std::uint64_t>(request.freshness.value_or(0)));
  digest.add(request.usage);
  digest.add(request.policies);
  digest.addAll(request.certificates);
  digest.addAll(request.crls);
  digest.addAll(request.ocsp);
  return digest.finish();
}

bool VerdictCache::Entry::holdsFor(const TrustSource& other, std::time_t now) const {
  // A clock that was set back ends an entry, too.
  return trust.get() == &other && made <= now && now < made + kLifetime &&
         verdict->window.contains(now);
}

VerdictPtr VerdictCache::find(const HashValue& key, const TrustSource& trust, std::time_t now) {
  const std::optional<Entry> entry = entries_.find(key);
  return entry && entry->holdsFor(trust, now) ? entry->verdict : nullptr;
}

Result<VerdictPtr> VerdictCache::evaluate(ChainRequest request,
                                          const std::shared_ptr<const TrustSource>& trust) {
  const HashValue key = keyOf(request);
  if (VerdictPtr known = find(key, *trust, request.now); known != nullptr) {
    return known;
  }
  request.trust = trust.get();
  Result<ChainVerdict> verdict = qx::evaluate(request);
  if (!verdict) {
    return verdict.failure();
  }
  auto fresh = std::make_shared<const ChainVerdict>(*std::move(verdict));
  if (!mayBeAnsweredLater(request, fresh->errors)) {
    entries_.keep(key, {.trust = trust, .made = request.now, .verdict = fresh});
  }
  return VerdictPtr(fresh);
}

VerdictCache& processVerdicts() {
  static auto& cache = untilUnload(std::make_unique<VerdictCache>(kCachedVerdicts));
  return cache;
}

}  // namespace qx
