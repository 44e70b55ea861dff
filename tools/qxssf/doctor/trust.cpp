#include <cstring>
#include <filesystem>
#include <set>

#include "tools/common/report.h"
#include "tools/qxssf/chain_view.h"
#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/doctor/key_view.h"
#include "tools/qxssf/doctor/store_view.h"

namespace qx::ssf::doctor {
namespace {

using tools::ExitCode;

// What has findings of its own; everything else that can be wrong is told by its bits.
constexpr DWORD kTold = CERT_TRUST_IS_NOT_TIME_VALID | CERT_TRUST_IS_REVOKED |
                        CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_REVOCATION_STATUS_UNKNOWN |
                        CERT_TRUST_IS_OFFLINE_REVOCATION | CERT_TRUST_IS_PARTIAL_CHAIN;

bool isSame(const CERT_NAME_BLOB& one, const CERT_NAME_BLOB& other) {
  return one.cbData == other.cbData && std::memcmp(one.pbData, other.pbData, one.cbData) == 0;
}

std::vector<StoreName> otherStores() {
  std::vector<StoreName> stores;
  for (const bool machine : {false, true}) {
    const std::string root = machine ? machineFolder().value : userFolder().value;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(root + "/stores", error)) {
      stores.push_back({.machine = machine, .name = entry.path().filename()});
    }
  }
  return stores;
}

/// Trust tells of each authority once, however many certificates suffer from it.
class Trust {
 public:
  Trust(const Library& library, Findings& findings) : library_(&library), findings_(&findings) {}

  void examine(const CERT_CONTEXT& certificate, bool meant) {
    const std::string subject = nameText(*library_, certificate.pCertInfo->Subject);
    const ChainPtr chain = chainOf(*library_, certificate, verifyFlags());
    if (chain == nullptr || chain->cChain == 0) {
      findings_->fault(ExitCode::NotTrusted, subject, "no chain can be built", "qxssf explain 22");
      return;
    }
    const CERT_SIMPLE_CHAIN& simple = *chain->rgpChain[0];
    const bool isPartial = (simple.TrustStatus.dwErrorStatus & CERT_TRUST_IS_PARTIAL_CHAIN) != 0;
    for (DWORD i = 0; i < simple.cElement; ++i) {
      const CERT_CHAIN_ELEMENT& element = *simple.rgpElement[i];
      // Where the issuer itself is missing, its revocation list does not help.
      const bool endsHere = isPartial && i + 1 == simple.cElement;
      const DWORD told = endsHere ? ~CERT_TRUST_REVOCATION_STATUS_UNKNOWN : ~DWORD{0};
      examineElement(element, element.TrustStatus.dwErrorStatus & told, i == 0, i == 0 && !meant);
      if (endsHere) {
        missIssuer(*element.pCertContext->pCertInfo);
      }
    }
    if (chain->TrustStatus.dwErrorStatus == CERT_TRUST_NO_ERROR) {
      findings_->good(subject, "trusted, not revoked");
    }
  }

 private:
  void examineElement(const CERT_CHAIN_ELEMENT& element, DWORD errors, bool isOwn, bool mayBe) {
    const CERT_INFO& info = *element.pCertContext->pCertInfo;
    const std::string subject = nameText(*library_, info.Subject);
    if ((errors & CERT_TRUST_IS_REVOKED) != 0) {
      complain(subject, "is revoked", "qxprovider cert add --store My CERTIFICATE", mayBe);
    }
    if ((errors & CERT_TRUST_IS_NOT_TIME_VALID) != 0 && !isOwn) {
      complain(subject, "is out of its time", "qxprovider cert add --store CA CERTIFICATE", false);
    }
    if ((errors & CERT_TRUST_IS_UNTRUSTED_ROOT) != 0) {
      complain(subject, "is not in Root", "qxprovider cert add --store Root CERTIFICATE", false);
    }
    if ((errors & CERT_TRUST_REVOCATION_STATUS_UNKNOWN) != 0) {
      complain(nameText(*library_, info.Issuer),
               "has no revocation list that holds now: SsfVerify returns 5 with the result 22",
               "qxprovider crl add --store CA CRL",
               false);
    }
    if ((errors & ~kTold) != 0) {
      complain(subject,
               "is not good in its chain, bits " + tools::errorNumber(errors),
               "qxssf explain 22",
               mayBe);
    }
  }

  // The issuer at which a chain ends: nowhere, or where no chain looks for it.
  void missIssuer(const CERT_INFO& last) {
    const std::string issuer = nameText(*library_, last.Issuer);
    for (const StoreName& store : otherStores()) {
      const auto certificates = certificatesIn(*library_, store);
      for (const CertificatePtr& one : certificates.value_or(std::vector<CertificatePtr>())) {
        if (isSame(one->pCertInfo->Subject, last.Issuer)) {
          complain(issuer,
                   "lies in " + store.name + ", where chains do not look: it belongs in CA",
                   "qxprovider cert export " + store.option() + " " +
                       thumbprintOf(*library_, *one) + " | qxprovider cert add --store CA -",
                   false);
          return;
        }
      }
    }
    complain(issuer,
             "has no certificate here: an authority's belongs in CA, a root's in Root",
             "qxprovider cert add --store CA CERTIFICATE",
             false);
  }

  void complain(const std::string& subject,
                const std::string& text,
                const std::string& remedy,
                bool mayBe) {
    if (!told_.insert(subject + '\n' + text).second) {
      return;
    }
    if (mayBe) {
      findings_->warn(subject, text, remedy);
    } else {
      findings_->fault(ExitCode::NotTrusted, subject, text, remedy);
    }
  }

  const Library* library_;
  Findings* findings_;
  std::set<std::string> told_;
};

}  // namespace

void examineTrust(const Library& library, const Person& person, Findings& findings) {
  findings.begin("trust and revocation");
  Trust trust(library, findings);
  const auto certificates = certificatesIn(library, storeOfProfile(person.profile));
  for (const CertificatePtr& one : certificates.value_or(std::vector<CertificatePtr>())) {
    const bool meant = !person.id.empty() && isNamedBy(person.id,
                                                       nameText(library, one->pCertInfo->Subject),
                                                       thumbprintOf(library, *one));
    if ((meant || person.id.empty()) && Key(library, *one).error() == 0) {
      trust.examine(*one, meant);
    }
  }
}

}  // namespace qx::ssf::doctor
