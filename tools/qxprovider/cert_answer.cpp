#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "provider/key/key_store.h"
#include "tools/common/error.h"
#include "tools/qxprovider/cert_verbs.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/received.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;
using Certificates = std::vector<std::shared_ptr<const CertificateData>>;

struct AnswerArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::string file;
};

bool hasKey(const CertificateData& certificate, Location location) {
  const Result<KeyFilePtr> key = findKey(location, certificate.keyFileName());
  if (!key && key.error() != ERROR_FILE_NOT_FOUND) {
    refuse("key " + certificate.keyFileName(), key.error());
  }
  return static_cast<bool>(key);
}

struct Answer {
  Certificates own;
  Certificates authorities;
  Certificates others;
};

// Nobody becomes a root by having come along.
Answer sortedAnswer(const AnswerArguments& arguments) {
  Answer answer;
  for (const auto& certificate : readAnswer(arguments.file)) {
    if (hasKey(*certificate, arguments.location)) {
      answer.own.push_back(certificate);
    } else if (isAuthority(*certificate) && !isSelfIssued(*certificate)) {
      answer.authorities.push_back(certificate);
    } else {
      answer.others.push_back(certificate);
    }
  }
  return answer;
}

void take(tools::Report& report, const AnswerArguments& arguments) {
  const StoreName own = storeName(arguments.location, arguments.store);
  const StoreName authorities = storeName(arguments.location, "CA");
  const Answer answer = sortedAnswer(arguments);
  if (answer.own.empty()) {
    throw ToolError(ExitCode::Key,
                    arguments.file + ": holds no certificate for a key of the " +
                        locationName(arguments.location) + "; key list shows all");
  }
  for (const auto& certificate : answer.authorities) {
    putCertificate(authorities, *certificate, report);
  }
  for (const auto& certificate : answer.own) {
    putCertificate(own, *certificate, report);
  }
  report.facts()["left"] = nlohmann::ordered_json::array();
  for (const auto& certificate : answer.others) {
    auto facts = certificateFacts(*certificate);
    report.line("left out: " + facts["subject"].get<std::string>());
    report.facts()["left"].push_back(std::move(facts));
  }
}

}  // namespace

void addCertAnswer(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<AnswerArguments>();
  CLI::App& verb = *noun.add_subcommand("answer", "Take the answer to a request");
  addLocation(verb, arguments->location);
  addStore(verb, arguments->store);
  verb.add_option(
          "FILE", arguments->file, "Certificates or PKCS#7, PEM or DER; - is standard input")
      ->required();
  verb.callback([&tool, arguments] { take(tool.report, *arguments); });
}

}  // namespace qx::admin
