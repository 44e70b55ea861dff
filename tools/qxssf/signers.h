#ifndef QX_TOOLS_QXSSF_SIGNERS_H_
#define QX_TOOLS_QXSSF_SIGNERS_H_

#include <cstddef>
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

/// readPins reads every signer's PIN.
std::vector<tools::Secret> readPins(const std::vector<Signer>& signers, tools::Report& report);

/// fillRecords makes a record for each signer; his PIN has the same place in the other list.
void fillRecords(const std::vector<Signer>& signers,
                 const std::vector<tools::Secret>& pins,
                 Records& records);

/// fillRecords reads every signer's PIN and makes his record.
void fillRecords(const std::vector<Signer>& signers, Records& records, tools::Report& report);

/// addPerson adds `option`, --profile and the PIN options for the one whose key a command uses.
void addPerson(CLI::App& command,
               const std::string& option,
               const std::string& help,
               Signer& person);

/// How a command speaks of those whose records it hands to the library.
struct Role {
  const char* name;
  const char* list;
  const char* (*words)(SAPRETURN result);
  /// The return code whose cause stands in their records.
  SAPRETURN refusal;
};

extern const Role kSigner;
extern const Role kRecipient;
/// A recipient who opens a message.
extern const Role kReader;

/// reportPeople puts each of them and what became of him into the report's facts.
void reportPeople(const Records& records, const Role& role, tools::Report& report);

/// reasonOf tells in words why a call was refused: who could not be used and why, when that was it,
/// else what the code means.
std::string reasonOf(SAPRETURN code, const Records& records, const Role& role);

/// counted is "1 signer", "2 signers".
std::string counted(std::size_t count, const Role& role);

}  // namespace qx::ssf

#endif
