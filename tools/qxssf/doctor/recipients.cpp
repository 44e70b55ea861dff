#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/doctor/store_view.h"
#include "tools/qxssf/recipient_view.h"

namespace qx::ssf::doctor {
namespace {

const StoreName kAddressBook{.name = "Addressbook"};

void examineValidity(const Library& library, const CERT_CONTEXT& certificate, Findings& findings) {
  for (const std::string& fault : validityFaults(library, certificate)) {
    findings.warn(nameText(library, certificate.pCertInfo->Subject),
                  fault + ", and would be encrypted for all the same",
                  "qxprovider cert remove " + kAddressBook.option() + " " +
                      thumbprintOf(library, certificate));
  }
}

}  // namespace

void examineRecipients(const Library& library, Findings& findings) {
  findings.begin("recipients in " + kAddressBook.name);
  const auto certificates = certificatesIn(library, kAddressBook);
  if (!certificates) {
    findings.good(kAddressBook.name, "none: nobody can be encrypted for without a profile");
    return;
  }
  std::string others;
  for (const CertificatePtr& one : *certificates) {
    examineValidity(library, *one, findings);
    if (!isForEncryption(library, *one)) {
      others.append(others.empty() ? "" : "; ").append(nameText(library, one->pCertInfo->Subject));
    }
  }
  findings.good(kAddressBook.name, std::to_string(certificates->size()) + " certificates");
  // Signers may lie here to be verified: one line for all of them.
  if (!others.empty()) {
    findings.warn(
        kAddressBook.name,
        "holds certificates that are not meant for encryption, by their key usage: " + others,
        "qxprovider store show " + quoted(kAddressBook.name));
  }
}

}  // namespace qx::ssf::doctor
