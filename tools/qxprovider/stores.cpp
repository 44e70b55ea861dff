#include <memory>
#include <string>
#include <vector>

#include "provider/store/folder_store.h"
#include "provider/store/store_name.h"
#include "provider/support/folders.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

struct StoreArguments {
  Location location = Location::CurrentUser;
  std::string name;
};

void list(tools::Report& report, const StoreArguments& arguments) {
  report.facts()["location"] = locationName(arguments.location);
  const std::string folder = require(rootFolder(arguments.location), "stores") + "/stores";
  // Looked up again for each store: a warning adds to the facts, too, and so moves what is in them.
  report.facts()["stores"] = nlohmann::ordered_json::array();
  for (const std::string& name : require(storeNames(arguments.location), folder)) {
    const auto store = snapshot(arguments.location, name);
    if (!store) {
      report.warn(name + ": is not readable as a store");
      continue;
    }
    const std::size_t certificates = (*store)->certificates().size();
    const std::size_t crls = (*store)->crls().size();
    report.facts()["stores"].push_back(
        {{"name", name}, {"certificates", certificates}, {"crls", crls}});
    report.line(name + ": " + std::to_string(certificates) + " certificates, " +
                std::to_string(crls) + " CRLs");
  }
}

void show(tools::Report& report, const StoreArguments& arguments) {
  const auto store = openStore(arguments.location, arguments.name);
  auto& certificates = report.facts()["certificates"] = nlohmann::ordered_json::array();
  for (const StoredCertificate& entry : store->certificates()) {
    auto facts = certificateFacts(*entry.data);
    facts["file"] = entry.fileName;
    facts["location"] = locationName(entry.location);
    report.line(facts["thumbprint"].get<std::string>() + "  until " +
                facts["notAfter"].get<std::string>() + "  " + facts["subject"].get<std::string>());
    certificates.push_back(std::move(facts));
  }
  auto& crls = report.facts()["crls"] = nlohmann::ordered_json::array();
  for (const StoredCrl& entry : store->crls()) {
    auto facts = crlFacts(*entry.data);
    facts["file"] = entry.fileName;
    facts["location"] = locationName(entry.location);
    report.line("CRL of " + facts["thisUpdate"].get<std::string>() + " by " +
                facts["issuer"].get<std::string>());
    crls.push_back(std::move(facts));
  }
}

}  // namespace

void addStores(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("store", "Certificate stores")->require_subcommand(1);
  auto arguments = std::make_shared<StoreArguments>();
  CLI::App& listing = *noun.add_subcommand("list", "List the stores");
  addLocation(listing, arguments->location);
  listing.callback([&tool, arguments] { list(tool.report, *arguments); });
  CLI::App& showing = *noun.add_subcommand("show", "Show a store's certificates and CRLs");
  showing.add_option("NAME", arguments->name, "The store's name")->required();
  addLocation(showing, arguments->location);
  showing.callback([&tool, arguments] { show(tool.report, *arguments); });
}

}  // namespace qx::admin
