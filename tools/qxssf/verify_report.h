#ifndef QX_TOOLS_QXSSF_VERIFY_REPORT_H_
#define QX_TOOLS_QXSSF_VERIFY_REPORT_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/common/error.h"
#include "tools/common/report.h"
#include "tools/qxssf/certificate_view.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {

/// What a verification says of one signer.
struct SignerVerdict {
  std::string id;
  SAPRETURN result = SSF_RESULT_UNDEFINED;
  /// UTC, "2026-11-15T17:03:41Z"; nothing when the signer gave none.
  std::optional<std::string> signingTime;
  std::optional<std::string> stampTime;
  std::optional<CertificateView> certificate;
};

/// verdictsOf reads the records that SsfVerify appended.
std::vector<SignerVerdict> verdictsOf(const Library& library, const Records& records);

/// reportVerdicts puts a line for each signer into the report, and the same into its facts.
void reportVerdicts(const std::vector<SignerVerdict>& verdicts, tools::Report& report);

/// faultOf tells the worst of a failed verification: a change before missing trust.
tools::ToolError faultOf(const std::vector<SignerVerdict>& verdicts, const std::string& name);

}  // namespace qx::ssf

#endif
