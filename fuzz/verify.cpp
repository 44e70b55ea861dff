// SsfVerify over anything, in each format, with and without content. Nobody can sign in the name of those
// who are known here: what passes must hold what they signed.

#include <array>

#include "fuzz/input.h"
#include "fuzz/world.h"
#include "tests/support/ssf_calls.h"

namespace {

constexpr std::array<const char*, 4> kFormats = {"PKCS7", "CADES", "PKCS7_CADES", "PKCS7_ANY"};

// A time stamp is a signed message, too: a TSTInfo (RFC 3161, 2.4.2) of version 1 is its content.
bool isTimeStamp(const std::string& content) {
  return content.starts_with('\x30') && content.find("\x02\x01\x01\x06") != std::string::npos;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::enterWorld();
  qx::fuzz::Input input(data, size);
  const std::string format = kFormats[input.byte() % kFormats.size()];
  const std::string content = input.counted();
  const std::string message = input.rest();
  const qx::test::SsfOutcome verified = qx::test::ssfVerify(message, content, {}, format);
  if (verified.code == SSF_API_OK) {
    const std::string& passed = verified.output.empty() ? content : verified.output;
    qx::fuzz::expect(passed == qx::fuzz::kContent || isTimeStamp(passed),
                     "what verifies is what was signed");
    qx::fuzz::expect(!verified.records.empty(), "what verifies has a signer");
  }
  return 0;
}
