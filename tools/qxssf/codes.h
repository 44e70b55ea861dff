#ifndef QX_TOOLS_QXSSF_CODES_H_
#define QX_TOOLS_QXSSF_CODES_H_

#include "qxsapssf/ssf.h"
#include "tools/common/error.h"

namespace qx::ssf {

/// What a return code of the library means to the tool's user.
struct CodeMeaning {
  SAPRETURN code;
  const char* name;
  tools::ExitCode exit;
  const char* words;
};

/// meaningOf gives the row of a return code; numbers that no row has get the row of an internal fault.
const CodeMeaning& meaningOf(SAPRETURN code);

/// These tell what a record's result means after each of the operations.
const char* signingWords(SAPRETURN result);
const char* verifyingWords(SAPRETURN result);
const char* envelopingWords(SAPRETURN result);
const char* developingWords(SAPRETURN result);

}  // namespace qx::ssf

#endif
