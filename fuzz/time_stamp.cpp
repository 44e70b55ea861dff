// The answer of a time-stamp authority: the response, the token in it, and its signature.

#include "fuzz/input.h"
#include "fuzz/world.h"
#include "provider/cades/time_stamp_request.h"
#include "provider/cades/time_stamp_token.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::enterWorld();
  qx::fuzz::Input input(data, size);
  const qx::der::Bytes response = input.restBytes();
  const auto encoded = qx::readTimeStampResponse(response);
  const auto token = qx::TimeStampToken::read(encoded ? *encoded : response);
  if (!token) {
    return 0;
  }
  qx::fuzz::expect(!token->info().imprint.empty(), "a stamp is over a hash");
  if (const auto authority = token->verifySignature()) {
    qx::fuzz::expect(*authority != nullptr, "a good signature has somebody's certificate");
  }
  return 0;
}
