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

  void signWithIdentity(const char* identity) {
    SsfDELSigRcpSsfInfoList(&given.list);
    call.signer = &given.add(identity, "uMy");
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

namespace {

/// The operation's calls fail with this error.
constexpr DWORD kRefused = NTE_FAIL;

/// What is refused before the message is opened.
std::vector<NamedRoad> argumentRefusals() {
  return {
      road("refused_addsign_format", [](AddSignRoad& r) { r.call.format = "pkcs7"; }),
      road("refused_addsign_no_signer",
           [](AddSignRoad& r) {
             SsfDELSigRcpSsfInfoList(&r.given.list);
             r.call.signer = nullptr;
             r.call.signedData.clear();
           }),
      road("refused_addsign_no_message",
           [](AddSignRoad& r) {
             r.call.signer->idLength = 0;
             r.call.signedData.clear();
           }),
      road("refused_addsign_no_identity", [](AddSignRoad& r) { r.call.signer->idLength = 0; }),
      road("refused_addsign_blank_identity", [](AddSignRoad& r) { r.signWithIdentity("   "); }),
  };
}

/// What is refused while the message is looked at.
std::vector<NamedRoad> messageRefusals() {
  return {
      road("refused_addsign_open",
           [](AddSignRoad&) { provider().failFirst("CryptMsgOpenToDecode", kRefused); }),
      road("refused_addsign_no_format", [](AddSignRoad& r) { r.call.signedData = "garbage"; }),
      road("refused_addsign_detached_alone", [](AddSignRoad& r) { r.message("", true); }),
      road("refused_addsign_size",
           [](AddSignRoad&) { provider().failFirst("CryptMsgGetParam", kRefused); }),
      road("refused_addsign_content",
           [](AddSignRoad&) { provider().failLate("CryptMsgGetParam", kRefused); }),
      road("refused_addsign_content_memory",
           [](AddSignRoad&) {
             provider().loseMemoryAfter("CryptMsgGetParam(CMSG_CONTENT_PARAM, 0, size");
           }),
      road("refused_addsign_differs", [](AddSignRoad& r) { r.call.input = "CONTENT"; }),
  };
}

/// The only certificate of the store is this one.
void keepOnly(const ToyCertificate& certificate) {
  provider().stores.clear();
  provider().addCertificate(certificate);
}

/// What is refused while the signer is looked for.
std::vector<NamedRoad> signerRefusals() {
  return {
      road("refused_addsign_no_store", [](AddSignRoad& r) { r.signAs("uNone", kLongPin); }),
      road("refused_addsign_identity", [](AddSignRoad& r) { r.signWithIdentity("Ivan Petrov"); }),
      road("refused_addsign_absent", [](AddSignRoad&) { keepOnly({.subject = "CN=Somebody"}); }),
      road("refused_addsign_unreadable", [](AddSignRoad&) { keepOnly({.subject = "CN="}); }),
      road("refused_addsign_no_key", [](AddSignRoad&) { keepOnly({.hasKey = false}); }),
      road("refused_addsign_pin_not_taken",
           [](AddSignRoad&) { keepOnly({.pin = kLongPin, .pinError = kRefused}); }),
      road("refused_addsign_pin", [](AddSignRoad&) { keepOnly({.pin = "another PIN"}); }),
      road("refused_addsign_no_hash",
           [](AddSignRoad&) { keepOnly({.publicKeyOid = "1.2.3", .pin = kLongPin}); }),
  };
}

/// What is refused while the signature is added.
std::vector<NamedRoad> signatureRefusals() {
  return {
      road("refused_addsign_reopen",
           [](AddSignRoad&) { provider().failNth("CryptMsgOpenToDecode", 2, kRefused); }),
      road("refused_addsign_reopened",
           [](AddSignRoad&) { provider().failNth("CryptMsgUpdate", 2, kRefused); }),
      road("refused_addsign_detached_content",
           [](AddSignRoad& r) {
             detach(r);
             provider().failNth("CryptMsgUpdate", 3, kRefused);
           }),
      road("refused_addsign_signer",
           [](AddSignRoad&) { provider().failFirst("CryptMsgControl", kRefused); }),
      road("refused_addsign_certificate",
           [](AddSignRoad& r) {
             r.call.includeCertificate = 1;
             provider().failNth("CryptMsgControl", 2, kRefused);
           }),
  };
}

void stampByNone(AddSignRoad& road) {
  road.call.format = "CADES";
  provider().workingTspServers.clear();
}

/// The first server of the list does not stamp, either; the second one would.
void stampBySecondOfList(AddSignRoad& road) {
  road.call.format = "CADES";
  provider().workingTspServers = {"http://two"};
  gConfig.tspList = {"http://one", "http://two"};
}

/// What is refused while an enhanced signature is added.
std::vector<NamedRoad> enhancedRefusals() {
  return {
      road("refused_addsign_cades", stampByNone),
      road("refused_addsign_cades_listed", stampBySecondOfList),
      road("refused_addsign_cades_open",
           [](AddSignRoad& r) {
             stampBySecondOfList(r);
             provider().failNth("CryptMsgOpenToDecode", 3, kRefused);
           }),
      road("refused_addsign_cades_reopened",
           [](AddSignRoad& r) {
             stampBySecondOfList(r);
             provider().failNth("CryptMsgUpdate", 3, kRefused);
           }),
  };
}

/// What is refused when the signature is there.
std::vector<NamedRoad> encodingRefusals() {
  return {
      road("refused_addsign_encoded_size",
           [](AddSignRoad&) {
             provider().failFirst("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", kRefused);
           }),
      road("refused_addsign_encoded_memory",
           [](AddSignRoad&) {
             provider().loseMemoryAfter("CryptMsgGetParam(CMSG_ENCODED_MESSAGE");
           }),
      road("refused_addsign_encoded",
           [](AddSignRoad&) {
             provider().failLate("CryptMsgGetParam(CMSG_ENCODED_MESSAGE", kRefused);
           }),
      road("refused_addsign_close",
           [](AddSignRoad&) { provider().failNth("CryptMsgClose", 2, kRefused); }),
  };
}

}  // namespace

std::vector<NamedRoad> addSignRefusals() {
  return joined({argumentRefusals(),
                 messageRefusals(),
                 signerRefusals(),
                 signatureRefusals(),
                 enhancedRefusals(),
                 encodingRefusals()});
}

}  // namespace qx::test
