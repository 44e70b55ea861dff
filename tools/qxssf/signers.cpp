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

// Which of them could not be used and why, in one text; empty when none.
std::string faultOfPeople(const Records& records, const Role& role) {
  std::string text;
  eachRecord(records, [&](int number, const SigRcpSsfInformation& record) {
    if (record.result != SSF_RESULT_OK) {
      text += (text.empty() ? "" : "; ") + std::string(role.name) + " " + std::to_string(number) +
              " (" + idOf(record) + "): " + role.words(record.result);
    }
  });
  return text;
}

}  // namespace

const Role kSigner{
    .name = "signer", .list = "signers", .words = signingWords, .refusal = SSF_API_SIGNER_ERROR};
const Role kRecipient{.name = "recipient",
                      .list = "recipients",
                      .words = envelopingWords,
                      .refusal = SSF_API_RECIPIENT_ERROR};
const Role kReader{.name = "recipient",
                   .list = "recipients",
                   .words = developingWords,
                   .refusal = SSF_API_RECIPIENT_ERROR};

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

std::vector<tools::Secret> readPins(const std::vector<Signer>& signers, tools::Report& report) {
  std::vector<tools::Secret> pins;
  pins.reserve(signers.size());
  for (const Signer& signer : signers) {
    pins.push_back(tools::readPin(signer.pin, "PIN of " + signer.id, report));
  }
  return pins;
}

void fillRecords(const std::vector<Signer>& signers,
                 const std::vector<tools::Secret>& pins,
                 Records& records) {
  for (std::size_t i = 0; i < signers.size(); ++i) {
    records.add(signers[i].id, signers[i].profile, pins[i].bytes());
  }
}

void fillRecords(const std::vector<Signer>& signers, Records& records, tools::Report& report) {
  fillRecords(signers, readPins(signers, report), records);
}

void addPerson(CLI::App& command,
               const std::string& option,
               const std::string& help,
               Signer& person) {
  command.add_option(option, person.id, help)->required();
  command.add_option("-p,--profile",
                     person.profile,
                     "The certificate store, My if none is given; a leading m means the machine's");
  tools::addPinOptions(
      command, "pin", "the PIN", [&person]() -> tools::PinSource& { return person.pin; });
}

void reportPeople(const Records& records, const Role& role, tools::Report& report) {
  eachRecord(records, [&](int number, const SigRcpSsfInformation& record) {
    report.facts()[role.list].push_back({{"number", number},
                                         {"id", idOf(record)},
                                         {"result", record.result},
                                         {"words", role.words(record.result)}});
  });
}

std::string reasonOf(SAPRETURN code, const Records& records, const Role& role) {
  const std::string fault = code == role.refusal ? faultOfPeople(records, role) : "";
  return fault.empty() ? meaningOf(code).words : fault;
}

std::string counted(std::size_t count, const Role& role) {
  return std::to_string(count) + " " + (count == 1 ? role.name : role.list);
}

}  // namespace qx::ssf
