#ifndef QX_TOOLS_QXSSF_DOCTOR_FAMILIES_H_
#define QX_TOOLS_QXSSF_DOCTOR_FAMILIES_H_

#include "tools/common/secret.h"
#include "tools/qxssf/doctor/finding.h"
#include "tools/qxssf/doctor/setting.h"
#include "tools/qxssf/library.h"

namespace qx::ssf::doctor {

/// Whose signature is tried.
struct Person {
  std::string id;
  std::string profile;
  tools::Secret pin;
};

// Each looks at one family of causes, under a heading of its own.

/// The library that was loaded from `path`, its version and properties, and who provides the platform.
void examineLibrary(const Library& library, const Setting& path, Findings& findings);

/// OpenSSL, the GOST engine and nettle, with their versions and files. The engine is in use only once a
/// certificate was looked at.
void examineCryptography(const Library& library, Findings& findings);

/// fileOf is the file that an address was loaded from; empty when there is none.
std::string fileOf(const void* address);

/// The system's user, his and the machine's folders, and their rights.
void examinePlaces(Findings& findings);

/// The certificates of the profile's store, their keys, and which of them the identity names.
void examineCertificates(const Library& library, const Person& person, Findings& findings);

/// The chains and revocation lists of these certificates: of the identity's, or of all that have a key.
void examineTrust(const Library& library, const Person& person, Findings& findings);

/// The revocation lists that chains are checked against: those that ended, or will soon.
void examineLists(const Library& library, Findings& findings);

/// The address book: certificates that nobody should encrypt for. The library does so all the same.
void examineRecipients(const Library& library, Findings& findings);

/// The clock, the variables and the configuration file.
void examineEnvironment(Findings& findings);

/// Signs, verifies, envelopes and developes a test text.
void examineTrial(const Library& library, const Person& person, Findings& findings);

}  // namespace qx::ssf::doctor

#endif
