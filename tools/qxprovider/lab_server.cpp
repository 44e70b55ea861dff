#include "tools/qxprovider/lab_server.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include <nlohmann/json.hpp>

#include "provider/http/url.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxprovider/lab_addresses.h"

namespace qx::admin {
namespace {

using lab::Authority;
using lab::OcspResponder;
using lab::RevokedEntry;
using lab::TimeStampAuthority;

constexpr std::size_t kExcess = std::size_t{64} << 20U;
constexpr const char* kMoved = "/moved";

std::string readText(const std::string& folder, const std::string& name) {
  const tools::Input input(folder + "/" + name);
  return {input.bytes().begin(), input.bytes().end()};
}

X509Ptr readCertificate(const std::string& folder, const std::string& name) {
  return lab::certificateFromPem(readText(folder, "pem/" + name + ".crt"));
}

EvpPkeyPtr readKey(const std::string& folder, const std::string& name) {
  return lab::keyFromPem(readText(folder, "pem/" + name + ".key"));
}

Authority readAuthority(const std::string& folder, const std::string& name) {
  return {readKey(folder, name), readCertificate(folder, name)};
}

void checkPerson(const std::string& name) {
  const auto people = labPeople();
  if (std::ranges::find(people, name, &LabPerson::name) == people.end()) {
    throw tools::ToolError(tools::ExitCode::Input,
                           "there is nobody called " + name + " in the lab");
  }
}

const LabPerson* personFor(LabRole role, const std::string& authority) {
  for (const LabPerson& person : labPeople()) {
    if (person.role == role && person.authority == authority) {
      return &person;
    }
  }
  return nullptr;
}

std::vector<RevokedEntry> revokedOf(const LabServing& serving, const std::string& authority) {
  std::vector<RevokedEntry> revoked;
  for (const LabPerson& person : labPeople()) {
    const bool now = std::ranges::find(serving.revoked, person.name) != serving.revoked.end();
    if (person.authority == authority && (now || person.state == LabState::Revoked)) {
      const X509Ptr certificate = readCertificate(serving.folder, person.name);
      revoked.push_back({.serial = lab::serialOf(certificate.get()),
                         .when = now ? std::chrono::seconds(0) : -lab::kDay});
    }
  }
  return revoked;
}

// The port that the lab's certificates name; 0 when they name none.
std::uint16_t ownPort(const std::string& folder) {
  const auto facts = nlohmann::json::parse(readText(folder, "lab.json"));
  const Result<Url> url = parseUrl(facts.value("services", ""));
  return url ? url->port : 0;
}

// Looked for before there is a server that nobody needs.
std::uint16_t portFor(const LabServing& serving) {
  if (!std::filesystem::exists(serving.folder + "/lab.json")) {
    throw tools::ToolError(tools::ExitCode::Input,
                           serving.folder + " is no lab; lab create makes one");
  }
  std::ranges::for_each(serving.revoked, checkPerson);
  return serving.port ? *serving.port : ownPort(serving.folder);
}

lab::Conduct conductOf(const LabServing& serving) {
  return {.delay = std::chrono::milliseconds(serving.delayMs),
          .stalls = serving.stalls,
          .chunked = serving.chunked,
          .excess = serving.oversize ? kExcess : 0};
}

// The authority with its certificate, or with one whose time is over.
TimeStampAuthority stampsOf(const LabServing& serving, const LabPerson& person) {
  if (!serving.expired) {
    return {readKey(serving.folder, person.name), readCertificate(serving.folder, person.name)};
  }
  const Authority issuer = readAuthority(serving.folder, person.authority + std::string("-ca"));
  return TimeStampAuthority::issuedBy(issuer,
                                      person.kind,
                                      {.subject = {{.type = "CN", .value = person.commonName}},
                                       .notBefore = -2 * lab::kDay,
                                       .notAfter = -lab::kDay});
}

}  // namespace

LabServer::LabServer(const LabServing& serving) : serving_(&serving), services_(portFor(serving)) {
  for (const LabAuthority& authority : labAuthorities()) {
    offerAuthority(authority);
  }
  for (const LabPerson& person : labPeople()) {
    if (person.role == LabRole::TimeStamps) {
      offerStamps(person);
    }
  }
}

void LabServer::offerAuthority(const LabAuthority& authority) {
  const std::string name = authority.name;
  const Authority root = readAuthority(serving_->folder, name + "-root");
  const Authority issuing = readAuthority(serving_->folder, name + "-ca");
  offerIssuer(name + "-root", root, {}, std::make_shared<OcspResponder>(OcspResponder::of(root)));
  if (const LabPerson* ocsp = personFor(LabRole::Ocsp, name); ocsp != nullptr) {
    offerIssuer(name + "-ca",
                issuing,
                revokedOf(*serving_, name),
                std::make_shared<OcspResponder>(readKey(serving_->folder, ocsp->name),
                                                readCertificate(serving_->folder, ocsp->name)));
  }
}

// The list holds for a day, so that whoever keeps one sees what is revoked later.
void LabServer::offerIssuer(const std::string& issuer,
                            const Authority& authority,
                            const std::vector<RevokedEntry>& revoked,
                            std::shared_ptr<const OcspResponder> responder) {
  const X509CrlPtr crl = authority.crl({.revoked = revoked,
                                        .thisUpdate = -std::chrono::hours(1),
                                        .nextUpdate = lab::kDay,
                                        .number = 2});
  services_.offerFile(crlPath(issuer), lab::toDer(crl.get()), "application/pkix-crl");
  services_.offerFile(
      issuerPath(issuer), lab::toDer(authority.certificate()), "application/pkix-cert");
  services_.offerOcsp(ocspPath(issuer), std::move(responder), authority.certificate(), revoked);
}

void LabServer::offerStamps(const LabPerson& person) {
  const std::string path = stampPath(person.authority);
  const std::string answering = serving_->redirects ? kMoved + path : path;
  if (serving_->redirects) {
    services_.setConduct(path, {.redirect = answering});
  }
  services_.setConduct(answering, conductOf(*serving_));
  if (serving_->refuses) {
    services_.offerFile(answering,
                        lab::timeStampResponse(lab::TimeStampStatus::Rejection, {}),
                        "application/timestamp-reply");
    return;
  }
  services_.offerTimeStamps(answering,
                            std::make_shared<TimeStampAuthority>(stampsOf(*serving_, person)),
                            serving_->stamps);
}

void LabServer::describe(tools::Report& report) const {
  report.facts()["address"] = services_.url();
  report.line(services_.url());
  for (const LabPerson& person : labPeople()) {
    if (person.role == LabRole::TimeStamps) {
      const std::string url = services_.url(stampPath(person.authority));
      report.facts()["timeStamps"][person.authority] = url;
      report.line("time stamps: " + url);
    }
  }
  for (const LabAuthority& authority : labAuthorities()) {
    for (const std::string& issuer :
         {authority.name + std::string("-root"), authority.name + std::string("-ca")}) {
      report.facts()["ocsp"][issuer] = services_.url(ocspPath(issuer));
      report.facts()["crls"][issuer] = services_.url(crlPath(issuer));
      report.line("OCSP and CRL of " + issuer + ": " + services_.url(ocspPath(issuer)) + " " +
                  services_.url(crlPath(issuer)));
    }
  }
}

}  // namespace qx::admin
