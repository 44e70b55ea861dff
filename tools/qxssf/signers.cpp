#include "tools/qxssf/signers.h"

#include "tools/common/error.h"
#include "tools/qxssf/codes.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

Signer& lastOf(std::vector<Signer>& signers) {
  if (signers.empty()) {
    throw ToolError(ExitCode::Usage, "--profile and PIN options stand behind their --signer");
  }
  return signers.back();
}

// Visits the records in order, with their numbers from 1 on.
template <class Visit>
void eachRecord(const Records& records, Visit visit) {
  int number = 0;
  for (const auto* node = records.get(); node != nullptr; node = node->next) {
    visit(++number, *node->info);
  }
}

std::string idOf(const SigRcpSsfInformation& record) {
  return std::string(textOf(record.id, record.idLength));
}

}  // namespace

void addSigners(CLI::App& command, std::vector<Signer>& signers) {
  command
      .add_option_function<std::string>(
          "-s,--signer",
          [&signers](const std::string& id) { signers.push_back({.id = id}); },
          "Who signs: a name such as \"CN=Ivan Petrov, C=RU\" or a certificate's thumbprint; "
          "once for each signer")
      ->trigger_on_parse()
      ->required();
  command
      .add_option_function<std::string>(
          "-p,--profile",
          [&signers](const std::string& profile) { lastOf(signers).profile = profile; },
          "The signer's certificate store, My if none is given; a leading m means the machine's")
      ->trigger_on_parse();
  tools::addPinOptions(command, "pin", "the signer's PIN", [&signers]() -> tools::PinSource& {
    return lastOf(signers).pin;
  });
}

void fillRecords(const std::vector<Signer>& signers, Records& records, tools::Report& report) {
  for (const Signer& signer : signers) {
    const tools::Secret pin = tools::readPin(signer.pin, "PIN of " + signer.id, report);
    records.add(signer.id, signer.profile, pin.bytes());
  }
}

void reportSigners(const Records& records, tools::Report& report) {
  eachRecord(records, [&](int number, const SigRcpSsfInformation& record) {
    report.facts()["signers"].push_back({{"number", number},
                                         {"id", idOf(record)},
                                         {"result", record.result},
                                         {"words", signingWords(record.result)}});
  });
}

std::string signersFault(const Records& records) {
  std::string text;
  eachRecord(records, [&](int number, const SigRcpSsfInformation& record) {
    if (record.result != SSF_RESULT_OK) {
      text += (text.empty() ? "" : "; ") + std::string("signer ") + std::to_string(number) + " (" +
              idOf(record) + "): " + signingWords(record.result);
    }
  });
  return text;
}

}  // namespace qx::ssf
