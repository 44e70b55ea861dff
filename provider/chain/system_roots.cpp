#include "provider/chain/system_roots.h"

#include <mutex>

#include <openssl/bio.h>
#include <openssl/pem.h>

#include "provider/openssl/errors.h"
#include "provider/openssl/owned.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::size_t kMaxFileSize = 16U << 20U;

CertificateListPtr parseBundle(const std::vector<std::uint8_t>& pem) {
  const ErrorQueueGuard queue;
  auto certificates = std::make_shared<std::vector<CertificatePtr>>();
  const BioPtr bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  char* name = nullptr;
  char* header = nullptr;
  unsigned char* bytes = nullptr;
  long length = 0;
  while (bio != nullptr && PEM_read_bio(bio.get(), &name, &header, &bytes, &length) == 1) {
    const OpensslOwner<char, freeOpensslMemory> nameOwner(name);
    const OpensslOwner<char, freeOpensslMemory> headerOwner(header);
    const OpensslBytes bytesOwner(bytes);
    Result<CertificatePtr> certificate =
        CertificateData::parse({bytes, static_cast<std::size_t>(length)});
    if (certificate) {
      certificates->push_back(*std::move(certificate));
    }
  }
  return certificates;
}

}  // namespace

CertificateListPtr SystemRoots::get() {
  const Result<Fd> folder = openFolder(folder_);
  const Result<FileStamp> stamp = folder ? stampIn(folder->get(), file_.c_str()) : folder.failure();
  if (!stamp) {
    QX_TRACE("%s/%s cannot be read: %08x", folder_.c_str(), file_.c_str(), stamp.error());
    return nullptr;
  }
  const std::scoped_lock lock(mutex_);
  if (stamp_ == *stamp) {
    return certificates_;
  }
  const Result<std::vector<std::uint8_t>> pem =
      readFileIn(folder->get(), file_.c_str(), kMaxFileSize);
  if (!pem) {
    QX_TRACE("%s/%s cannot be read: %08x", folder_.c_str(), file_.c_str(), pem.error());
    return nullptr;
  }
  certificates_ = parseBundle(*pem);
  stamp_ = *stamp;
  return certificates_;
}

}  // namespace qx
