#include "tools/qxprovider/crl_update.h"

#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "provider/chain/addresses.h"
#include "provider/chain/crl_scope.h"
#include "provider/chain/crl_status.h"
#include "provider/chain/network.h"
#include "provider/openssl/errors.h"
#include "provider/store/folder_store.h"
#include "provider/store/store_files.h"
#include "tools/qxprovider/certificate_text.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/issuers.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

using tools::ExitCode;

// A list to fetch, and the certificate that names it.
struct WantedCrl {
  std::string address;
  CertificatePtr subject;
  CertificatePtr issuer;
  std::string store;  // the issuer's
};

// What became of one address.
struct Outcome {
  const char* state = "";
  std::string reason;
  CrlPtr crl;
};

Outcome failed(std::string reason) {
  return {.state = "failed", .reason = std::move(reason), .crl = nullptr};
}

// The stores whose certificates are looked at. The user's trust is there without a folder of his.
std::set<std::string> lookedAt(Location location) {
  const std::vector<std::string> names = require(storeNames(location), "stores");
  std::set<std::string> all(names.begin(), names.end());
  for (const char* name : {"Root", "CA"}) {
    if (snapshot(location, name)) {
      all.insert(name);
    }
  }
  return all;
}

// Collects what is to be fetched, each list once. Nobody is asked because of a certificate that no
// authority of ours has signed: whoever wrote it could have us ask anywhere.
class Wanted {
 public:
  explicit Wanted(Location location) : location_(location), trust_(trustOf(location)) {}

  void addStores(tools::Report& report) {
    for (const std::string& name : lookedAt(location_)) {
      const auto store = openStore(location_, name);
      for (const StoredCertificate& entry : store->certificates()) {
        add(entry.data, report);
      }
    }
  }

  const std::vector<WantedCrl>& crls() const { return crls_; }

 private:
  void add(const CertificatePtr& subject, tools::Report& report) {
    const std::vector<std::string> addresses = crlAddresses(*subject);
    if (addresses.empty() || !seen_.insert(thumbprintText(*subject)).second) {
      return;
    }
    const CertificatePtr issuer = issuerOf(*subject, *trust_);
    if (issuer == nullptr) {
      reportUnknown(*subject, report);
      return;
    }
    for (const std::string& address : addresses) {
      if (asked_.emplace(address, thumbprintText(*issuer)).second) {
        crls_.push_back({.address = address,
                         .subject = subject,
                         .issuer = issuer,
                         .store = trust_->isRoot(*issuer) ? "Root" : "CA"});
      }
    }
  }

  static void reportUnknown(const CertificateData& subject, tools::Report& report) {
    report.facts()["unknown"].push_back(certificateFacts(subject));
    report.line("skipped: " + nameText(subject.info().Subject) +
                ": its authority is in neither Root nor CA");
  }

  Location location_;
  TrustSourcePtr trust_;
  std::set<std::string> seen_;
  std::set<std::pair<std::string, std::string>> asked_;
  std::vector<WantedCrl> crls_;
};

// Why a list is not what its address promised; null when it is.
const char* fault(const CrlData& crl, const WantedCrl& wanted) {
  const ErrorQueueGuard queue;
  if (crl.crl() == nullptr) {
    return "it cannot be read";
  }
  if (!isSignedBy(crl, *wanted.issuer)) {
    return "it is not signed by its authority";
  }
  return whyNotAbout(crl, *wanted.subject);
}

// Whether the store has this list or a newer one.
bool isKnown(const CrlData& crl, const StoreName& store) {
  const auto own = ownSnapshot(store);
  return own && std::ranges::any_of((*own)->crls(), [&crl](const StoredCrl& entry) {
           return entry.data->subject() == crl.subject() &&
                  entry.data->thisUpdate() >= crl.thisUpdate();
         });
}

Outcome update(const WantedCrl& wanted, const StoreName& store) {
  Network network;
  const auto der = network.fetch(FileKind::Crl, wanted.address);
  if (!der) {
    return failed(failureText(der.error()));
  }
  const Result<CrlPtr> crl = CrlData::parse(*der);
  if (!crl) {
    return failed(failureText(crl.error()));
  }
  if (const char* reason = fault(**crl, wanted); reason != nullptr) {
    return failed(reason);
  }
  if (isKnown(**crl, store)) {
    return {.state = "unchanged", .reason = {}, .crl = *crl};
  }
  require(addCrlFile(store, **crl), store.name());
  return {.state = "updated", .reason = {}, .crl = *crl};
}

void report(tools::Report& report, const WantedCrl& wanted, const Outcome& outcome) {
  nlohmann::ordered_json facts = {{"address", wanted.address},
                                  {"state", outcome.state},
                                  {"store", wanted.store},
                                  {"issuer", nameText(wanted.issuer->info().Subject)}};
  if (outcome.crl == nullptr) {
    facts["reason"] = outcome.reason;
  } else {
    facts.update(crlFacts(*outcome.crl));
  }
  report.line(std::string(outcome.state) + ": " + wanted.address + ": " +
              (outcome.crl == nullptr ? outcome.reason
                                      : "CRL of " + facts["thisUpdate"].get<std::string>() +
                                            " by " + facts["issuer"].get<std::string>()));
  report.facts()["crls"].push_back(std::move(facts));
}

void updateAll(tools::Tool& tool, Location location) {
  tool.report.facts()["crls"] = nlohmann::ordered_json::array();
  Wanted wanted(location);
  wanted.addStores(tool.report);
  for (const WantedCrl& crl : wanted.crls()) {
    const Outcome outcome = update(crl, storeName(location, crl.store));
    report(tool.report, crl, outcome);
    if (outcome.crl == nullptr) {
      tool.exit = ExitCode::Service;
    }
  }
}

}  // namespace

void addCrlUpdate(CLI::App& noun, tools::Tool& tool) {
  auto location = std::make_shared<Location>(Location::CurrentUser);
  CLI::App& verb = *noun.add_subcommand(
      "update", "Fetch the revocation lists that certificates name; exit code 6 if one is missing");
  addLocation(verb, *location);
  verb.callback([&tool, location] { updateAll(tool, *location); });
}

}  // namespace qx::admin
