#ifndef QX_TOOLS_QXSSF_COMMANDS_H_
#define QX_TOOLS_QXSSF_COMMANDS_H_

#include <string>

#include "tools/common/tool.h"

namespace qx::ssf {

/// Program is the tool and what all its commands are told.
struct Program {
  Program();

  tools::Tool tool;
  /// The SSF library to load.
  std::string library = "libqxsapssf.so.1";
};

// Each adds one command, which makes one SSF call, or one for each of many files; explain makes none,
// doctor makes several.
void addDigest(Program& program);
void addSign(Program& program);
void addAddSign(Program& program);
void addVerify(Program& program);
void addEnvelope(Program& program);
void addDevelope(Program& program);
void addEncode(Program& program);
void addDecode(Program& program);
void addVersion(Program& program);
void addProperties(Program& program);
void addExplain(Program& program);
void addDoctor(Program& program);

}  // namespace qx::ssf

#endif
