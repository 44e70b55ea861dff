#include <dlfcn.h>
#include <unistd.h>

#include <fstream>
#include <optional>

#include "tools/qxssf/doctor/families.h"
#include "tools/qxssf/doctor/origin.h"

namespace qx::ssf::doctor {
namespace {

using tools::ExitCode;

// What OpenSSL_version and OPENSSL_info are asked for (openssl/crypto.h, OpenSSL 3.0).
constexpr int kVersionText = 0;
constexpr int kEnginesFolder = 1002;

constexpr const char* kEnginePackage = "libengine-gost-openssl";
constexpr const char* kOpensslPackage = "libssl3";

std::optional<OpensslRelease> runningRelease(const Library& library) {
  auto* const major = library.find<unsigned()>("OPENSSL_version_major");
  auto* const minor = library.find<unsigned()>("OPENSSL_version_minor");
  auto* const patch = library.find<unsigned()>("OPENSSL_version_patch");
  if (major == nullptr || minor == nullptr || patch == nullptr) {
    return std::nullopt;
  }
  return OpensslRelease{.major = major(), .minor = minor(), .patch = patch()};
}

void examineOpenssl(const Library& library, Findings& findings) {
  auto* const version = library.find<const char*(int)>("OpenSSL_version");
  const std::optional<OpensslRelease> running = runningRelease(library);
  if (version == nullptr || !running) {
    return;
  }
  std::string text = version(kVersionText);
  text.append(", ").append(fileOf(library.find<void>("OpenSSL_version")));
  if (const std::string fault = releaseFault(kBuiltWith, *running); !fault.empty()) {
    findings.warn("libcrypto",
                  text.append(": ").append(fault),
                  std::string("apt-get install ").append(kOpensslPackage));
    return;
  }
  findings.good("libcrypto", text.append(", built with ").append(releaseText(kBuiltWith)));
}

void examineNettle(const Library& library, Findings& findings) {
  auto* const major = library.find<int()>("nettle_version_major");
  auto* const minor = library.find<int()>("nettle_version_minor");
  if (major != nullptr && minor != nullptr) {
    findings.good("nettle",
                  std::to_string(major())
                      .append(".")
                      .append(std::to_string(minor()))
                      .append(", ")
                      .append(fileOf(library.find<void>("nettle_version_major"))));
  }
}

// Where libcrypto looks for it, which it does when it first meets a certificate.
void examineFutureEngine(const Library& library, Findings& findings) {
  auto* const info = library.find<const char*(int)>("OPENSSL_info");
  const std::string own = variable("OPENSSL_ENGINES");
  const char* const built = info == nullptr ? nullptr : info(kEnginesFolder);
  const std::string file = (own.empty() && built != nullptr ? built : own) + "/gost.so";
  if (access(file.c_str(), R_OK) == 0) {
    findings.good("GOST engine", file + ", not loaded: nothing here needed it");
    return;
  }
  findings.fault(ExitCode::Internal,
                 "GOST engine",
                 file + " cannot be read: certificates with GOST keys cannot be used",
                 own.empty() ? std::string("apt-get install ").append(kEnginePackage)
                             : "unset OPENSSL_ENGINES");
}

// It tells no version of its own.
void examineLoadedEngine(const std::string& file, Findings& findings) {
  const std::string version = packageVersion(kEnginePackage, file);
  if (version.empty()) {
    findings.good("GOST engine", file + ", loaded; of no package, so its version is not known");
    return;
  }
  findings.good("GOST engine",
                std::string(kEnginePackage)
                    .append(" ")
                    .append(version)
                    .append(", loaded from ")
                    .append(file));
}

}  // namespace

void examineCryptography(const Library& library, Findings& findings) {
  findings.begin("cryptography");
  examineOpenssl(library, findings);
  std::ifstream maps("/proc/self/maps");
  const std::string engine = loadedFile(maps, "gost.so");
  if (engine.empty()) {
    examineFutureEngine(library, findings);
  } else {
    examineLoadedEngine(engine, findings);
  }
  examineNettle(library, findings);
}

}  // namespace qx::ssf::doctor
