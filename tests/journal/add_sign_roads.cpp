#include "platform/cert_store.h"
#include "platform/errors.h"

#include "tests/journal/road.h"
#include "tests/qxsapssf/addsign_call.h"

namespace qx::test {
namespace {

constexpr const char* kIvan = "CN=Ivan Petrov, C=RU";

struct AddSignRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return given.all(); }

  void message(const std::string& content, bool isDetached) {
    ToyMessage toy;
    toy.content = content;
    toy.isDetached = isDetached;
    toy.signers = {{.serial = {9}}};
    call.signedData = provider().addMessage(toy);
  }

  /// Ivan signs, with another profile and password than he would.
  void signAs(const char* profile, const char* password) {
    SsfDELSigRcpSsfInfoList(&given.list);
    call.signer = &given.add(kIvan, profile, password);
  }

  AddSignCall call;
  Records given;
};

using Change = void (*)(AddSignRoad&);

/// Ivan adds his signature to an attached message, and then what the road is about.
NamedRoad road(const char* name, Change change) {
  return {"SsfAddSign", name, OnFailure::Nothing, [change] {
            auto made = std::make_unique<AddSignRoad>();
            made->message("content", false);
            provider().addCertificate({.pin = kLongPin});
            made->call.signer = &made->given.add(kIvan, "uMy", kLongPin);
            change(*made);
            return made;
          }};
}

void detach(AddSignRoad& road) {
  road.message("", true);
  road.call.input = "content";
}

void stampByFirstOfList() {
  provider().workingTspServers = {"http://one"};
  gConfig.tspList = {"http://one", "http://two"};
}

}  // namespace

std::vector<NamedRoad> addSignRoads() {
  return {
      road("addsign", [](AddSignRoad&) {}),
      road("addsign_certificate",
           [](AddSignRoad& r) {
             r.call.includeCertificate = 1;
             r.call.input = "content";
           }),
      road("addsign_detached", detach),
      road("addsign_any", [](AddSignRoad& r) { r.call.format = "PKCS7_ANY"; }),
      road("addsign_thumbprint",
           [](AddSignRoad& r) {
             SsfDELSigRcpSsfInfoList(&r.given.list);
             r.call.signer = &r.given.add(thumbprint("11"), "", kLongPin);
           }),
      road("addsign_machine_store",
           [](AddSignRoad& r) {
             provider().stores = {{.name = L"My",
                                   .location = CERT_SYSTEM_STORE_LOCAL_MACHINE,
                                   .certificates = {{.pin = kLongPin}}}};
             r.signAs("mMy", kLongPin);
           }),
      road("addsign_time_word", [](AddSignRoad& r) { r.signAs("<TIME>My", kLongPin); }),
      road("addsign_time_digits", [](AddSignRoad& r) { r.signAs("20240131120000My", kLongPin); }),
      road("addsign_asks",
           [](AddSignRoad& r) {
             provider().promptAnswer = kLongPin;
             r.signAs("uMy", "!a");
           }),
      road("addsign_last_of_many",
           [](AddSignRoad& r) {
             provider().stores.clear();
             provider().addCertificate({.serial = {6}, .hasKey = false});
             provider().addCertificate({.serial = {7}, .pin = kLongPin, .pinError = NTE_FAIL});
             provider().addCertificate({.serial = {8}, .pin = "another PIN"});
             provider().addCertificate({.pin = kLongPin});
             r.signAs("uMy", kLongPin);
           }),
      road("addsign_cades", [](AddSignRoad& r) { r.call.format = "CADES"; }),
      road("addsign_cades_listed",
           [](AddSignRoad& r) {
             r.call.format = "PKCS7_CADES";
             stampByFirstOfList();
           }),
      road("addsign_cades_detached_listed",
           [](AddSignRoad& r) {
             detach(r);
             r.call.format = "CADES";
             stampByFirstOfList();
           }),
  };
}

}  // namespace qx::test
