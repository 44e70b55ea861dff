#include "tools/qxssf/verify_report.h"

#include <algorithm>
#include <string_view>

#include "tools/qxssf/codes.h"

namespace qx::ssf {
namespace {

using tools::ExitCode;
using tools::ToolError;

constexpr std::string_view kUtcMark = "(UTCTime: ";
constexpr std::string_view kStampMark = "extracted from timestamp";
constexpr std::size_t kUtcLength = 12;

// "261115170341" as "2026-11-15T17:03:41Z". The library writes years from 2000 on in two digits.
std::string isoOf(std::string_view digits) {
  const auto pair = [digits](std::size_t index) {
    return std::string(digits.substr(index * 2, 2));
  };
  return "20" + pair(0) + "-" + pair(1) + "-" + pair(2) + "T" + pair(3) + ":" + pair(4) + ":" +
         pair(5) + "Z";
}

std::optional<std::string> utcOf(std::string_view text) {
  const std::size_t at = text.find(kUtcMark);
  if (at == std::string_view::npos || text.size() < at + kUtcMark.size() + kUtcLength) {
    return std::nullopt;
  }
  return isoOf(text.substr(at + kUtcMark.size(), kUtcLength));
}

// The profile of a record holds one text, or two with a NUL between them: the signer's time and the
// time stamp's.
void readTimes(std::string_view profile, SignerVerdict& verdict) {
  while (!profile.empty()) {
    const std::string_view text = profile.substr(0, profile.find('\0'));
    const bool stamp = text.find(kStampMark) != std::string_view::npos;
    (stamp ? verdict.stampTime : verdict.signingTime) = utcOf(text);
    profile.remove_prefix(std::min(profile.size(), text.size() + 1));
  }
}

SignerVerdict verdictOf(const Library& library, const SigRcpSsfInformation& record) {
  SignerVerdict verdict{.id = std::string(textOf(record.id, record.idLength)),
                        .result = record.result};
  readTimes(textOf(record.profile, record.profileLength), verdict);
  if (record.passwordLength > 0) {
    verdict.certificate = viewCertificate(
        library, {record.password, static_cast<std::size_t>(record.passwordLength)});
  }
  return verdict;
}

std::string lineOf(const SignerVerdict& verdict, std::size_t number) {
  std::string line = "signer " + std::to_string(number) + ": " + verdict.id + ": " +
                     verifyingWords(verdict.result);
  line += verdict.signingTime ? ", signed " + *verdict.signingTime : ", no signing time";
  if (verdict.stampTime) {
    line += ", time stamp " + *verdict.stampTime;
  }
  return line;
}

nlohmann::ordered_json factsOf(const SignerVerdict& verdict, std::size_t number) {
  nlohmann::ordered_json facts = {{"number", number},
                                  {"id", verdict.id},
                                  {"result", verdict.result},
                                  {"words", verifyingWords(verdict.result)}};
  if (verdict.signingTime) {
    facts["signingTime"] = *verdict.signingTime;
  }
  if (verdict.stampTime) {
    facts["stampTime"] = *verdict.stampTime;
  }
  if (verdict.certificate) {
    facts["certificate"] = {{"thumbprint", verdict.certificate->thumbprint},
                            {"notBefore", verdict.certificate->notBefore},
                            {"notAfter", verdict.certificate->notAfter}};
  }
  return facts;
}

}  // namespace

std::vector<SignerVerdict> verdictsOf(const Library& library, const Records& records) {
  std::vector<SignerVerdict> verdicts;
  for (const auto* node = records.get(); node != nullptr; node = node->next) {
    verdicts.push_back(verdictOf(library, *node->info));
  }
  return verdicts;
}

void reportVerdicts(const std::vector<SignerVerdict>& verdicts, tools::Report& report) {
  auto& list = report.facts()["signers"] = nlohmann::ordered_json::array();
  for (const SignerVerdict& verdict : verdicts) {
    list.push_back(factsOf(verdict, list.size() + 1));
    report.line(lineOf(verdict, list.size()));
  }
}

ToolError faultOf(const std::vector<SignerVerdict>& verdicts, const std::string& name) {
  if (verdicts.empty()) {
    return {ExitCode::Input, name + ": holds no signature"};
  }
  const auto changed = std::ranges::find(verdicts, SSF_RESULT_NOT_OK, &SignerVerdict::result);
  const auto failed = std::ranges::find_if(
      verdicts, [](const SignerVerdict& verdict) { return verdict.result != SSF_RESULT_OK; });
  const auto& worst = changed != verdicts.end() ? changed : failed;
  if (worst == verdicts.end()) {
    return {ExitCode::NotTrusted,
            name +
                ": a signer is trusted by his time stamps alone, which is accepted of the last "
                "signer only"};
  }
  const auto number = std::to_string(worst - verdicts.begin() + 1);
  return {worst->result == SSF_RESULT_NOT_OK ? ExitCode::Changed : ExitCode::NotTrusted,
          name + ": not verified: signer " + number + " (" + worst->id +
              "): " + verifyingWords(worst->result)};
}

}  // namespace qx::ssf
