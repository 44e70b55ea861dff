#ifndef QX_TESTS_JOURNAL_FAILURES_H_
#define QX_TESTS_JOURNAL_FAILURES_H_

// What comes of a failure, as it stands in a text file for each operation:
//
//   -- a comment
//   CertOpenStore( => 5 24 quiet          the code, the records' results (- : none) and what is told
//   CryptMsgUpdate(message#1 #2 => 12 - pair     of several calls that begin so, the second
//   allocation => 4 99                    what may come of memory that is missing
//   wrong size => 3 99                    what may come of less than was announced, or of more
//   [sign_cades]                          what follows is for this road only
//
// A call is told by the beginning of its journal line. What stands for the road goes before what stands
// for the operation, there the first that fits.
//   quiet    no line tells the error
//   pair     right after the call, "#error#: %08x" and, unless the error is 0, its text
//   late     the same, but something stands between
//   saved    late, but nothing at all when the error is 0
//   library  right after the call, the line and a text of the library's own
//   other    quiet, and the call ends well with another output
// What follows it is a line that the operation writes after the failure, with the error for ${error}.

#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

struct Consequence {
  std::string code;
  std::string results;
  std::string told;
  std::string line;
};

class FailureTable {
 public:
  /// Reads OPERATION.failures; fails the test when there is none.
  explicit FailureTable(std::string_view operation);

  /// What comes of it when the last of these calls, the first ones of a road, fails. Empty when nothing is
  /// written.
  Consequence of(std::string_view road, const std::vector<std::string>& callsSoFar);

  /// Whether this may come of a failed allocation ("allocation") or of a size that is wrong ("wrong size").
  bool allows(std::string_view fault,
              std::string_view road,
              const std::string& code,
              const std::string& results);

  /// The rows that were of no use so far.
  std::vector<std::string> unused() const;

 private:
  struct Row {
    std::string road;  // empty: every one
    std::string call;
    unsigned occurrence = 0;  // 0: every one
    Consequence consequence;
    bool isUsed = false;
  };

  std::vector<Row> rows_;
};

}  // namespace qx::test

#endif
