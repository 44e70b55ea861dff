#ifndef QX_TOOLS_QXSSF_DOCTOR_FINDING_H_
#define QX_TOOLS_QXSSF_DOCTOR_FINDING_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/report.h"

namespace qx::ssf::doctor {

enum class Level : std::uint8_t { Good, Warning, Fault };

/// Finding is one thing that was looked at.
struct Finding {
  Level level = Level::Good;
  /// What it is about: a file, a certificate, a variable.
  std::string subject;
  std::string text;
  /// The command that mends it; empty for what is good.
  std::string remedy;
  /// What the tool exits with because of it; Good for all but faults.
  tools::ExitCode exit = tools::ExitCode::Good;
  /// The heading below which it is printed.
  std::string area;
};

/// Findings is all that was found, in order.
class Findings {
 public:
  /// begin starts an area; what is found from here on belongs to it.
  void begin(const std::string& area) { area_ = area; }

  void good(const std::string& subject, const std::string& text);
  void warn(const std::string& subject, const std::string& text, const std::string& remedy);
  void fault(tools::ExitCode exit,
             const std::string& subject,
             const std::string& text,
             const std::string& remedy);

  const std::vector<Finding>& all() const { return findings_; }

  std::size_t count(Level level) const;

  /// worst is the exit code of all together: 0 without a fault, else the highest code of a fault.
  tools::ExitCode worst() const;

 private:
  std::string area_;
  std::vector<Finding> findings_;
};

/// reportFindings puts a line for each finding, and one for what mends it, into the report, and the same into
/// its facts.
void reportFindings(const Findings& findings, tools::Report& report);

}  // namespace qx::ssf::doctor

#endif
