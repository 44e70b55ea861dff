#include "tools/qxprovider/lab_writer.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "provider/key/key_store.h"
#include "provider/store/store_files.h"
#include "tools/common/error.h"
#include "tools/common/output.h"
#include "tools/common/shell.h"
#include "tools/lab/pki.h"
#include "tools/qxprovider/failure.h"
#include "tools/qxprovider/location.h"

namespace qx::admin {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPrivateFile = S_IRUSR | S_IWUSR;

[[noreturn]] void refuseFolder(const std::string& folder, const std::string& reason) {
  throw tools::ToolError(tools::ExitCode::Input, folder + ": " + reason);
}

void makeFolders(const fs::path& folder) {
  std::error_code error;
  if (fs::exists(folder, error) && !fs::is_empty(folder, error)) {
    refuseFolder(folder, error ? error.message() : "is not empty; a lab wants a new folder");
  }
  for (const char* part : {"", "user", "machine", "pem", "pins"}) {
    const fs::path path = folder / part;
    if (!fs::create_directories(path, error) && error) {
      refuseFolder(path, error.message());
    }
    fs::permissions(path, fs::perms::owner_all, error);
  }
}

// Without a slash at its end, which would stand twice in all that is below.
std::string wholePath(const std::string& folder) {
  if (folder.empty()) {
    throw tools::ToolError(tools::ExitCode::Usage, "the name of the lab's folder is empty");
  }
  const fs::path path = fs::absolute(folder).lexically_normal();
  return path.has_filename() ? path : path.parent_path();
}

void enter(const char* variable, const std::string& path) {
  setenv(variable, path.c_str(), /*overwrite=*/1);  // NOLINT(concurrency-mt-unsafe): one thread.
}

}  // namespace

LabWriter::LabWriter(const std::string& folder) : folder_(wholePath(folder)) {
  makeFolders(folder_);
  const std::string user = folder_ + "/user";
  const std::string machine = folder_ + "/machine";
  enter("QXPROVIDER_USER_DIR", user);
  enter("QXPROVIDER_MACHINE_DIR", machine);
  write("environment",
        "export QXPROVIDER_USER_DIR=" + tools::shellWord(user) +
            "\nexport QXPROVIDER_MACHINE_DIR=" + tools::shellWord(machine) + "\n");
}

void LabWriter::addCertificate(const std::string& store, const X509* certificate) const {
  const auto data = require(CertificateData::parse(lab::toDer(certificate)), store);
  require(addCertificateFile(storeName(Location::CurrentUser, store), *data, IfPresent::Keep),
          store);
}

void LabWriter::addCrl(const std::string& store,
                       const std::string& name,
                       const X509_CRL* crl) const {
  const auto data = require(CrlData::parse(lab::toDer(crl)), store);
  require(addCrlFile(storeName(Location::CurrentUser, store), *data), store);
  write("pem/" + name + ".crl", lab::toPem(crl));
}

void LabWriter::addKey(const std::string& name,
                       const EVP_PKEY* key,
                       std::optional<std::string_view> pin) const {
  const auto owned =
      require(PrivateKey::fromPkcs8(*require(readPkcs8(lab::toDer(key)), name)), name);
  require(qx::addKey(Location::CurrentUser, *owned, pin), name);
  if (pin) {
    write("pins/" + name + ".pin", std::string(*pin) + "\n");
  }
}

void LabWriter::copy(const std::string& name, const EVP_PKEY* key, const X509* certificate) const {
  write("pem/" + name + ".key", lab::toPem(key));
  write("pem/" + name + ".crt", lab::toPem(certificate));
}

void LabWriter::write(const std::string& name, std::string_view text) const {
  tools::writeOutput(folder_ + "/" + name, text, kPrivateFile);
}

}  // namespace qx::admin
