// SsfDevelope over anything, for a recipient whose key is at hand, GOST or RSA.

#include <array>

#include "fuzz/input.h"
#include "fuzz/world.h"
#include "tests/support/ssf_calls.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array<const char*, 2> kRecipients = {"CN=Gost", "CN=Rsa"};
  qx::fuzz::enterWorld();
  qx::fuzz::Input input(data, size);
  const std::string recipient = kRecipients[input.byte() % kRecipients.size()];
  const qx::test::SsfOutcome opened =
      qx::test::ssfDevelope(input.rest(), {.id = recipient, .profile = {}, .password = {}});
  qx::fuzz::expect(opened.code == SSF_API_OK || opened.output.empty(),
                   "a failure gives nothing out");
  return 0;
}
