#include "tests/provider/store/store_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace qx::test {
namespace {

EVP_PKEY* sharedKey() {
  static const EvpPkeyPtr key = lab::generateKey(lab::KeyKind::EcP256);
  return key.get();
}

}  // namespace

const lab::Authority& authority() {
  static const lab::Authority root =
      lab::Authority::selfSigned(lab::KeyKind::EcP256, named("Test Authority", 400 * lab::kDay));
  return root;
}

lab::CertificateOptions named(const std::string& commonName, std::chrono::seconds age) {
  lab::CertificateOptions options;
  options.subject = {{.type = "C", .value = "RU"},
                     {.type = "O", .value = "Test"},
                     {.type = "CN", .value = commonName}};
  options.notBefore = -age;
  return options;
}

X509Ptr makeCertificate(const lab::CertificateOptions& options) {
  return authority().issue(sharedKey(), options);
}

X509Ptr makeCertificate(const std::string& commonName, std::chrono::seconds age) {
  return makeCertificate(named(commonName, age));
}

Bytes makeDer(const std::string& commonName, std::chrono::seconds age) {
  return lab::toDer(makeCertificate(commonName, age).get());
}

std::shared_ptr<const CertificateData> makeData(const std::string& commonName,
                                                std::chrono::seconds age) {
  return dataOf(makeDer(commonName, age));
}

std::shared_ptr<const CertificateData> dataOf(const Bytes& der) {
  auto data = CertificateData::parse(der);
  if (!data) {
    throw std::runtime_error("a certificate of the lab is refused");
  }
  return *data;
}

std::shared_ptr<const CrlData> crlDataOf(const Bytes& der) {
  auto data = CrlData::parse(der);
  if (!data) {
    throw std::runtime_error("a CRL of the lab is refused");
  }
  return *data;
}

StoreHandle openMemory(DWORD flags) {
  return StoreHandle(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, flags, nullptr));
}

StoreHandle openSystem(const wchar_t* name, DWORD flags) {
  return StoreHandle(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name));
}

ContextHandle makeContext(const Bytes& der) {
  return ContextHandle(
      CertCreateCertificateContext(kX509, der.data(), static_cast<DWORD>(der.size())));
}

ContextHandle addTo(const StoreHandle& store, const Bytes& der, DWORD disposition) {
  PCCERT_CONTEXT context = nullptr;
  const BOOL added = CertAddEncodedCertificateToStore(
      store.get(), kX509, der.data(), static_cast<DWORD>(der.size()), disposition, &context);
  if ((added == TRUE) != (context != nullptr)) {
    throw std::runtime_error("success without a context, or failure with one");
  }
  return ContextHandle(context);
}

ContextHandle findIn(const StoreHandle& store,
                     DWORD findType,
                     const void* parameter,
                     ContextHandle previous) {
  return ContextHandle(
      CertFindCertificateInStore(store.get(), kX509, 0, findType, parameter, previous.release()));
}

std::vector<std::string> namesIn(const StoreHandle& store) {
  std::vector<std::string> names;
  PCCERT_CONTEXT context = nullptr;
  while ((context = CertEnumCertificatesInStore(store.get(), context)) != nullptr) {
    names.push_back(commonNameOf(context));
  }
  return names;
}

std::string commonNameOf(PCCERT_CONTEXT context) {
  const X509Ptr certificate = lab::readCertificate(bytesOf(context));
  char name[256] = {};
  X509_NAME_get_text_by_NID(
      X509_get_subject_name(certificate.get()), NID_commonName, name, sizeof name);
  return name;
}

Bytes bytesOf(PCCERT_CONTEXT context) {
  return {context->pbCertEncoded, context->pbCertEncoded + context->cbCertEncoded};
}

CRYPT_DATA_BLOB blobOf(const Bytes& bytes) {
  return {.cbData = static_cast<DWORD>(bytes.size()),
          // NOLINTNEXTLINE(*-const-cast): the interface takes its input without const
          .pbData = const_cast<BYTE*>(bytes.data())};
}

bool StoreTest::holdsWithoutRights(const std::function<bool()>& body) const {
  constexpr uid_t kNobody = 65534;
  if (geteuid() != 0) {
    return body();
  }
  const auto give = [](const std::filesystem::path& path) {
    return lchown(path.c_str(), kNobody, kNobody) == 0;
  };
  bool given = give(folder_.path());
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
    given = give(entry.path()) && given;
  }
  const pid_t child = given ? fork() : -1;
  if (child == 0) {
    const bool dropped =
        setresgid(kNobody, kNobody, kNobody) == 0 && setresuid(kNobody, kNobody, kNobody) == 0;
    _exit(dropped && body() ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

void StoreTest::write(const std::string& store,
                      const std::string& file,
                      const Bytes& content) const {
  write(store, file, std::string(content.begin(), content.end()));
}

void StoreTest::write(const std::string& store,
                      const std::string& file,
                      const std::string& content) const {
  std::filesystem::create_directories(storePath(store));
  writeFile(storePath(store) + "/" + file, content);
}

}  // namespace qx::test
