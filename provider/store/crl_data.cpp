#include "provider/store/crl_data.h"

#include <algorithm>
#include <string_view>

#include "provider/hash/hash.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/store/x509_fields.h"

namespace qx {
namespace {

constexpr std::string_view kDeltaCrlIndicator = "2.5.29.27";
constexpr std::string_view kIssuingDistributionPoint = "2.5.29.28";
constexpr std::string_view kAuthorityKeyIdentifier = "2.5.29.35";

bool isTime(const x509::Fields& fields) {
  return fields.nextIs(der::kUtcTime) || fields.nextIs(der::kGeneralizedTime);
}

bool isAboutSubject(std::string_view oid) {
  return oid == kDeltaCrlIndicator || oid == kIssuingDistributionPoint ||
         oid == kAuthorityKeyIdentifier;
}

}  // namespace

Result<std::shared_ptr<const CrlData>> CrlData::parse(der::Bytes der) {
  const Result<der::Element> whole = der::Reader(der).next(der::kSequence);
  if (!whole) {
    return whole.failure();
  }
  // NOLINTNEXTLINE(*-make-shared): the constructor is private
  const std::shared_ptr<CrlData> data(new CrlData(whole->whole));
  if (const Result<void> read = data->readHead(); !read) {
    return read.failure();
  }
  return std::shared_ptr<const CrlData>(data);
}

CrlData::~CrlData() {
  X509_CRL_free(crl_.load());
}

Result<void> CrlData::readHead() {
  DWORD error = ERROR_SUCCESS;
  x509::Fields whole(der_, error);
  x509::Fields fields = whole.sequence();
  x509::Fields list = fields.sequence();
  list.optional(der::kInteger);
  x509::readAlgorithm(list);
  issuer_ = list.next(der::kSequence).whole;
  const FILETIME time = x509::readTime(list);
  thisUpdate_ = (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
  if (isTime(list)) {
    x509::readTime(list);
  }
  list.optional(der::kSequence);
  Hasher hasher(HashAlgorithm::Sha1);
  hasher.update(issuer_);
  for (const x509::ParsedExtension& extension : x509::readExtensions(list, 0)) {
    if (isAboutSubject(extension.oid)) {
      hasher.update(extension.value);
    }
  }
  list.end();
  x509::readAlgorithm(fields);
  x509::readBits(fields);
  fields.end();
  std::ranges::copy(hasher.finish().bytes(), subject_.begin());
  return error == ERROR_SUCCESS ? Result<void>() : fail(error);
}

X509_CRL* CrlData::crl() const {
  if (X509_CRL* known = crl_.load(std::memory_order_acquire); known != nullptr) {
    return known;
  }
  const ErrorQueueGuard queue;
  X509_CRL* fresh = X509_CRL_new_ex(libraryContext(), nullptr);
  const unsigned char* position = der_.data();
  if (fresh == nullptr ||
      d2i_X509_CRL(&fresh, &position, static_cast<long>(der_.size())) == nullptr) {
    X509_CRL_free(fresh);  // not every failure frees it
    return nullptr;
  }
  X509_CRL* first = nullptr;
  if (!crl_.compare_exchange_strong(first, fresh, std::memory_order_acq_rel)) {
    X509_CRL_free(fresh);
    return first;
  }
  return fresh;
}

}  // namespace qx
