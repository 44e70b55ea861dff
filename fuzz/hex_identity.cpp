// An identity that may be a thumbprint.

#include <vector>

#include "fuzz/input.h"
#include "qxsapssf/identity/cert_id.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::Input input(data, size);
  const std::string text = input.rest();
  const auto length = static_cast<std::int32_t>(size);

  constexpr DWORD kUntouched = 0xABCDEF;
  DWORD counted = kUntouched;
  qx::readFromHexString(text.c_str(), length, nullptr, counted);
  std::vector<BYTE> bytes((size / 2) + 1, 0x55);
  DWORD read = kUntouched;
  qx::readFromHexString(text.c_str(), length, bytes.data(), read);
  qx::fuzz::expect(counted == read, "what is counted is what is read");
  if (read != kUntouched) {
    qx::fuzz::expect(read <= size / 2, "two digits a byte");
    qx::fuzz::expect(qx::isHexString(text.data(), length), "only digits and white space are read");
  }

  qx::OwnedBytes hash;
  qx::fuzz::expect(qx::parse_CertHashID(text.c_str(), length, hash), "memory suffices");
  return 0;
}
