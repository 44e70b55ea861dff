#ifndef QX_TOOLS_QXSSF_PAGE_STAMPS_H_
#define QX_TOOLS_QXSSF_PAGE_STAMPS_H_

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/qxssf/library.h"
#include "tools/qxssf/message_view.h"

namespace qx::ssf {

/// A time stamp, as it says itself.
struct Stamp {
  /// UTC, "2026-11-15T17:03:41Z"; empty when it cannot be read.
  std::string time;
  /// What was stamped: "the signature".
  std::string what;
  /// Empty when the stamp does not hold the certificate of its authority.
  std::string authority;
};

/// stampsOf reads the time stamps of a signer, who is counted from 0, in the order of the message.
std::vector<Stamp> stampsOf(const Library& library, const MessageView& message, DWORD signer);

/// stampTime reads the time in a TSTInfo (RFC 3161, 2.4.2), DER; empty when there is none that can be read.
std::string stampTime(const Library& library, std::span<const std::uint8_t> info);

}  // namespace qx::ssf

#endif
