#ifndef QX_TOOLS_QXSSF_DOCTOR_ORIGIN_H_
#define QX_TOOLS_QXSSF_DOCTOR_ORIGIN_H_

#include <filesystem>
#include <istream>
#include <string>

#include "provider/openssl/built_with.h"

namespace qx::ssf::doctor {

/// loadedFile is the file of this name that a process has in its memory; empty when there is none. `maps` is
/// like /proc/self/maps (proc(5)).
std::string loadedFile(std::istream& maps, const std::string& name);

/// packageVersion is the version of an installed Debian package that brought a file; empty when it did not.
/// `database` is a folder like /var/lib/dpkg.
std::string packageVersion(const std::string& package,
                           const std::string& file,
                           const std::filesystem::path& database = "/var/lib/dpkg");

/// releaseFault tells what is wrong with running on another OpenSSL than one was built with; empty when
/// nothing is: later patches of the same release are meant to come.
std::string releaseFault(const OpensslRelease& builtWith, const OpensslRelease& running);

/// releaseText writes a release as its makers do: "3.0.15".
std::string releaseText(const OpensslRelease& release);

}  // namespace qx::ssf::doctor

#endif
