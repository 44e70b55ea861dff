// The text of a distinguished name, as callers and certificates give it.

#include "qxsapssf/identity/dn.h"

#include "fuzz/input.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qx::fuzz::Input input(data, size);
  const std::string text = input.rest();
  qx::DnEntries entries;
  const int code = qx::parse_dn_string(text.c_str(), static_cast<std::int32_t>(size), entries);
  qx::fuzz::expect(code == 0 || code == -1 || code == 24, "one of the documented codes");
  qx::fuzz::expect(qx::is_equal_dns(entries, entries), "a name is found in itself");

  qx::DnEntries more = entries;
  more.emplace_back("2.5.4.3=one more");
  qx::fuzz::expect(qx::is_equal_dns(entries, more), "a name is found in a longer one");

  qx::DnEntries again;
  qx::parse_dn_string(text.c_str(), static_cast<std::int32_t>(size), again);
  qx::fuzz::expect(again == entries, "one text has one reading");
  return 0;
}
