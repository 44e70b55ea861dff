#include "provider/chain/evaluate.h"

#include <utility>

#include "provider/chain/trust_stores.h"

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

Result<VerdictPtr> evaluateNow(const ChainQuestion& question) {
  return processVerdicts().evaluate(requestFor(question), trustOf(question.location));
}

Result<VerdictPtr> evaluateAsOf(const ChainQuestion& question, std::time_t time) {
  ChainRequest request = requestFor(question);
  request.time = time;
  request.revocationAsOfTime = true;
  request.givenRevocationOnly = true;
  return processVerdicts().evaluate(std::move(request), trustOf(question.location));
}

}  // namespace qx
