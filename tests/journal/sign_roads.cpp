#include "platform/cert_store.h"
#include "platform/crypt_prov.h"
#include "platform/errors.h"

#include "tests/journal/road.h"
#include "tests/qxsapssf/sign_call.h"

namespace qx::test {
namespace {

constexpr const char* kIvan = "CN=Ivan Petrov, C=RU";
constexpr const char* kPin = kLongPin;

struct SignRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return call.signers.all(); }

  SignCall call;
};

using Change = void (*)(SignRoad&);

/// Ivan's certificate with a PIN in the user's own store, and then what the road is about.
NamedRoad road(const char* name, Change change) {
  return {"SsfSign", name, OnFailure::Nothing, [change] {
            auto made = std::make_unique<SignRoad>();
            change(*made);
            return made;
          }};
}

void addIvan(SignRoad& road, const char* profile, const char* password, const char* pin = kPin) {
  provider().addCertificate({.pin = pin});
  road.call.signers.add(kIvan, profile, password);
}

ToyCertificate numbered(BYTE number) {
  return {.subject = "CN=Signer " + std::to_string(number),
          .serial = {number},
          .thumbprint = scripted::Bytes(20, number)};
}

void withFormat(SignRoad& road, const char* format) {
  addIvan(road, "uMy", kPin);
  road.call.format = format;
}

void addTwoByThumbprint(SignRoad& road) {
  provider().addCertificate(numbered(1));
  provider().addCertificate(numbered(2));
  road.call.signers.add(thumbprint("01"));
  road.call.signers.add(thumbprint("02"));
}

/// Certificates of one name, of which the one with serial number 9 is the first that will do.
void addLastOfMany(SignRoad& road) {
  provider().addCertificate({.subject = "CN=Somebody", .serial = {5}});
  provider().addCertificate({.subject = "CN=", .serial = {6}});
  provider().addCertificate({.serial = {7}, .hasKey = false});
  provider().addCertificate({.serial = {8}, .pin = "another PIN"});
  provider().addCertificate({.serial = {9}, .pin = kPin});
  road.call.signers.add(kIvan, "uMy", kPin);
}

void addMachineStore() {
  provider().stores.push_back({.name = L"My",
                               .location = CERT_SYSTEM_STORE_LOCAL_MACHINE,
                               .certificates = {{.pin = kPin}}});
}

}  // namespace

std::vector<NamedRoad> signRoads() {
  return {
      road("sign", [](SignRoad& r) { addIvan(r, "uMy", kPin); }),
      road("sign_thumbprints", [](SignRoad& r) { addTwoByThumbprint(r); }),
      road("sign_detached",
           [](SignRoad& r) {
             addIvan(r, "uMy", kPin);
             r.call.detached = 1;
           }),
      road("sign_certificates",
           [](SignRoad& r) {
             addTwoByThumbprint(r);
             r.call.includeCertificates = 1;
           }),
      road("sign_any", [](SignRoad& r) { withFormat(r, "PKCS7_ANY"); }),
      road("sign_cades", [](SignRoad& r) { withFormat(r, "CADES"); }),
      road("sign_cades_detached",
           [](SignRoad& r) {
             withFormat(r, "PKCS7_CADES");
             r.call.detached = 1;
             r.call.includeCertificates = 1;
           }),
      road("sign_cades_third_server",
           [](SignRoad& r) {
             withFormat(r, "CADES");
             provider().workingTspServers = {"http://two"};
             gConfig.tspList = {"http://one", "http://two", "http://three"};
           }),
      road("sign_machine_store",
           [](SignRoad& r) {
             addMachineStore();
             r.call.signers.add(kIvan, "mMy", kPin);
           }),
      road("sign_time_word", [](SignRoad& r) { addIvan(r, "<TIME>My", kPin); }),
      road("sign_time_digits", [](SignRoad& r) { addIvan(r, "20240131120000My", kPin); }),
      road("sign_whole_profile", [](SignRoad& r) { addIvan(r, "My", kPin); }),
      road("sign_default_store", [](SignRoad& r) { addIvan(r, "", kPin); }),
      road("sign_without_pin", [](SignRoad& r) { addIvan(r, "uMy", "", ""); }),
      road("sign_asks_when_empty",
           [](SignRoad& r) {
             addIvan(r, "uMy", "");
             gConfig.askPinWhenEmpty = 1;
             provider().promptAnswer = kPin;
           }),
      road("sign_asks_by_mark",
           [](SignRoad& r) {
             addIvan(r, "uMy", "!ab");
             provider().promptAnswer = kPin;
           }),
      road("sign_pin_with_mark", [](SignRoad& r) { addIvan(r, "uMy", "!abc", "!abc"); }),
      road("sign_signature_key",
           [](SignRoad& r) {
             provider().addCertificate({.keySpec = AT_SIGNATURE, .pin = kPin});
             r.call.signers.add(kIvan, "uMy", kPin);
           }),
      road("sign_last_of_many", [](SignRoad& r) { addLastOfMany(r); }),
      road("sign_pin_refused_first",
           [](SignRoad& r) {
             provider().addCertificate({.serial = {7}, .pin = kPin, .pinError = NTE_FAIL});
             addIvan(r, "uMy", kPin);
           }),
      road("sign_no_hash_first",
           [](SignRoad& r) {
             provider().addCertificate({.serial = {7}, .publicKeyOid = "1.2.3", .pin = kPin});
             addIvan(r, "uMy", kPin);
           }),
      road("sign_three",
           [](SignRoad& r) {
             r.call.format = "PKCS7_CADES";
             addTwoByThumbprint(r);
             addIvan(r, "My", kPin);
           }),
      road("sign_rsa",
           [](SignRoad& r) {
             provider().addCertificate({.publicKeyOid = szOID_RSA_RSA, .pin = kPin});
             provider().algorithms = {CALG_RSA_SIGN, CALG_MD5, CALG_SHA_256};
             r.call.signers.add(kIvan, "uMy", kPin);
           }),
  };
}

std::vector<NamedRoad> signRefusals() {
  return {
      road("refused_sign_format", [](SignRoad& r) { withFormat(r, "pkcs7"); }),
      road("refused_sign_no_list", [](SignRoad& r) { r.call.input.clear(); }),
      road("refused_sign_no_data",
           [](SignRoad& r) {
             addIvan(r, "uMy", kPin);
             r.call.input.clear();
           }),
      road("refused_sign_absent",
           [](SignRoad& r) {
             provider().addCertificate({.subject = "CN=Somebody"});
             r.call.signers.add(kIvan, "uMy", kPin);
           }),
      road("refused_sign_pin", [](SignRoad& r) { addIvan(r, "uMy", "12345"); }),
      road("refused_sign_no_key",
           [](SignRoad& r) {
             provider().addCertificate({.hasKey = false});
             r.call.signers.add(kIvan, "uMy", kPin);
           }),
      road("refused_sign_no_store", [](SignRoad& r) { addIvan(r, "uNone", kPin); }),
      road("refused_sign_nobody", [](SignRoad& r) { r.call.signers.add("   "); }),
      road("refused_sign_second",
           [](SignRoad& r) {
             addTwoByThumbprint(r);
             provider().stores[0].certificates.pop_back();
           }),
  };
}

}  // namespace qx::test
