#ifndef QX_TESTS_PROVIDER_STORE_STORE_SUPPORT_H_
#define QX_TESTS_PROVIDER_STORE_STORE_SUPPORT_H_

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/cert_store.h"
#include "platform/errors.h"

#include "provider/store/certificate_data.h"
#include "provider/store/crl_data.h"
#include "tests/support/provider_folder.h"
#include "tools/lab/pki.h"

namespace qx::test {

using lab::Bytes;

struct CloseStore {
  using pointer = HCERTSTORE;

  void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};

struct FreeContext {
  using pointer = PCCERT_CONTEXT;

  void operator()(PCCERT_CONTEXT context) const { CertFreeCertificateContext(context); }
};

using StoreHandle = std::unique_ptr<void, CloseStore>;
using ContextHandle = std::unique_ptr<const CERT_CONTEXT, FreeContext>;

constexpr DWORD kUser = CERT_SYSTEM_STORE_CURRENT_USER;
constexpr DWORD kMachine = CERT_SYSTEM_STORE_LOCAL_MACHINE;
constexpr DWORD kX509 = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

/// An authority with an EC key (the quickest to make), one for the whole program.
const lab::Authority& authority();

/// The options of a certificate with this common name that became valid `age` ago.
lab::CertificateOptions named(const std::string& commonName, std::chrono::seconds age = lab::kDay);

/// A new certificate of the authority, with a key that all of them share.
X509Ptr makeCertificate(const lab::CertificateOptions& options);
X509Ptr makeCertificate(const std::string& commonName, std::chrono::seconds age = lab::kDay);

/// The same as DER, and as we read it.
Bytes makeDer(const std::string& commonName, std::chrono::seconds age = lab::kDay);
std::shared_ptr<const CertificateData> makeData(const std::string& commonName,
                                                std::chrono::seconds age = lab::kDay);

/// Our reading of DER; the test stops with an exception when it is refused.
std::shared_ptr<const CertificateData> dataOf(const Bytes& der);
std::shared_ptr<const CrlData> crlDataOf(const Bytes& der);

/// A memory store, and a system store of the current user.
StoreHandle openMemory(DWORD flags = 0);
StoreHandle openSystem(const wchar_t* name, DWORD flags = kUser);

/// A context of its own, or one added to a store. Null on failure.
ContextHandle makeContext(const Bytes& der);
ContextHandle addTo(const StoreHandle& store,
                    const Bytes& der,
                    DWORD disposition = CERT_STORE_ADD_ALWAYS);

/// A search in a store.
ContextHandle findIn(const StoreHandle& store,
                     DWORD findType,
                     const void* parameter,
                     ContextHandle previous = nullptr);

/// The common names of all certificates that a walk gives, in its order.
std::vector<std::string> namesIn(const StoreHandle& store);

/// The common name of a context's subject.
std::string commonNameOf(PCCERT_CONTEXT context);

Bytes bytesOf(PCCERT_CONTEXT context);

CRYPT_DATA_BLOB blobOf(const Bytes& bytes);

/// StoreTest gives each test folders of its own for the user and the machine.
class StoreTest : public ::testing::Test {
 protected:
  StoreTest() { SetLastError(kUntouched); }

  static constexpr DWORD kUntouched = 0xABCD;

  const ProviderFolder& folder() const { return folder_; }

  std::string storePath(const std::string& store) const {
    return folder_.path() + "/stores/" + store;
  }

  std::string machinePath(const std::string& store) const {
    return folder_.path() + "/machine/stores/" + store;
  }

  /// Writes a file of a store of the user's.
  void write(const std::string& store, const std::string& file, const Bytes& content) const;
  void write(const std::string& store, const std::string& file, const std::string& content) const;

  /// Whether something holds for a user without rights, to whom the folders are given. As root it is
  /// tried in a child that gave its rights up, so it may not leave anything behind in this process.
  bool holdsWithoutRights(const std::function<bool()>& body) const;

 private:
  ProviderFolder folder_;
};

}  // namespace qx::test

#endif
