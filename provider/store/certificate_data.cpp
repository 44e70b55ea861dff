#include "provider/store/certificate_data.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <openssl/x509v3.h>

#include "provider/der/reader.h"
#include "provider/hash/hash.h"
#include "provider/openssl/engine.h"
#include "provider/openssl/errors.h"
#include "provider/openssl/library_context.h"
#include "provider/openssl/owned.h"
#include "provider/store/certificate_parser.h"

namespace qx {

using der::Bytes;

namespace {

// The published records point at bytes without const; nobody may write through them.
BYTE* published(const void* bytes) {
  return static_cast<BYTE*>(const_cast<void*>(bytes));  // NOLINT(*-const-cast): see above
}

CRYPT_INTEGER_BLOB blobOf(Bytes bytes) {
  return {.cbData = static_cast<DWORD>(bytes.size()),
          .pbData = bytes.empty() ? nullptr : published(bytes.data())};
}

CRYPT_BIT_BLOB bitBlobOf(const der::BitString& bits) {
  return {.cbData = static_cast<DWORD>(bits.octets.size()),
          .pbData = bits.octets.empty() ? nullptr : published(bits.octets.data()),
          .cUnusedBits = bits.unusedBits};
}

// Texts lays strings with their terminating NULs one behind another into one string that never
// grows, so that pointers into it stay good.
class Texts {
 public:
  Texts(std::string& arena, std::size_t size) : arena_(&arena) { arena_->reserve(size); }

  LPSTR add(const std::string& text) {
    const std::size_t place = arena_->size();
    arena_->append(text.c_str(), text.size() + 1);
    return arena_->data() + place;
  }

 private:
  std::string* arena_;
};

}  // namespace

Result<std::shared_ptr<const CertificateData>> CertificateData::parse(Bytes der) {
  const Result<der::Element> whole = der::Reader(der).next(der::kSequence);
  if (!whole) {
    return whole.failure();
  }
  if (whole->whole.size() > std::numeric_limits<DWORD>::max()) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  // NOLINTNEXTLINE(*-make-shared): the constructor is private
  const std::shared_ptr<CertificateData> data(new CertificateData(whole->whole));
  const Result<ParsedCertificate> parsed = parseCertificate(data->der_);
  if (!parsed) {
    return parsed.failure();
  }
  data->fill(*parsed);
  return std::shared_ptr<const CertificateData>(data);
}

CertificateData::CertificateData(Bytes der) : der_(der.begin(), der.end()) {}

CertificateData::~CertificateData() {
  X509_free(x509_.load());
}

void CertificateData::fill(const ParsedCertificate& parsed) {
  tbs_ = parsed.tbs;
  spki_ = parsed.spki;
  serial_ = der::littleEndian(parsed.serial);
  std::size_t textSize = parsed.signatureAlgorithm.oid.size() + parsed.keyAlgorithm.oid.size() + 2;
  for (const x509::ParsedExtension& extension : parsed.extensions) {
    textSize += extension.oid.size() + 1;
  }
  Texts texts(texts_, textSize);
  info_ = {
      .dwVersion = parsed.version,
      .SerialNumber = blobOf(serial_),
      .SignatureAlgorithm = {.pszObjId = texts.add(parsed.signatureAlgorithm.oid),
                             .Parameters = blobOf(parsed.signatureAlgorithm.parameters)},
      .Issuer = blobOf(parsed.issuer),
      .NotBefore = parsed.notBefore,
      .NotAfter = parsed.notAfter,
      .Subject = blobOf(parsed.subject),
      .SubjectPublicKeyInfo = {.Algorithm = {.pszObjId = texts.add(parsed.keyAlgorithm.oid),
                                             .Parameters = blobOf(parsed.keyAlgorithm.parameters)},
                               .PublicKey = bitBlobOf(parsed.key)},
      .IssuerUniqueId = bitBlobOf(parsed.issuerUniqueId),
      .SubjectUniqueId = bitBlobOf(parsed.subjectUniqueId),
      .cExtension = static_cast<DWORD>(parsed.extensions.size()),
      .rgExtension = nullptr};
  extensions_.reserve(parsed.extensions.size());
  for (const x509::ParsedExtension& extension : parsed.extensions) {
    extensions_.push_back({.pszObjId = texts.add(extension.oid),
                           .fCritical = extension.critical ? TRUE : FALSE,
                           .Value = blobOf(extension.value)});
  }
  info_.rgExtension = extensions_.empty() ? nullptr : extensions_.data();
  const HashValue hash = hashOf(HashAlgorithm::Sha1, der_);
  std::copy_n(hash.bytes().begin(), sha1_.size(), sha1_.begin());
}

Bytes CertificateData::publicKeyBits() const {
  const CRYPT_BIT_BLOB& key = info_.SubjectPublicKeyInfo.PublicKey;
  return {key.pbData, key.cbData};
}

const CERT_EXTENSION* CertificateData::extension(const char* oid) const {
  const auto found = std::ranges::find_if(extensions_, [oid](const CERT_EXTENSION& extension) {
    return std::strcmp(extension.pszObjId, oid) == 0;
  });
  return found == extensions_.end() ? nullptr : &*found;
}

std::string CertificateData::keyFileName() const {
  const HashValue hash = hashOf(HashAlgorithm::Sha256, publicKeyBits());
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string name;
  for (const std::uint8_t octet : hash.bytes()) {
    name += kDigits[octet >> 4U];
    name += kDigits[octet & 0x0FU];
  }
  return name;
}

X509* CertificateData::x509() const {
  if (X509* known = x509_.load(std::memory_order_acquire); known != nullptr) {
    return known;
  }
  const ErrorQueueGuard queue;
  // libcrypto decodes the key together with the certificate, and never again. Without the engine a
  // GOST certificate is readable, but its key is not.
  static_cast<void>(static_cast<bool>(gostEngine()));
  X509* fresh = X509_new_ex(libraryContext(), nullptr);
  const unsigned char* position = der_.data();
  if (fresh == nullptr || d2i_X509(&fresh, &position, static_cast<long>(der_.size())) == nullptr) {
    X509_free(fresh);  // not every failure frees it
    return nullptr;
  }
  // Before others see it: libcrypto reads the extensions at the first question about them, whoever asks.
  static_cast<void>(X509_get_extension_flags(fresh));
  X509* first = nullptr;
  if (!x509_.compare_exchange_strong(first, fresh, std::memory_order_acq_rel)) {
    X509_free(fresh);
    return first;
  }
  return fresh;
}

}  // namespace qx
