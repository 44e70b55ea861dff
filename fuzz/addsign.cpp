// SsfAddSign to anything, in each format, with and without content. No server for time stamps is known, so
// that an enhanced signature ends where it would be asked.

#include <array>

#include "fuzz/input.h"
#include "fuzz/world.h"
#include "tests/support/ssf_calls.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array<const char*, 3> kFormats = {"PKCS7", "CADES", "PKCS7_CADES"};
  qx::fuzz::enterWorld();
  qx::fuzz::Input input(data, size);
  const std::string format = kFormats[input.byte() % kFormats.size()];
  const std::string content = input.counted();
  const std::string message = input.rest();
  const qx::test::SsfOutcome added = qx::test::ssfAddSign(
      message, content, {.id = "CN=Ec", .profile = {}, .password = {}}, {.format = format});
  qx::fuzz::expect(added.code == SSF_API_OK || added.output.empty(), "a failure gives nothing out");
  return 0;
}
