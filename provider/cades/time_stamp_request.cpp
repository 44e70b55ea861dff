#include "provider/cades/time_stamp_request.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "provider/der/writer.h"
#include "provider/message/algorithm.h"
#include "provider/openssl/random.h"
#include "provider/store/x509_fields.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::uint64_t kVersion = 1;
constexpr std::uint8_t kTrue[] = {der::kBoolean, 1, 0xFF};

// The first two bits are 01: then the number is positive and has no octet too many.
Result<std::vector<std::uint8_t>> makeNonce() {
  std::vector<std::uint8_t> nonce(kNonceLength);
  const Result<void> filled = fillRandom(nonce);
  nonce[0] = static_cast<std::uint8_t>((nonce[0] & 0x3FU) | 0x40U);
  return filled ? Result(std::move(nonce)) : filled.failure();
}

// The words come from outside; a trace line wants the first of them and not too many.
void traceRefusal(std::uint64_t status, x509::Fields words) {
  constexpr std::size_t kMostWords = 200;
  const der::Bytes first = words.next(der::kUtf8String).content;
  const std::string text(der::asKey(first.first(std::min(first.size(), kMostWords))));
  QX_TRACE("the time-stamp authority refuses with the status %llu: '%s'",
           static_cast<unsigned long long>(status),
           text.c_str());
}

// PKIStatusInfo: whether it grants (0) or grants with modifications (1).
bool readGranted(x509::Fields info) {
  const std::uint64_t status = info.value(der::readUnsigned(info.next(der::kInteger)));
  const std::optional<der::Element> words = info.optional(der::kSequence);
  info.optional(der::kBitString);
  info.end();
  if (info.failed() || status <= 1) {
    return !info.failed();
  }
  DWORD ignored = ERROR_SUCCESS;
  traceRefusal(status, x509::Fields(words ? words->content : der::Bytes(), ignored));
  return false;
}

}  // namespace

Result<TimeStampRequest> makeTimeStampRequest(HashAlgorithm algorithm, der::Bytes imprint) {
  if (imprint.size() != hashInfo(algorithm).length) {
    return fail(NTE_BAD_HASH);
  }
  Result<std::vector<std::uint8_t>> nonce = makeNonce();
  if (!nonce) {
    return nonce.failure();
  }
  Result<der::Encoding> identifier = encodeAlgorithm(hashInfo(algorithm).oid, {});
  if (!identifier) {
    return identifier.failure();
  }
  const der::Encoding request =
      der::sequence(der::integer(kVersion),
                    der::sequence(*std::move(identifier), der::octetString(imprint)),
                    der::wrap(der::kInteger, der::Encoding::borrowed(*nonce)),
                    der::Encoding::borrowed(kTrue));
  return TimeStampRequest{.nonce = *nonce, .der = request.bytes()};
}

Result<der::Bytes> readTimeStampResponse(der::Bytes response) {
  DWORD error = ERROR_SUCCESS;
  x509::Fields fields = x509::Fields::outermost(response, error);
  const bool granted = readGranted(fields.sequence());
  const std::optional<der::Element> token = fields.optional(der::kSequence);
  fields.end();
  if (error != ERROR_SUCCESS) {
    return fail(error);
  }
  if (!granted) {
    return fail(ERROR_REQUEST_REFUSED);
  }
  return token ? Result<der::Bytes>(token->whole) : fail(TRUST_E_TIME_STAMP);
}

}  // namespace qx
