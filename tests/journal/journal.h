#ifndef QX_TESTS_JOURNAL_JOURNAL_H_
#define QX_TESTS_JOURNAL_JOURNAL_H_

// The journals of whole calls. What is expected of a call stands in a text file: every call of the
// platform with its arguments, every line of the trace with its level and function, and what the caller
// gets, in order.
//
//   -- a comment                          empty lines count as little
//   use select n=0|id=CN=Ivan             the lines of select.part, with 0 for ${n}, CN=Ivan for ${id},
//                                         7 for ${#id}, 8 for ${+id} (with a NUL) and 32 for ${*id}
//                                         (the bytes of that many wide characters)
//   ~ CertFreeCertificateContext(...)     a release that may stand anywhere before the end
//
// A line feed in a line is written \n. Texts in Windows-1251 stand here in UTF-8.

#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

/// What stands in the file NAME.journal; fails the test when there is none.
std::vector<std::string> expectedJournal(std::string_view name);

/// A text in Windows-1251 as UTF-8, with its line feeds written \n, returns \r and NULs \0.
std::string visible(std::string text);

/// What has happened since the provider was reset, line feeds written \n.
std::vector<std::string> journalSoFar();

/// Where the journals part, to read; empty when nothing does.
std::string difference(std::vector<std::string> expected, std::vector<std::string> actual);

}  // namespace qx::test

#endif
