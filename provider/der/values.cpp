#include "provider/der/values.h"

#include <algorithm>

#include "provider/der/oid.h"

namespace qx::der {
namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kDaysFrom1601To1970 = 134'774;
constexpr int kUtcTimePivot = 50;

struct CivilTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  std::int64_t ticks = 0;  // fraction of the second, 100 ns
  int offsetMinutes = 0;
};

// TimeReader reads the digits of a time from left to right; once something did not fit, good() is
// false and stays so.
class TimeReader {
 public:
  explicit TimeReader(Bytes text) : rest_(text) {}

  bool good() const { return good_; }

  bool atEnd() const { return rest_.empty(); }

  bool digitNext() const { return !rest_.empty() && isDigit(rest_.front()); }

  bool take(char expected) {
    const bool found = !rest_.empty() && rest_.front() == static_cast<std::uint8_t>(expected);
    if (found) {
      rest_ = rest_.subspan(1);
    }
    return found;
  }

  int number(unsigned digits, int low, int high) {
    int value = 0;
    for (unsigned i = 0; i < digits; ++i) {
      if (!digitNext()) {
        good_ = false;
        return low;
      }
      value = (value * 10) + (rest_.front() - '0');
      rest_ = rest_.subspan(1);
    }
    good_ = good_ && value >= low && value <= high;
    return value;
  }

  std::int64_t fraction() {
    good_ = good_ && digitNext();
    std::int64_t ticks = 0;
    for (std::int64_t unit = kTicksPerSecond / 10; digitNext(); unit /= 10) {
      ticks += unit * (rest_.front() - '0');
      rest_ = rest_.subspan(1);
    }
    return ticks;
  }

 private:
  static bool isDigit(std::uint8_t octet) { return octet >= '0' && octet <= '9'; }

  Bytes rest_;
  bool good_ = true;
};

int readYear(TimeReader& reader, bool utcTime) {
  if (!utcTime) {
    return reader.number(4, 1601, 9999);
  }
  const int year = reader.number(2, 0, 99);
  return year < kUtcTimePivot ? 2000 + year : 1900 + year;
}

int readOffset(TimeReader& reader) {
  if (reader.atEnd() || reader.take('Z')) {
    return 0;
  }
  const bool east = reader.take('+');
  if (!east && !reader.take('-')) {
    return 0;  // what is left makes the time invalid
  }
  const int hours = reader.number(2, 0, 23);
  const int minutes = (hours * 60) + reader.number(2, 0, 59);
  return east ? minutes : -minutes;
}

int daysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// Days since 1970-01-01 of a date of the Gregorian calendar, counted in years that begin in March
// so that the leap day is the last.
std::int64_t daysSince1970(int year, int month, int day) {
  const int shifted = month > 2 ? year : year - 1;
  const int era = shifted / 400;
  const int yearOfEra = shifted - (era * 400);
  const int monthOfYear = month > 2 ? month - 3 : month + 9;
  const int dayOfYear = (((153 * monthOfYear) + 2) / 5) + day - 1;
  const int dayOfEra = (yearOfEra * 365) + (yearOfEra / 4) - (yearOfEra / 100) + dayOfYear;
  return (std::int64_t{era} * 146'097) + dayOfEra - 719'468;
}

FILETIME toFileTime(const CivilTime& time) {
  const std::int64_t days = daysSince1970(time.year, time.month, time.day) + kDaysFrom1601To1970;
  // The published decoder adds the zone's offset; times that end in Z, all that we write, have none.
  const std::int64_t hours = (days * 24) + time.hour;
  const std::int64_t minutes = (hours * 60) + time.minute + time.offsetMinutes;
  const std::int64_t seconds = std::max<std::int64_t>((minutes * 60) + time.second, 0);
  const auto ticks = static_cast<std::uint64_t>((seconds * kTicksPerSecond) + time.ticks);
  return {.dwLowDateTime = static_cast<DWORD>(ticks),
          .dwHighDateTime = static_cast<DWORD>(ticks >> 32U)};
}

}  // namespace

Result<std::uint64_t> readUnsigned(const Element& integer) {
  Bytes octets = integer.content;
  if (octets.empty() || (octets.front() & 0x80U) != 0) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  if (octets.front() == 0) {
    octets = octets.subspan(1);
  }
  if (octets.size() > sizeof(std::uint64_t)) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  std::uint64_t value = 0;
  for (const std::uint8_t octet : octets) {
    value = (value << 8U) | octet;
  }
  return value;
}

Result<std::uint64_t> readUnsigned(Reader& reader) {
  const Result<Element> integer = reader.next(kInteger);
  return integer ? readUnsigned(*integer) : integer.failure();
}

Result<std::vector<std::uint8_t>> readOctets(Reader& reader) {
  const Result<Element> string = reader.next();
  return string ? readOctets(*string) : string.failure();
}

Result<bool> readBoolean(const Element& boolean) {
  if (boolean.content.size() != 1) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return boolean.content.front() != 0;
}

Result<std::string> readOid(const Element& oid) {
  return oidToText(oid.content);
}

Result<std::string> readOid(Reader& reader) {
  const Result<Element> oid = reader.next(kOid);
  return oid ? readOid(*oid) : oid.failure();
}

Result<BitString> readBitString(const Element& bits) {
  constexpr unsigned kMaxUnused = 7;
  if (!bits.is(kBitString) || bits.content.empty() || bits.content.front() > kMaxUnused) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  if (bits.content.size() == 1 && bits.content.front() != 0) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return BitString{.octets = bits.content.subspan(1), .unusedBits = bits.content.front()};
}

Result<FILETIME> readTime(const Element& element) {
  const bool utcTime = element.is(kUtcTime);
  if (!utcTime && !element.is(kGeneralizedTime)) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  TimeReader reader(element.content);
  CivilTime time;
  time.year = readYear(reader, utcTime);
  time.month = reader.number(2, 1, 12);
  time.day = reader.number(2, 1, 31);
  time.hour = reader.number(2, 0, 23);
  time.minute = reader.number(2, 0, 59);
  if (reader.digitNext()) {
    time.second = reader.number(2, 0, 59);
    const bool fraction = !utcTime && (reader.take('.') || reader.take(','));
    time.ticks = fraction ? reader.fraction() : 0;
  }
  time.offsetMinutes = readOffset(reader);
  if (!reader.good() || !reader.atEnd() || time.day > daysInMonth(time.year, time.month)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return toFileTime(time);
}

std::vector<std::uint8_t> littleEndian(Bytes content) {
  return {content.rbegin(), content.rend()};
}

Result<AlgorithmIdentifier> readAlgorithm(const Element& sequence) {
  Reader reader(sequence.content);
  Result<std::string> dotted = readOid(reader);
  if (!dotted) {
    return dotted.failure();
  }
  AlgorithmIdentifier algorithm{.oid = *std::move(dotted), .parameters = {}};
  if (!reader.atEnd()) {
    const Result<Element> parameters = reader.next();
    if (!parameters) {
      return parameters.failure();
    }
    algorithm.parameters = parameters->whole;
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return algorithm;
}

Result<AlgorithmIdentifier> readAlgorithm(Reader& reader) {
  const Result<Element> sequence = reader.next(kSequence);
  return sequence ? readAlgorithm(*sequence) : sequence.failure();
}

}  // namespace qx::der
