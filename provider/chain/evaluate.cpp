#include "provider/chain/evaluate.h"

#include <optional>
#include <utility>

#include "provider/chain/online_issuers.h"
#include "provider/chain/online_revocation.h"
#include "provider/chain/trust_stores.h"
#include "provider/support/config.h"

namespace qx {
namespace {

ChainRequest requestFor(const ChainQuestion& question) {
  return {.certificate = question.certificate,
          .now = std::time(nullptr),
          .certificates = question.certificates,
          .crls = question.crls,
          .ocsp = question.ocsp,
          .revocation = question.revocation,
          .usage = question.usage};
}

}  // namespace

Result<VerdictPtr> evaluateOver(Location location,
                                ChainRequest request,
                                MayFetch may,
                                Network* network) {
  const auto& configured = configuration().revocation;
  std::optional<Network> own;
  if (network == nullptr && configured.online) {
    network = &own.emplace();
  }
  OnlineRevocation revocation(RevocationCache(location),
                              configured.online && may.revocation ? network : nullptr,
                              request.freshness);
  std::optional<OnlineIssuers> issuers;
  if (configured.online && configured.issuers && may.issuers) {
    request.issuers = &issuers.emplace(*network);
  }
  if (request.revocation != RevocationScope::None && !request.givenRevocationOnly) {
    request.source = &revocation;
  }
  return processVerdicts().evaluate(std::move(request), trustOf(location));
}

Result<VerdictPtr> evaluateNow(const ChainQuestion& question) {
  return evaluateOver(question.location,
                      requestFor(question),
                      {.revocation = question.online, .issuers = question.online},
                      question.network);
}

Result<VerdictPtr> evaluateAsOf(const ChainQuestion& question, std::time_t time) {
  ChainRequest request = requestFor(question);
  request.time = time;
  request.revocationAsOfTime = true;
  request.givenRevocationOnly = true;
  return evaluateOver(
      question.location, std::move(request), {.revocation = false, .issuers = false});
}

}  // namespace qx
