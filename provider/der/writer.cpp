#include "provider/der/writer.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "provider/der/oid.h"

namespace qx::der {
namespace {

constexpr std::size_t kShortLengthLimit = 0x80;

std::vector<std::uint8_t> bigEndian(std::uint64_t value) {
  std::vector<std::uint8_t> octets;
  for (unsigned shift = 64; shift > 0; shift -= 8) {
    const auto octet = static_cast<std::uint8_t>(value >> (shift - 8));
    if (octet != 0 || !octets.empty()) {
      octets.push_back(octet);
    }
  }
  return octets;
}

std::vector<std::uint8_t> header(std::uint8_t identifier, std::size_t length) {
  if (length < kShortLengthLimit) {
    return {identifier, static_cast<std::uint8_t>(length)};
  }
  const std::vector<std::uint8_t> octets = bigEndian(length);
  std::vector<std::uint8_t> result{identifier,
                                   static_cast<std::uint8_t>(kShortLengthLimit | octets.size())};
  result.insert(result.end(), octets.begin(), octets.end());
  return result;
}

bool isNegative(std::uint8_t octet) {
  return (octet & 0x80U) != 0;
}

void appendTwoDigits(std::vector<std::uint8_t>& digits, std::int64_t number) {
  digits.push_back(static_cast<std::uint8_t>('0' + (number / 10)));
  digits.push_back(static_cast<std::uint8_t>('0' + (number % 10)));
}

}  // namespace

Encoding::Encoding(Slice piece) : size_(piece.bytes().size()) {
  pieces_.push_back(std::move(piece));
}

Encoding& Encoding::append(Encoding other) {
  pieces_.insert(pieces_.end(),
                 std::make_move_iterator(other.pieces_.begin()),
                 std::make_move_iterator(other.pieces_.end()));
  size_ += other.size_;
  return *this;
}

void Encoding::writeTo(std::uint8_t* out) const {
  visit([&out](Bytes piece) { out = copyTo(out, piece); });
}

std::vector<std::uint8_t> Encoding::bytes() const {
  std::vector<std::uint8_t> all(size_);
  writeTo(all.data());
  return all;
}

Encoding wrap(std::uint8_t identifier, Encoding content) {
  Encoding whole = Encoding::owned(header(identifier, content.size()));
  whole.append(std::move(content));
  return whole;
}

Encoding setOf(const std::vector<Encoding>& elements, std::uint8_t identifier) {
  std::vector<std::vector<std::uint8_t>> sorted;
  sorted.reserve(elements.size());
  std::ranges::transform(elements, std::back_inserter(sorted), &Encoding::bytes);
  std::ranges::sort(sorted,
                    [](Bytes a, Bytes b) { return std::ranges::lexicographical_compare(a, b); });
  Encoding content;
  for (std::vector<std::uint8_t>& element : sorted) {
    content.append(Encoding::owned(std::move(element)));
  }
  return wrap(identifier, std::move(content));
}

Encoding null() {
  return Encoding::borrowed(kNullParameters);
}

Encoding integer(std::uint64_t value) {
  std::vector<std::uint8_t> octets = bigEndian(value);
  if (octets.empty() || isNegative(octets.front())) {
    octets.insert(octets.begin(), 0);
  }
  return wrap(kInteger, Encoding::owned(std::move(octets)));
}

Encoding integerFromLittleEndian(Bytes octets) {
  if (octets.empty()) {
    return integer(0);
  }
  while (octets.size() > 1) {
    const bool negative = isNegative(octets[octets.size() - 2]);
    if (octets.back() != (negative ? 0xFF : 0)) {
      break;
    }
    octets = octets.first(octets.size() - 1);
  }
  return wrap(kInteger, Encoding::owned({octets.rbegin(), octets.rend()}));
}

Result<Encoding> oid(std::string_view dotted) {
  Result<std::vector<std::uint8_t>> content = oidFromText(dotted);
  if (!content) {
    return content.failure();
  }
  return wrap(kOid, Encoding::owned(*std::move(content)));
}

Result<Encoding> algorithm(std::string_view dotted, Bytes parameters) {
  Result<Encoding> identifier = oid(dotted);
  if (!identifier) {
    return identifier.failure();
  }
  return sequence(*std::move(identifier), Encoding::borrowed(parameters));
}

Encoding time(std::chrono::sys_seconds when) {
  const std::chrono::sys_days day = std::chrono::floor<std::chrono::days>(when);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(when - day);
  const int year = static_cast<int>(date.year());
  const bool isUtcTime = year >= 1950 && year < 2050;
  std::vector<std::uint8_t> digits;
  if (!isUtcTime) {
    appendTwoDigits(digits, year / 100);
  }
  appendTwoDigits(digits, year % 100);
  appendTwoDigits(digits, static_cast<unsigned>(date.month()));
  appendTwoDigits(digits, static_cast<unsigned>(date.day()));
  appendTwoDigits(digits, clock.hours().count());
  appendTwoDigits(digits, clock.minutes().count());
  appendTwoDigits(digits, clock.seconds().count());
  digits.push_back('Z');
  return wrap(isUtcTime ? kUtcTime : kGeneralizedTime, Encoding::owned(std::move(digits)));
}

Encoding octetString(Bytes octets) {
  return wrap(kOctetString, Encoding::borrowed(octets));
}

}  // namespace qx::der
