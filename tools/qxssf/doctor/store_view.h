#ifndef QX_TOOLS_QXSSF_DOCTOR_STORE_VIEW_H_
#define QX_TOOLS_QXSSF_DOCTOR_STORE_VIEW_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/cert.h"

#include "tools/qxssf/library.h"

namespace qx::ssf::doctor {

using CertificatePtr = std::shared_ptr<const CERT_CONTEXT>;

/// A store as a profile names it: a leading "m" means the machine's, a leading "u" the user's; none is My.
struct StoreName {
  bool machine = false;
  std::string name;

  /// option is what qxprovider is told to work there.
  std::string option() const;
};

StoreName storeOfProfile(const std::string& profile);

/// certificatesIn lists a store in the order in which it is searched; nothing when there is no such store.
std::optional<std::vector<CertificatePtr>> certificatesIn(const Library& library,
                                                          const StoreName& store);

/// nameText is a name as the library shows it: "CN=Ivan Petrov, C=RU".
std::string nameText(const Library& library, const CERT_NAME_BLOB& name);

/// thumbprintOf is the SHA-1 in 40 lower-case hexadecimal digits.
std::string thumbprintOf(const Library& library, const CERT_CONTEXT& certificate);

/// ticksOf counts 100 ns from 1601-01-01.
std::uint64_t ticksOf(const FILETIME& time);

/// isNamedBy tells whether an identity names a certificate: its thumbprint, or a name all of whose parts the
/// subject has.
bool isNamedBy(const std::string& identity,
               const std::string& subject,
               const std::string& thumbprint);

}  // namespace qx::ssf::doctor

#endif
