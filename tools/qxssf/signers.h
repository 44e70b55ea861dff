#ifndef QX_TOOLS_QXSSF_SIGNERS_H_
#define QX_TOOLS_QXSSF_SIGNERS_H_

#include <string>
#include <vector>

#include "tools/common/pin.h"
#include "tools/common/tool.h"
#include "tools/qxssf/library.h"

namespace qx::ssf {

/// Someone whose key is used.
struct Signer {
  std::string id;
  std::string profile;
  tools::PinSource pin;
};

/// addSigners adds --signer, and --profile and the PIN options, each of which belongs to the --signer
/// in front of it.
void addSigners(CLI::App& command, std::vector<Signer>& signers);

/// fillRecords reads every signer's PIN and makes his record.
void fillRecords(const std::vector<Signer>& signers, Records& records, tools::Report& report);

/// reportSigners puts each signer and what became of him into the report's facts.
void reportSigners(const Records& records, tools::Report& report);

/// signersFault tells in one text which signers could not be used and why; empty when none.
std::string signersFault(const Records& records);

}  // namespace qx::ssf

#endif
