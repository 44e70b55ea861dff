#ifndef QX_QXSAPSSF_IDENTITY_DN_H_
#define QX_QXSAPSSF_IDENTITY_DN_H_

#include <cstdint>
#include <list>
#include <string>

#include "platform/cert.h"

namespace qx {

/// DnEntries is a parsed distinguished name: one `OID=value` text for each attribute, in the order of
/// the text. An attribute whose keyword is not known keeps the keyword in place of the OID.
using DnEntries = std::list<std::string>;

/// parse_dn_string parses `length` bytes of a distinguished name, or up to the first NUL, into
/// `entries`, which is cleared first. Returns 0; -1 on a syntax error; 24 for an attribute with
/// nothing after its "="; what unescape_rdn returned when that is not 0. On failure the entries
/// before the failing attribute stay in the list.
int parse_dn_string(const char* text, std::int32_t length, DnEntries& entries);

/// unescape_rdn decodes the \uXXXX escapes of an entry in place. Always returns 0: an entry that holds
/// bytes of 0x80 and above, or whose characters cannot be converted, stays as it is.
int unescape_rdn(std::string& entry);

/// skipWhiteSpaces moves `position` over spaces (0x20 only), forwards or backwards. It knows no
/// bounds: a character other than the space must lie in that direction. The NUL ends a forward skip.
void skipWhiteSpaces(const char* text, std::size_t& position, bool forward);

/// is_equal_dns says whether every entry of `wanted` occurs in `candidate`, byte for byte. Order,
/// repetition and further entries of the candidate do not matter; an empty `wanted` is found in all.
bool is_equal_dns(const DnEntries& wanted, const DnEntries& candidate);

}  // namespace qx

#endif
