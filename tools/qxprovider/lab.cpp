#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "tools/common/tool.h"
#include "tools/lab/pki.h"
#include "tools/qxprovider/commands.h"
#include "tools/qxprovider/lab_addresses.h"
#include "tools/qxprovider/lab_people.h"
#include "tools/qxprovider/lab_server.h"
#include "tools/qxprovider/lab_writer.h"

namespace qx::admin {
namespace {

using lab::Authority;
using lab::CertificateOptions;

// A lab's lists and certificates are to be used for years, on machines with wrong clocks, too.
constexpr auto kBackdated = -365 * lab::kDay;

lab::Name nameOf(const std::string& commonName) {
  return {{.type = "C", .value = "RU"},
          {.type = "O", .value = "Lab"},
          {.type = "CN", .value = commonName}};
}

struct LabPair {
  Authority root;
  Authority issuing;
  std::vector<lab::RevokedEntry> revoked;
};

LabPair makeAuthority(const LabAuthority& plan,
                      const LabAddresses& addresses,
                      const LabWriter& writer) {
  const std::string name = plan.name;
  const std::string title = plan.title;
  Authority root = Authority::selfSigned(
      plan.kind, {.subject = nameOf(title + " Root"), .notBefore = kBackdated});
  CertificateOptions options{
      .subject = nameOf(title + " CA"), .notBefore = kBackdated, .pathLength = 0};
  addresses.addTo(options, name + "-root");
  Authority issuing = root.subordinate(plan.kind, options);
  writer.addCertificate("Root", root.certificate());
  writer.addCertificate("CA", issuing.certificate());
  writer.copy(name + "-root", root.key(), root.certificate());
  writer.copy(name + "-ca", issuing.key(), issuing.certificate());
  return {.root = std::move(root), .issuing = std::move(issuing), .revoked = {}};
}

CertificateOptions optionsFor(const LabPerson& person, const LabAddresses& addresses) {
  CertificateOptions options{.subject = nameOf(person.commonName), .notBefore = kBackdated};
  addresses.addTo(options, person.authority + std::string("-ca"));
  if (person.state == LabState::Expired) {
    options.notAfter = -lab::kDay;
  }
  switch (person.role) {
    case LabRole::Signer:
      options.keyUsage = "digitalSignature,nonRepudiation";
      break;
    case LabRole::Recipient:
      options.keyUsage = "keyEncipherment,dataEncipherment,keyAgreement";
      break;
    case LabRole::TimeStamps:
      options.keyUsage = "digitalSignature,nonRepudiation";
      options.extendedKeyUsage = "critical,timeStamping";
      break;
    case LabRole::Ocsp:
      options.keyUsage = "digitalSignature";
      options.extendedKeyUsage = "OCSPSigning";
      options.extensions.push_back({.name = "noCheck", .value = "ignored"});
      break;
  }
  return options;
}

bool isPerson(const LabPerson& person) {
  return person.role == LabRole::Signer || person.role == LabRole::Recipient;
}

void describe(const LabPerson& person, const X509* certificate, tools::Report& report) {
  const std::string subject = "CN=" + std::string(person.commonName) + ", O=Lab, C=RU";
  nlohmann::ordered_json facts = {{"name", person.name},
                                  {"role", roleName(person.role)},
                                  {"state", stateName(person.state)},
                                  {"type", lab::kindName(person.kind)},
                                  {"authority", person.authority},
                                  {"subject", subject},
                                  {"thumbprint", lab::thumbprint(certificate)}};
  if (person.pin != nullptr) {
    facts["pinFile"] = "pins/" + std::string(person.name) + ".pin";
  }
  report.line(std::string(roleName(person.role)) + ": " + subject + " (" +
              lab::kindName(person.kind) + ", " + stateName(person.state) + ")" +
              (person.pin == nullptr ? "" : ", PIN in " + facts["pinFile"].get<std::string>()));
  report.facts()["people"].push_back(std::move(facts));
}

void makePerson(const LabPerson& person,
                LabPair& authority,
                const LabAddresses& addresses,
                const LabWriter& writer,
                tools::Report& report) {
  const EvpPkeyPtr key = lab::generateKey(person.kind);
  const X509Ptr certificate = authority.issuing.issue(key.get(), optionsFor(person, addresses));
  writer.copy(person.name, key.get(), certificate.get());
  if (isPerson(person)) {
    writer.addKey(
        person.name,
        key.get(),
        person.pin == nullptr ? std::nullopt : std::optional<std::string_view>(person.pin));
    writer.addCertificate("My", certificate.get());
    writer.addCertificate("Addressbook", certificate.get());
  }
  if (person.state == LabState::Revoked) {
    authority.revoked.push_back({.serial = lab::serialOf(certificate.get()), .when = -lab::kDay});
  }
  describe(person, certificate.get(), report);
}

void makeCrls(const LabAuthority& plan, const LabPair& pair, const LabWriter& writer) {
  const std::string name = plan.name;
  writer.addCrl(
      "Root", name + "-root", pair.root.crl({.revoked = {}, .thisUpdate = kBackdated}).get());
  writer.addCrl("CA",
                name + "-ca",
                pair.issuing.crl({.revoked = pair.revoked, .thisUpdate = kBackdated}).get());
}

void create(tools::Report& report, const std::string& folder, const std::string& services) {
  const LabAddresses addresses(services);
  const LabWriter writer(folder);
  report.facts()["folder"] = writer.folder();
  if (!addresses.services().empty()) {
    report.facts()["services"] = addresses.services();
  }
  std::map<std::string, LabPair> authorities;
  for (const LabAuthority& plan : labAuthorities()) {
    authorities.emplace(plan.name, makeAuthority(plan, addresses, writer));
    report.facts()["authorities"].push_back(
        {{"name", plan.name}, {"type", lab::kindName(plan.kind)}});
    report.line("authority: " + std::string(plan.title) + " Root and CA (" +
                lab::kindName(plan.kind) + ")");
  }
  for (const LabPerson& person : labPeople()) {
    makePerson(person, authorities.at(person.authority), addresses, writer, report);
  }
  for (const LabAuthority& plan : labAuthorities()) {
    makeCrls(plan, authorities.at(plan.name), writer);
  }
  writer.write("lab.json", report.facts().dump(2) + "\n");
  report.line("Use it with: . " + writer.folder() + "/environment");
}

// Serves until somebody asks for the end. Threads inherit the mask: none of them is interrupted.
void serve(tools::Report& report, const LabServing& serving) {
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  const LabServer server(serving);
  server.describe(report);
  report.print();
  static_cast<void>(std::fflush(stdout));
  int signal = 0;
  sigwait(&ends, &signal);
}

void addCreate(tools::Tool& tool, CLI::App& noun) {
  auto folder = std::make_shared<std::string>();
  auto services = std::make_shared<std::string>();
  CLI::App& creating = *noun.add_subcommand("create", "Make a test PKI in a new folder");
  creating.add_option("DIR", *folder, "The folder")->required();
  creating.add_option("--services",
                      *services,
                      "http://host:port where `lab serve` will answer: the certificates name it");
  creating.callback([&tool, folder, services] { create(tool.report, *folder, *services); });
}

void addServe(tools::Tool& tool, CLI::App& noun) {
  auto serving = std::make_shared<LabServing>();
  CLI::App& verb =
      *noun.add_subcommand("serve", "Answer for a lab on 127.0.0.1 until SIGTERM or SIGINT");
  verb.add_option("DIR", serving->folder, "A folder that `lab create` made")->required();
  verb.add_option("--port",
                  serving->port,
                  "The port, 0 for any; without it the one that the certificates name");
  verb.add_option("--revoke", serving->revoked, "Revoke somebody's certificate now");
  verb.add_option("--delay", serving->delayMs, "Wait so many milliseconds for a time stamp");
  verb.add_flag("--stall", serving->stalls, "Never give a time stamp");
  verb.add_flag("--refuse", serving->refuses, "Refuse time stamps");
  verb.add_flag("--expired", serving->expired, "Stamp with a certificate whose time is over");
  verb.add_flag("--wrong-nonce", serving->stamps.wrongNonce, "Stamp with another nonce");
  verb.add_flag("--wrong-imprint", serving->stamps.wrongImprint, "Stamp another imprint");
  verb.add_flag("--chunked", serving->chunked, "Give time stamps in chunks");
  verb.add_flag("--redirect", serving->redirects, "Give time stamps at another place");
  verb.add_flag("--oversize", serving->oversize, "Give far too much with a time stamp");
  verb.callback([&tool, serving] { serve(tool.report, *serving); });
}

}  // namespace

void addLab(tools::Tool& tool) {
  CLI::App& noun = *tool.app.add_subcommand("lab", "A test PKI")->require_subcommand(1);
  addCreate(tool, noun);
  addServe(tool, noun);
}

}  // namespace qx::admin
