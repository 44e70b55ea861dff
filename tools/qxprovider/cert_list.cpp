#include <memory>
#include <string>
#include <vector>

#include "provider/store/folder_store.h"
#include "tools/common/times.h"
#include "tools/qxprovider/cert_verbs.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"
#include "tools/qxprovider/period.h"

namespace qx::admin {
namespace {

using tools::ExitCode;

constexpr std::uint64_t kTicksPerSecond = 10'000'000;

struct ListArguments {
  Location location = Location::CurrentUser;
  std::string store = "My";
  std::string expiresWithin;
};

void list(tools::Report& report, const ListArguments& arguments) {
  const auto store = openStore(arguments.location, arguments.store);
  auto& certificates = report.facts()["certificates"] = nlohmann::ordered_json::array();
  for (const StoredCertificate& entry : store->certificates()) {
    certificates.push_back(certificateFacts(*entry.data));
    const auto& facts = certificates.back();
    report.line(facts["thumbprint"].get<std::string>() + "  until " +
                facts["notAfter"].get<std::string>() + "  " + facts["subject"].get<std::string>());
  }
}

std::uint64_t endOf(const CertificateData& certificate) {
  const FILETIME& end = certificate.info().NotAfter;
  return tools::ticksOf(end.dwHighDateTime, end.dwLowDateTime);
}

void reportExpiry(tools::Report& report,
                  const std::string& store,
                  const CertificateData& certificate,
                  bool expired) {
  auto facts = certificateFacts(certificate);
  facts["store"] = store;
  facts["expired"] = expired;
  report.line(store + ": " + facts["thumbprint"].get<std::string>() +
              (expired ? "  expired " : "  until ") + facts["notAfter"].get<std::string>() + "  " +
              facts["subject"].get<std::string>());
  report.facts()["certificates"].push_back(std::move(facts));
}

// How many of a store's certificates end before `limit`, or have ended.
std::size_t watchStore(tools::Report& report,
                       Location location,
                       const std::string& name,
                       std::uint64_t limit) {
  const std::uint64_t now = tools::ticksNow();
  std::size_t ending = 0;
  for (const StoredCertificate& entry : openStore(location, name)->certificates()) {
    if (const std::uint64_t end = endOf(*entry.data); end <= limit) {
      reportExpiry(report, name, *entry.data, end < now);
      ++ending;
    }
  }
  return ending;
}

std::vector<std::string> watchedStores(const ListArguments& arguments, bool one) {
  return one ? std::vector{arguments.store} : require(storeNames(arguments.location), "stores");
}

void watch(tools::Tool& tool, const ListArguments& arguments, bool oneStore) {
  const std::chrono::seconds within = readPeriod(arguments.expiresWithin);
  const std::uint64_t limit =
      tools::ticksNow() + (static_cast<std::uint64_t>(within.count()) * kTicksPerSecond);
  tool.report.facts()["certificates"] = nlohmann::ordered_json::array();
  std::size_t ending = 0;
  for (const std::string& name : watchedStores(arguments, oneStore)) {
    ending += watchStore(tool.report, arguments.location, name, limit);
  }
  tool.exit = ending == 0 ? ExitCode::Good : ExitCode::NotTrusted;
}

}  // namespace

void addCertList(CLI::App& noun, tools::Tool& tool) {
  auto arguments = std::make_shared<ListArguments>();
  CLI::App& verb = *noun.add_subcommand("list", "List the certificates of a store");
  addLocation(verb, arguments->location);
  const CLI::Option* store = addStore(verb, arguments->store);
  const CLI::Option* within = verb.add_option(
      "--expires-within",
      arguments->expiresWithin,
      "Only what has expired or will in this time (30d, 2w, 12h), of all stores or --store; "
      "exit code 4 if there is any");
  verb.callback([&tool, arguments, store, within] {
    if (within->empty()) {
      list(tool.report, *arguments);
    } else {
      watch(tool, *arguments, !store->empty());
    }
  });
}

}  // namespace qx::admin
