#include "provider/api.h"

#include <chrono>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/cert_chain.h"

#include "provider/chain/chain_context.h"
#include "provider/chain/evaluate.h"
#include "provider/store/certificate_context.h"
#include "provider/store/certificate_store.h"

namespace {

using qx::fail;
using qx::Result;

Result<qx::Location> locationOf(HCERTCHAINENGINE engine) {
  if (engine == HCCE_CURRENT_USER) {
    return qx::Location::CurrentUser;
  }
  if (engine == HCCE_LOCAL_MACHINE) {
    return qx::Location::LocalMachine;
  }
  return fail(E_INVALIDARG);
}

qx::RevocationScope scopeOf(DWORD flags) {
  if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN) != 0) {
    return qx::RevocationScope::Chain;
  }
  if ((flags & CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT) != 0) {
    return qx::RevocationScope::ChainWithoutRoot;
  }
  return (flags & CERT_CHAIN_REVOCATION_CHECK_END_CERT) != 0 ? qx::RevocationScope::EndCertificate
                                                             : qx::RevocationScope::None;
}

qx::MayFetch mayFetch(DWORD flags) {
  constexpr DWORD kNoIssuers = CERT_CHAIN_CACHE_ONLY_URL_RETRIEVAL | CERT_CHAIN_DISABLE_AIA;
  return {.revocation = (flags & CERT_CHAIN_REVOCATION_CHECK_CACHE_ONLY) == 0,
          .issuers = (flags & kNoIssuers) == 0};
}

Result<qx::RequestedUsage> usageOf(const CERT_USAGE_MATCH& match) {
  qx::RequestedUsage usage;
  const CTL_USAGE& list = match.Usage;
  if (list.cUsageIdentifier != 0 && list.rgpszUsageIdentifier == nullptr) {
    return fail(E_INVALIDARG);
  }
  usage.any = match.dwType == USAGE_MATCH_TYPE_OR;
  for (DWORD i = 0; i < list.cUsageIdentifier; ++i) {
    if (list.rgpszUsageIdentifier[i] == nullptr) {
      return fail(E_INVALIDARG);
    }
    usage.oids.emplace_back(list.rgpszUsageIdentifier[i]);
  }
  return usage;
}

/// ChainParameters reads the caller's record in either form: a member counts when cbSize covers it.
class ChainParameters {
 public:
  explicit ChainParameters(const CERT_CHAIN_PARA& para)
      : record_(reinterpret_cast<const CERT_CHAIN_PARA_LONG*>(&para)) {}

  Result<qx::RequestedUsage> usage() const {
    return covers(record_->RequestedUsage) ? usageOf(record_->RequestedUsage)
                                           : qx::RequestedUsage();
  }

  Result<qx::RequestedUsage> policies() const {
    return covers(record_->RequestedIssuancePolicy) ? usageOf(record_->RequestedIssuancePolicy)
                                                    : qx::RequestedUsage();
  }

  std::optional<std::chrono::milliseconds> fetchTime() const {
    return covers(record_->dwUrlRetrievalTimeout) && record_->dwUrlRetrievalTimeout != 0
               ? std::optional(std::chrono::milliseconds(record_->dwUrlRetrievalTimeout))
               : std::nullopt;
  }

  std::optional<std::time_t> freshness() const {
    return covers(record_->dwRevocationFreshnessTime) &&
                   record_->fCheckRevocationFreshnessTime != FALSE
               ? std::optional<std::time_t>(record_->dwRevocationFreshnessTime)
               : std::nullopt;
  }

 private:
  template <class Member>
  bool covers(const Member& member) const {
    const auto* const begin = reinterpret_cast<const char*>(record_);
    const auto* const end = reinterpret_cast<const char*>(&member + 1);
    return record_->cbSize >= static_cast<std::size_t>(end - begin);
  }

  const CERT_CHAIN_PARA_LONG* record_;
};

Result<std::vector<qx::CertificatePtr>> materialOf(HCERTSTORE store) {
  if (store == nullptr) {
    return std::vector<qx::CertificatePtr>();
  }
  qx::CertificateStore* object = qx::CertificateStore::from(store);
  if (object == nullptr) {
    return fail(ERROR_INVALID_HANDLE);
  }
  return object->certificates();
}

Result<qx::VerdictPtr> judge(HCERTCHAINENGINE engine,
                             const qx::CertificateContext& certificate,
                             const FILETIME* time,
                             HCERTSTORE additional,
                             const ChainParameters& parameters,
                             DWORD flags) {
  const Result<qx::Location> location = locationOf(engine);
  if (!location) {
    return location.failure();
  }
  Result<qx::RequestedUsage> usage = parameters.usage();
  Result<qx::RequestedUsage> policies = parameters.policies();
  if (!usage || !policies) {
    return usage ? policies.failure() : usage.failure();
  }
  const Result<std::vector<qx::CertificatePtr>> material = materialOf(additional);
  if (!material) {
    return material.failure();
  }
  qx::ChainRequest request{.certificate = certificate.sharedData(),
                           .now = std::time(nullptr),
                           .certificates = *material,
                           .freshness = parameters.freshness(),
                           .revocation = scopeOf(flags),
                           .usage = *std::move(usage),
                           .policies = *std::move(policies)};
  if (time != nullptr) {
    request.time = qx::secondsOf(*time);
  }
  std::optional<qx::Network> network;
  if (const auto most = parameters.fetchTime()) {
    network.emplace(*most);
  }
  return qx::evaluateOver(
      *location, std::move(request), mayFetch(flags), network ? &*network : nullptr);
}

}  // namespace

BOOL CertGetCertificateChain(HCERTCHAINENGINE hChainEngine,
                             PCCERT_CONTEXT pCertContext,
                             LPFILETIME pTime,
                             HCERTSTORE hAdditionalStore,
                             PCERT_CHAIN_PARA pChainPara,
                             DWORD dwFlags,
                             LPVOID pvReserved,
                             PCCERT_CHAIN_CONTEXT* ppChainContext) {
  return qx::apiBool([&]() -> Result<void> {
    if (ppChainContext == nullptr) {
      return fail(E_INVALIDARG);
    }
    *ppChainContext = nullptr;
    const qx::CertificateContext* certificate = qx::CertificateContext::from(pCertContext);
    if (certificate == nullptr || pChainPara == nullptr || pvReserved != nullptr) {
      return fail(E_INVALIDARG);
    }
    const Result<qx::VerdictPtr> verdict = judge(
        hChainEngine, *certificate, pTime, hAdditionalStore, ChainParameters(*pChainPara), dwFlags);
    if (!verdict) {
      return verdict.failure();
    }
    *ppChainContext =
        std::make_unique<qx::ChainContext>(pCertContext, **verdict, dwFlags).release();
    return {};
  });
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT pChainContext) {
  const qx::ForkWaits call;
  const std::unique_ptr<qx::ChainContext> chain(qx::ChainContext::from(pChainContext));
}
