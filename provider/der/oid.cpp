#include "provider/der/oid.h"

#include <charconv>
#include <limits>

namespace qx::der {
namespace {

constexpr std::uint8_t kMoreDigits = 0x80;
constexpr std::uint64_t kMaxArc = std::numeric_limits<std::uint64_t>::max();

Result<std::uint64_t> readArc(Bytes& rest) {
  if (rest.front() == kMoreDigits) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  std::uint64_t arc = 0;
  while (!rest.empty()) {
    const std::uint8_t octet = rest.front();
    rest = rest.subspan(1);
    if (arc > (kMaxArc >> 7U)) {
      return fail(CRYPT_E_ASN1_CORRUPT);
    }
    arc = (arc << 7U) | (octet & 0x7FU);
    if ((octet & kMoreDigits) == 0) {
      return arc;
    }
  }
  return fail(CRYPT_E_ASN1_CORRUPT);
}

void appendArc(std::vector<std::uint8_t>& content, std::uint64_t arc) {
  unsigned groups = 1;
  for (std::uint64_t rest = arc >> 7U; rest != 0; rest >>= 7U) {
    ++groups;
  }
  while (groups-- > 0) {
    const auto octet = static_cast<std::uint8_t>((arc >> (7U * groups)) & 0x7FU);
    content.push_back(groups > 0 ? octet | kMoreDigits : octet);
  }
}

Result<std::uint64_t> parseArc(std::string_view& text) {
  const std::string_view digits = text.substr(0, text.find('.'));
  const bool padded = digits.size() > 1 && digits.front() == '0';
  std::uint64_t arc = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), arc);
  if (padded || error != std::errc{} || end != digits.data() + digits.size()) {
    return fail(CRYPT_E_OID_FORMAT);
  }
  text.remove_prefix(digits.size());
  return arc;
}

// The first two arcs share one number (X.690, 8.19.4).
Result<std::uint64_t> joinFirstArcs(std::uint64_t first, std::uint64_t second) {
  if (first > 2 || (first < 2 && second > 39) || second > kMaxArc - 80) {
    return fail(CRYPT_E_OID_FORMAT);
  }
  return (first * 40) + second;
}

std::string splitFirstArcs(std::uint64_t joined) {
  const std::uint64_t first = joined < 80 ? joined / 40 : 2;
  return std::to_string(first) + '.' + std::to_string(joined - (first * 40));
}

}  // namespace

Result<std::string> oidToText(Bytes content) {
  if (content.empty()) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  std::string text;
  while (!content.empty()) {
    const Result<std::uint64_t> arc = readArc(content);
    if (!arc) {
      return arc.failure();
    }
    text += text.empty() ? splitFirstArcs(*arc) : '.' + std::to_string(*arc);
  }
  return text;
}

Result<std::vector<std::uint8_t>> oidFromText(std::string_view dotted) {
  std::vector<std::uint64_t> arcs;
  for (std::string_view rest = dotted;;) {
    const Result<std::uint64_t> arc = parseArc(rest);
    if (!arc) {
      return arc.failure();
    }
    arcs.push_back(*arc);
    if (rest.empty()) {
      break;
    }
    rest.remove_prefix(1);
  }
  if (arcs.size() < 2) {
    return fail(CRYPT_E_OID_FORMAT);
  }
  const Result<std::uint64_t> joined = joinFirstArcs(arcs[0], arcs[1]);
  if (!joined) {
    return joined.failure();
  }
  std::vector<std::uint8_t> content;
  appendArc(content, *joined);
  for (std::size_t i = 2; i < arcs.size(); ++i) {
    appendArc(content, arcs[i]);
  }
  return content;
}

}  // namespace qx::der
