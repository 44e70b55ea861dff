#include <algorithm>
#include <array>
#include <utility>

#include "tests/soak/worker.h"

// Signatures with time stamps, by a server that fails now and then.

namespace qx::soak {
namespace {

using test::SsfOutcome;
using test::SsfRecord;

constexpr const char* kCades = "CADES";

}  // namespace

void Worker::signWithStamps() {
  Kept made{.content = anyContent(), .signers = 1 + number(2)};
  const bool detached = number(2) == 0;
  made.given = detached ? made.content : std::string();
  const Identity* first = &anySigner();
  const Identity* second = &anySigner();
  std::vector<SsfRecord> signers = {recordOf(*first)};
  if (made.signers == 2 && first != second) {
    signers.push_back(recordOf(*second));
  }
  made.signers = signers.size();
  const SsfOutcome outcome =
      test::ssfSign(made.content, signers, {.format = kCades, .detached = detached});
  if (isStamped("sign with stamps", outcome, made.signers)) {
    made.message = outcome.output;
    keep(std::move(made));
  }
}

void Worker::addSignerWithStamps() {
  Kept made{.content = anyContent(), .signers = 2};
  const Identity& first = anySigner();
  const Identity& second = anySigner();
  if (&first == &second) {
    return;
  }
  const SsfOutcome one = test::ssfSign(made.content, {recordOf(first)}, {.format = kCades});
  if (!isStamped("sign with stamps as the first", one, 1)) {
    return;
  }
  const SsfOutcome two =
      test::ssfAddSign(one.output, made.given, recordOf(second), {.format = kCades});
  if (isStamped("add a signer with stamps", two, 1)) {
    made.message = two.output;
    keep(std::move(made));
  }
}

void Worker::verifyChangedWithStamps() {
  const std::size_t start =
      kept_.content.empty() ? std::string::npos : kept_.message.find(kept_.content);
  if (start == std::string::npos) {
    return;
  }
  std::string changed = kept_.message;
  changed[start + number(kept_.content.size())] ^= 1;
  expectRefused("verify what was changed under its stamps",
                test::ssfVerify(changed, {}, {}, kCades),
                SSF_API_SIGNER_ERROR,
                SSF_RESULT_NOT_OK);
}

// The stamps are there: how their server is does not matter any more.
void Worker::verifyKept() {
  constexpr std::array<const char*, 3> kFormats = {kCades, "PKCS7_ANY", "PKCS7"};
  if (kept_.message.empty()) {
    return;
  }
  expectVerified("verify later",
                 kept_.message,
                 kept_.given,
                 kept_.content,
                 kept_.signers,
                 kFormats.at(number(kFormats.size())));
}

// Without stamps there is no message at all; the signers are not to blame.
bool Worker::isStamped(const char* what, const SsfOutcome& made, std::size_t signers) {
  const bool areGood = made.records.size() == signers &&
                       std::ranges::all_of(made.records, [](const SsfRecord& record) {
                         return record.result == SSF_RESULT_OK;
                       });
  const bool unstamped = made.code == SSF_API_ENCODE_ERROR && made.output.empty();
  expect(areGood && (unstamped || made.code == SSF_API_OK), what, made);
  const bool stamped = made.code == SSF_API_OK;
  stamped_ += stamped ? 1 : 0;
  unstamped_ += unstamped ? 1 : 0;
  return stamped;
}

void Worker::keep(Kept kept) {
  kept_ = std::move(kept);
  expectVerified(
      "verify with stamps", kept_.message, kept_.given, kept_.content, kept_.signers, kCades);
}

}  // namespace qx::soak
