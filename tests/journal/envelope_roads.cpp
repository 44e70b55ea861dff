#include "platform/cert_store.h"

#include "tests/journal/road.h"
#include "tests/qxsapssf/develope_call.h"
#include "tests/qxsapssf/envelope_call.h"

namespace qx::test {
namespace {

struct EnvelopeRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return call.recipients.all(); }

  EnvelopeCall call;
};

using Change = void (*)(EnvelopeRoad&);

ToyCertificate numbered(BYTE number) {
  return {.subject = "CN=Recipient " + std::to_string(number),
          .serial = {number},
          .thumbprint = scripted::Bytes(20, number),
          .hasKey = false};
}

NamedRoad road(const char* name, Change change) {
  return {"SsfEnvelope", name, OnFailure::Untouched, [change] {
            auto made = std::make_unique<EnvelopeRoad>();
            change(*made);
            return made;
          }};
}

void withProfile(EnvelopeRoad& road, const char* profile, DWORD location) {
  provider().stores.push_back(
      {.name = L"Book", .location = location, .certificates = {numbered(1)}});
  road.call.profile = profile;
  road.call.recipients.add("CN=Recipient 1");
}

struct DevelopeRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return given.all(); }

  DevelopeCall call;
  Records given;
};

NamedRoad developing(const char* name, void (*change)(DevelopeRoad&)) {
  return {"SsfDevelope", name, OnFailure::Nothing, [change] {
            auto made = std::make_unique<DevelopeRoad>();
            ToyMessage toy;
            toy.type = CMSG_ENVELOPED;
            toy.content = "content";
            toy.recipients = {{.serial = {9}}, {.serial = {1}}};
            made->call.envelopedData = provider().addMessage(toy);
            change(*made);
            made->call.recipient = made->given.all().at(0);
            return made;
          }};
}

}  // namespace

std::vector<NamedRoad> envelopeRoads() {
  return {
      road("envelope",
           [](EnvelopeRoad& r) {
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
           }),
      road("envelope_cades",
           [](EnvelopeRoad& r) {
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
             r.call.format = "CADES";
             r.call.cipher = "GOST";
           }),
      road("envelope_two",
           [](EnvelopeRoad& r) {
             provider().addCertificate({.subject = "CN=", .serial = {5}}, L"Addressbook");
             provider().addCertificate(numbered(2), L"Addressbook");
             provider().addCertificate(numbered(1), L"Addressbook");
             r.call.recipients.add("CN=Recipient 1");
             r.call.recipients.add(thumbprint("02"));
           }),
      road("envelope_user_store",
           [](EnvelopeRoad& r) { withProfile(r, "uBook", CERT_SYSTEM_STORE_CURRENT_USER); }),
      road("envelope_machine_store",
           [](EnvelopeRoad& r) { withProfile(r, "mBook", CERT_SYSTEM_STORE_LOCAL_MACHINE); }),
      road("envelope_time_word",
           [](EnvelopeRoad& r) { withProfile(r, "<TIME>Book", CERT_SYSTEM_STORE_CURRENT_USER); }),
      road("envelope_time_digits",
           [](EnvelopeRoad& r) {
             withProfile(r, "20240131120000Book", CERT_SYSTEM_STORE_CURRENT_USER);
           }),
  };
}

std::vector<NamedRoad> developeRoads() {
  return {
      developing("develope",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
                 }),
      developing("develope_thumbprint",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.keySpec = 2, .pin = kLongPin});
                   r.given.add(thumbprint("11"), "", kLongPin);
                 }),
      developing("develope_machine_store",
                 [](DevelopeRoad& r) {
                   provider().stores = {{.name = L"My",
                                         .location = CERT_SYSTEM_STORE_LOCAL_MACHINE,
                                         .certificates = {{.pin = kLongPin}}}};
                   r.given.add("CN=Ivan Petrov, C=RU", "mMy", kLongPin);
                 }),
      developing("develope_time_word",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "<TIME>My", kLongPin);
                 }),
      developing("develope_without_pin",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({});
                   r.given.add("CN=Ivan Petrov, C=RU", "20240131120000My", "");
                 }),
      developing("develope_asks",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.pin = kLongPin});
                   provider().promptAnswer = kLongPin;
                   r.given.add("CN=Ivan Petrov, C=RU", "My", "!");
                 }),
      developing("develope_last_of_many",
                 [](DevelopeRoad& r) {
                   provider().addCertificate({.subject = "CN=", .serial = {6}});
                   provider().addCertificate({.serial = {7}, .hasKey = false});
                   provider().addCertificate({.serial = {8}, .pin = "another PIN"});
                   provider().addCertificate({.pin = kLongPin});
                   r.given.add("CN=Ivan Petrov, C=RU", "uMy", kLongPin);
                 }),
  };
}

}  // namespace qx::test
