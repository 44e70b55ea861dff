#include "platform/cert.h"
#include "platform/cert_store.h"

#include "tests/journal/road.h"
#include "tests/qxsapssf/verify_call.h"

namespace qx::test {
namespace {

struct VerifyRoad : Road {
  SAPRETURN run() override { return call.run(); }

  Output& output() override { return call.output; }

  std::vector<SigRcpSsfInformation*> records() override { return call.signers.all(); }

  ToySigner& signer() { return toy.signers[0]; }

  ToyCertificate ivan = {.signatureOid = "1.2.643.2.2.3"};
  ToyMessage toy = {.content = "content", .signers = {ToySigner::of(ivan)}, .certificates = {ivan}};
  VerifyCall call;
};

/// An attached message of Ivan, whose certificate it carries, and then what the road is about.
NamedRoad road(const char* name, void (*change)(VerifyRoad&)) {
  return {"SsfVerify", name, OnFailure::ContentMayStay, [change] {
            auto made = std::make_unique<VerifyRoad>();
            change(*made);
            made->call.signedData = provider().addMessage(made->toy);
            return made;
          }};
}

FILETIME signedAt() {
  return scripted::fileTime(2026, 11, 15, 17, 3, 41);
}

FILETIME stampedAt() {
  return scripted::fileTime(2026, 11, 15, 17, 5, 0);
}

void inStore(VerifyRoad& road, const wchar_t* store, const char* profile) {
  road.toy.certificates.clear();
  provider().addCertificate(road.ivan, store);
  road.call.profile = profile;
}

void cades(VerifyRoad& road, const char* format) {
  road.call.format = format;
  road.signer().isCadesXLong = true;
  road.signer().cades.signingTime = signedAt();
  road.signer().cades.stampTime = stampedAt();
}

}  // namespace

std::vector<NamedRoad> verifyRoads() {
  return {
      road("verify", [](VerifyRoad&) {}),
      road("verify_time",
           [](VerifyRoad& r) {
             r.signer().attributes = {
                 {.oid = szOID_RSA_signingTime, .values = {scripted::encodedTime(signedAt())}}};
           }),
      road("verify_detached",
           [](VerifyRoad& r) {
             r.toy.content.clear();
             r.toy.isDetached = true;
             r.call.input = "content";
           }),
      road("verify_compared", [](VerifyRoad& r) { r.call.input = "content"; }),
      road("verify_any", [](VerifyRoad& r) { r.call.format = "PKCS7_ANY"; }),
      road("verify_hash", [](VerifyRoad&) { gConfig.useCertHash = 1; }),
      road("verify_reversed",
           [](VerifyRoad& r) {
             r.ivan.signatureOid = szOID_RSA_SHA256RSA;
             r.toy.certificates = {r.ivan};
           }),
      road("verify_nameless",
           [](VerifyRoad& r) {
             r.ivan.subject = "";
             r.toy.certificates = {r.ivan};
           }),
      road("verify_store", [](VerifyRoad& r) { inStore(r, L"Book", "uBook"); }),
      road("verify_default_store", [](VerifyRoad& r) { inStore(r, L"Addressbook", ""); }),
      road("verify_machine_store",
           [](VerifyRoad& r) {
             inStore(r, L"Book", "mBook");
             provider().stores[0].location = CERT_SYSTEM_STORE_LOCAL_MACHINE;
           }),
      road("verify_time_word", [](VerifyRoad& r) { inStore(r, L"Book", "<TIME>Book"); }),
      road("verify_time_digits", [](VerifyRoad& r) { inStore(r, L"Book", "20240131120000Book"); }),
      road("verify_whole_profile", [](VerifyRoad& r) { inStore(r, L"Book", "Book"); }),
      road("verify_values",
           [](VerifyRoad& r) {
             r.toy.certificates.clear();
             r.signer().certificateValues = {r.ivan};
           }),
      road("verify_fallback",
           [](VerifyRoad& r) {
             r.ivan.trustError = 0x20;
             r.toy.certificates = {r.ivan};
             r.signer().cades.stampTime = stampedAt();
           }),
      road("verify_two",
           [](VerifyRoad& r) {
             ToyCertificate other = r.ivan;
             other.subject = "CN=Signer 2";
             other.serial = {2};
             r.toy.certificates.push_back(other);
             r.toy.signers.push_back(ToySigner::of(other));
           }),
      road("verify_cades", [](VerifyRoad& r) { cades(r, "CADES"); }),
      road("verify_cades_detached",
           [](VerifyRoad& r) {
             cades(r, "PKCS7_CADES");
             r.toy.content.clear();
             r.toy.isDetached = true;
             r.call.input = "content";
           }),
      road("verify_any_cades", [](VerifyRoad& r) { cades(r, "PKCS7_ANY"); }),
  };
}

std::vector<NamedRoad> verifyRefusals() {
  return {
      road("refused_verify_forged",
           [](VerifyRoad& r) { r.signer().signatureError = NTE_BAD_SIGNATURE; }),
      road("refused_verify_differs", [](VerifyRoad& r) { r.call.input = "contents"; }),
      road("refused_verify_detached_alone",
           [](VerifyRoad& r) {
             r.toy.content.clear();
             r.toy.isDetached = true;
           }),
      road("refused_verify_untrusted",
           [](VerifyRoad& r) {
             r.ivan.trustError = 0x20;
             r.toy.certificates = {r.ivan};
             r.signer().cades.status = 5;
           }),
  };
}

}  // namespace qx::test
