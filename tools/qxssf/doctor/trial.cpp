#include <algorithm>
#include <string_view>

#include "tools/qxssf/codes.h"
#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/signers.h"
#include "tools/qxssf/verify_report.h"

namespace qx::ssf::doctor {
namespace {

using tools::ToolError;

constexpr std::string_view kText = "A text to try a signature and an envelope with.\n";
constexpr std::string_view kFormat = "PKCS7";
constexpr std::string_view kCipher = "GOST28147";

// One try: the library, and who tries with which store.
struct Trial {
  const Library* library;
  const Person* person;
  std::string profile;
};

// The first record that was refused says more than the code of the call.
SAPRETURN numberToExplain(SAPRETURN code, const Records& records, SAPRETURN refusal) {
  for (const auto* node = records.get(); code == refusal && node != nullptr; node = node->next) {
    if (node->info->result != SSF_RESULT_OK) {
      return node->info->result;
    }
  }
  return code;
}

std::string explanation(SAPRETURN number, const std::string& operation) {
  return "qxssf explain " + std::to_string(number) + " --operation " + operation;
}

std::string withCode(const std::string& text, SAPRETURN code) {
  return text + " (returned " + std::to_string(code) + ")";
}

bool judge(const std::string& operation,
           SAPRETURN code,
           const Records& records,
           const Role& role,
           Findings& findings) {
  if (code == SSF_API_OK) {
    findings.good(operation, "works");
    return true;
  }
  findings.fault(meaningOf(code).exit,
                 operation,
                 withCode(reasonOf(code, records, role), code),
                 explanation(numberToExplain(code, records, role.refusal), operation));
  return false;
}

void addPerson(const Trial& trial, Records& records) {
  records.add(trial.person->id, trial.profile, trial.person->pin.bytes());
}

bool trySign(const Trial& trial, Octets& message, Findings& findings) {
  Records records(*trial.library);
  addPerson(trial, records);
  const SAPRETURN code = QX_SSF_FUNCTION(*trial.library, SsfSign)(bytesIn(kFormat),
                                                                  lengthIn(kFormat),
                                                                  /*hashAlgName=*/nullptr,
                                                                  /*hashAlgNameLength=*/0,
                                                                  /*incCerts=*/1,
                                                                  /*detached=*/0,
                                                                  bytesIn(kText),
                                                                  lengthIn(kText),
                                                                  records.get(),
                                                                  message.data(),
                                                                  message.length());
  return judge("sign", code, records, kSigner, findings);
}

bool isWhatWasTried(const Octets& content, const std::string& operation, Findings& findings) {
  if (content.text() != kText) {
    findings.fault(tools::ExitCode::Internal,
                   operation,
                   "gives another text than the one that was tried",
                   "qxssf version");
    return false;
  }
  return true;
}

void tryVerify(const Trial& trial, const Octets& message, Findings& findings) {
  Records records(*trial.library);
  Octets content(*trial.library);
  const SAPRETURN code = QX_SSF_FUNCTION(*trial.library, SsfVerify)(bytesIn(kFormat),
                                                                    lengthIn(kFormat),
                                                                    /*ignored3=*/nullptr,
                                                                    bytesIn(message.bytes()),
                                                                    lengthIn(message.bytes()),
                                                                    /*content=*/nullptr,
                                                                    /*contentLength=*/0,
                                                                    bytesIn(trial.profile),
                                                                    lengthIn(trial.profile),
                                                                    /*ignoredPassword=*/nullptr,
                                                                    /*ignoredPasswordLength=*/0,
                                                                    records.out(),
                                                                    content.data(),
                                                                    content.length());
  if (code == SSF_API_SIGNER_ERROR) {
    const ToolError fault = faultOf(verdictsOf(*trial.library, records), "the trial signature");
    findings.fault(fault.code(),
                   "verify",
                   withCode(fault.what(), code),
                   explanation(numberToExplain(code, records, code), "verify"));
  } else if (judge("verify", code, records, kSigner, findings)) {
    isWhatWasTried(content, "verify", findings);
  }
}

bool tryEnvelope(const Trial& trial, Octets& message, Findings& findings) {
  Records records(*trial.library);
  addPerson(trial, records);
  const SAPRETURN code = QX_SSF_FUNCTION(*trial.library, SsfEnvelope)(bytesIn(kFormat),
                                                                      lengthIn(kFormat),
                                                                      bytesIn(kCipher),
                                                                      lengthIn(kCipher),
                                                                      bytesIn(kText),
                                                                      lengthIn(kText),
                                                                      bytesIn(trial.profile),
                                                                      lengthIn(trial.profile),
                                                                      /*ignoredPassword=*/nullptr,
                                                                      /*ignoredPasswordLength=*/0,
                                                                      records.get(),
                                                                      message.data(),
                                                                      message.length());
  // A provider that has just signed refuses nothing but this certificate.
  if (code == SSF_API_NO_PROVIDER) {
    findings.warn(
        "envelope",
        withCode("nobody can encrypt for the kind of key that this certificate has", code),
        explanation(code, "envelope"));
    return false;
  }
  return judge("envelope", code, records, kRecipient, findings);
}

void tryDevelope(const Trial& trial, const Octets& message, Findings& findings) {
  Records records(*trial.library);
  addPerson(trial, records);
  Octets content(*trial.library);
  const SAPRETURN code = QX_SSF_FUNCTION(*trial.library, SsfDevelope)(bytesIn(kFormat),
                                                                      lengthIn(kFormat),
                                                                      bytesIn(message.bytes()),
                                                                      lengthIn(message.bytes()),
                                                                      records.get()->info,
                                                                      content.data(),
                                                                      content.length());
  if (judge("develope", code, records, kReader, findings)) {
    isWhatWasTried(content, "develope", findings);
  }
}

}  // namespace

void examineTrial(const Library& library, const Person& person, Findings& findings) {
  findings.begin("trial");
  if (person.id.empty()) {
    findings.good("trial", "not made; --signer names the identity to try");
    return;
  }
  const Trial trial{.library = &library,
                    .person = &person,
                    .profile = person.profile.empty() ? "My" : person.profile};
  Octets signedText(library);
  if (!trySign(trial, signedText, findings)) {
    return;
  }
  tryVerify(trial, signedText, findings);
  Octets enveloped(library);
  if (tryEnvelope(trial, enveloped, findings)) {
    tryDevelope(trial, enveloped, findings);
  }
}

}  // namespace qx::ssf::doctor
