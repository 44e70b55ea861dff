#include <memory>
#include <string>
#include <vector>

#include "provider/store/store_files.h"
#include "tools/qxprovider/certificate_files.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/crl_update.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

struct CrlArguments {
  Location location = Location::CurrentUser;
  std::string store = "CA";
  std::vector<std::string> files;
};

void addFile(tools::Report& report, const CrlArguments& arguments, const std::string& path) {
  const StoreName store = storeName(arguments.location, arguments.store);
  for (const auto& crl : readCrls(path)) {
    auto facts = crlFacts(*crl);
    facts["file"] = require(addCrlFile(store, *crl), path);
    report.line(arguments.store + ": CRL of " + facts["thisUpdate"].get<std::string>() + " by " +
                facts["issuer"].get<std::string>());
    report.facts()["added"].push_back(std::move(facts));
  }
}

}  // namespace

void addCrls(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("crl", "Revocation lists")->require_subcommand(1);
  auto arguments = std::make_shared<CrlArguments>();
  CLI::App& adding = *noun.add_subcommand("add", "Add revocation lists to a store");
  adding.add_option("FILE", arguments->files, "PEM or DER; - is standard input")->required();
  addLocation(adding, arguments->location);
  addStore(adding, arguments->store);
  adding.callback([&tool, arguments] {
    for (const std::string& path : arguments->files) {
      addFile(tool.report, *arguments, path);
    }
  });
  addCrlUpdate(noun, tool);
}

}  // namespace qx::admin
