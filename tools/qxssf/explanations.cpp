#include "tools/qxssf/explanations.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <optional>

namespace qx::ssf {
namespace {

constexpr Text kReturned = {"a return code", "код возврата"};
constexpr Text kInRecord = {"the result of a record", "результат записи"};
constexpr Text kOfProvider = {"an error of the provider", "ошибка поставщика"};

constexpr std::size_t kTraceDigits = 8;

template <class Number>
std::optional<Number> parsed(std::string_view digits, int base) {
  Number number{};
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), number, base);
  const bool whole = error == std::errc() && end == digits.end();
  return whole ? std::optional(number) : std::nullopt;
}

std::optional<std::uint32_t> numberOf(std::string_view word) {
  if (word.starts_with("0x") || word.starts_with("0X")) {
    return parsed<std::uint32_t>(word.substr(2), 16);
  }
  if (word.size() == kTraceDigits) {
    return parsed<std::uint32_t>(word, 16);
  }
  if (word.starts_with('-')) {
    const auto number = parsed<std::int32_t>(word, 10);
    return number ? std::optional(static_cast<std::uint32_t>(*number)) : std::nullopt;
  }
  return parsed<std::uint32_t>(word, 10);
}

bool isNamed(std::string_view name, std::string_view word) {
  return std::ranges::equal(name, word, {}, {}, [](unsigned char c) { return std::toupper(c); });
}

bool concerns(std::string_view operations, std::string_view operation) {
  const std::string among = " " + std::string(operations) + " ";
  return operation.empty() || operations.empty() ||
         among.find(" " + std::string(operation) + " ") != std::string::npos;
}

}  // namespace

std::vector<Reading> readingsOf(std::string_view word, std::string_view operation) {
  const std::optional<std::uint32_t> number = numberOf(word);
  std::vector<Reading> readings;
  const auto look = [&](const Text& place, std::span<const Explanation> table) {
    for (const Explanation& row : table) {
      if ((number == row.code || isNamed(row.name, word)) && concerns(row.operations, operation)) {
        readings.push_back({place, &row});
      }
    }
  };
  look(kReturned, returnCodes());
  look(kInRecord, recordResults());
  look(kOfProvider, providerErrors());
  return readings;
}

}  // namespace qx::ssf
