#ifndef QX_TOOLS_QXSSF_EXPLANATIONS_H_
#define QX_TOOLS_QXSSF_EXPLANATIONS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qx::ssf {

/// One text in the languages of those who run the library; UTF-8.
struct Text {
  const char* english;
  const char* russian;
};

/// What a number means, where it is met, why it usually comes, and what to do about it.
struct Explanation {
  std::uint32_t code;
  const char* name;
  const char* operations;  ///< the commands, with a blank in between; empty: all of them
  Text meaning;
  Text causes;
  Text remedy;
};

// The tables: what the functions return, what they write into a record's result, and what the provider leaves
// as its last error. A number has a row for each group of operations in which it means something else.
std::span<const Explanation> returnCodes();
std::span<const Explanation> recordResults();
std::span<const Explanation> providerErrors();

/// Where a number was met.
struct Reading {
  Text place;
  const Explanation* explanation;
};

/// readingsOf finds all that a word can mean: a number, decimal (negative ones are 32-bit errors) or hexadecimal
/// with 0x, the eight digits of a trace line, or a name. `operation` leaves only the rows of one command; empty: all.
std::vector<Reading> readingsOf(std::string_view word, std::string_view operation);

}  // namespace qx::ssf

#endif
