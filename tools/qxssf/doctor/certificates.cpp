#include <algorithm>
#include <utility>
#include <vector>

#include "platform/errors.h"

#include "tools/common/times.h"
#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/doctor/key_view.h"
#include "tools/qxssf/doctor/store_view.h"

namespace qx::ssf::doctor {
namespace {

using tools::ExitCode;

constexpr std::uint64_t kMonthTicks = std::uint64_t{30} * 86'400 * 10'000'000;

/// What there is to say of a certificate.
struct Entry {
  const CERT_CONTEXT* certificate;
  std::string subject;
  std::string thumbprint;
  std::uint64_t notBefore;
  std::uint64_t notAfter;
  /// It is one of the identity on trial.
  bool meant;
};

// One that somebody is about to sign with is a fault, any other may lie there as it is.
void complain(const Entry& entry,
              const std::string& text,
              const std::string& remedy,
              Findings& findings) {
  if (entry.meant) {
    findings.fault(ExitCode::NotTrusted, entry.subject, text, remedy);
  } else {
    findings.warn(entry.subject, text, remedy);
  }
}

void examineTime(const Entry& entry, const StoreName& store, Findings& findings) {
  const std::string replace = "qxprovider cert add " + store.option() + " CERTIFICATE";
  const std::string remove = "qxprovider cert remove " + store.option() + " " + entry.thumbprint;
  const std::uint64_t now = tools::ticksNow();
  if (entry.notAfter < now) {
    complain(entry,
             "expired at " + tools::isoTime(entry.notAfter),
             entry.meant ? replace : remove,
             findings);
  } else if (entry.notBefore > now) {
    complain(entry, "is valid from " + tools::isoTime(entry.notBefore) + " on", "date", findings);
  } else if (entry.notAfter < now + kMonthTicks) {
    findings.warn(entry.subject, "expires at " + tools::isoTime(entry.notAfter), replace);
  }
}

void examineSubject(const Entry& entry, Findings& findings) {
  if (entry.subject.find('\\') != std::string::npos) {
    findings.warn(entry.subject,
                  "has a backslash, by which a search for the name may miss it",
                  "qxssf doctor --signer " + entry.thumbprint);
  }
}

std::string describeKey(const Key& key) {
  if (key.error() != 0) {
    return key.error() == CRYPT_E_NO_KEY_PROPERTY ? "no key" : "a key that cannot be had";
  }
  return key.opens() ? "key without a PIN" : "key with a PIN";
}

void examineKey(const Entry& entry, const Key& key, const Person& person, Findings& findings) {
  if (key.error() != 0 && key.error() != CRYPT_E_NO_KEY_PROPERTY) {
    findings.fault(
        ExitCode::Key, entry.subject, "the file of its key cannot be read", "qxprovider key list");
  } else if (key.error() != 0 && entry.meant) {
    findings.fault(
        ExitCode::Key, entry.subject, "its key is not here", "qxprovider key import FILE");
  } else if (entry.meant && key.error() == 0 && !key.opensWith(person.pin)) {
    findings.fault(ExitCode::Key,
                   entry.subject,
                   person.pin.empty() ? "its key needs a PIN, and none was given"
                                      : "the PIN does not open its key",
                   "qxssf doctor --signer " + entry.thumbprint + " --pin-prompt");
  }
}

Entry entryOf(const Library& library, const CERT_CONTEXT& certificate, const Person& person) {
  Entry entry{.certificate = &certificate,
              .subject = nameText(library, certificate.pCertInfo->Subject),
              .thumbprint = thumbprintOf(library, certificate),
              .notBefore = ticksOf(certificate.pCertInfo->NotBefore),
              .notAfter = ticksOf(certificate.pCertInfo->NotAfter),
              .meant = false};
  entry.meant = !person.id.empty() && isNamedBy(person.id, entry.subject, entry.thumbprint);
  return entry;
}

void examineOne(const Library& library,
                const Entry& entry,
                const Person& person,
                const StoreName& store,
                Findings& findings) {
  const Key key(library, *entry.certificate);
  findings.good(
      entry.subject,
      entry.thumbprint + ", until " + tools::isoTime(entry.notAfter) + ", " + describeKey(key));
  examineTime(entry, store, findings);
  examineSubject(entry, findings);
  examineKey(entry, key, person, findings);
}

// Of several that match, the library takes the first whose key it can have.
void examineMatches(const Library& library,
                    const Person& person,
                    std::vector<Entry>& entries,
                    Findings& findings) {
  std::vector<Entry*> matches;
  for (Entry& entry : entries) {
    if (std::exchange(entry.meant, false)) {
      matches.push_back(&entry);
    }
  }
  if (matches.empty()) {
    findings.fault(
        ExitCode::Key, person.id, "no certificate of this identity", "qxprovider store list");
    return;
  }
  const auto withKey = std::ranges::find_if(matches, [&library](const Entry* entry) {
    return Key(library, *entry->certificate).error() == 0;
  });
  Entry* const taken = withKey == matches.end() ? matches.front() : *withKey;
  taken->meant = true;
  if (matches.size() > 1) {
    findings.warn(person.id,
                  std::to_string(matches.size()) + " certificates match; " + taken->thumbprint +
                      " is the first whose key is here",
                  "qxssf doctor --signer " + taken->thumbprint);
  }
}

}  // namespace

void examineCertificates(const Library& library, const Person& person, Findings& findings) {
  const StoreName store = storeOfProfile(person.profile);
  findings.begin("certificates in " + store.name);
  const auto certificates = certificatesIn(library, store);
  if (!certificates) {
    findings.fault(ExitCode::Input, store.name, "there is no such store", "qxprovider store list");
    return;
  }
  std::vector<Entry> entries;
  for (const CertificatePtr& certificate : *certificates) {
    entries.push_back(entryOf(library, *certificate, person));
  }
  if (!person.id.empty()) {
    examineMatches(library, person, entries, findings);
  }
  for (const Entry& entry : entries) {
    examineOne(library, entry, person, store, findings);
  }
}

}  // namespace qx::ssf::doctor
