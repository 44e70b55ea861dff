#include "provider/chain/revocation_cache.h"

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/chain/trust_stores.h"
#include "provider/hash/hash.h"
#include "provider/support/files.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

constexpr std::string_view kAnswerEnding = ".ocsp";
constexpr std::string_view kCrlEnding = ".crl";
constexpr std::size_t kHashDigits = 64;
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;

std::string nameOf(der::Bytes key, std::string_view ending) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const HashValue hash = hashOf(HashAlgorithm::Sha256, key);
  std::string name;
  for (const std::uint8_t octet : hash.bytes()) {
    name += kDigits[octet >> 4U];
    name += kDigits[octet & 0xFU];
  }
  return name.append(ending);
}

std::string answerName(const CertificateData& certificate) {
  return nameOf(certificate.der(), kAnswerEnding);
}

bool isOurs(std::string_view name) {
  return (name.ends_with(kAnswerEnding) || name.ends_with(kCrlEnding)) &&
         name.find('.') == kHashDigits &&
         std::ranges::all_of(name.substr(0, kHashDigits),
                             [](unsigned char c) { return std::isxdigit(c) != 0; });
}

Result<std::string> folderOf(Location location) {
  Result<std::string> root = rootFolder(location);
  return root ? Result<std::string>(*root + "/cache") : root.failure();
}

Result<Fd> openCache(Location location) {
  const Result<std::string> path = folderOf(location);
  return path ? openFolder(*path) : path.failure();
}

// A quarter leaves at once, so that not every file that comes costs a look at all of them.
void makeRoom(int folder, std::size_t maxFiles) {
  const Result<std::vector<std::string>> names = namesIn(folder);
  if (!names || names->size() < maxFiles) {
    return;
  }
  std::vector<std::pair<std::int64_t, std::string>> ours;
  for (const std::string& name : *names) {
    const Result<FileStamp> stamp =
        isOurs(name) ? stampIn(folder, name.c_str()) : fail(E_INVALIDARG);
    if (stamp) {
      ours.emplace_back(stamp->modified, name);
    }
  }
  std::ranges::sort(ours);
  for (std::size_t i = 0; i < (ours.size() + 3) / 4; ++i) {
    static_cast<void>(removeFileIn(folder, ours[i].second.c_str()));
  }
}

}  // namespace

OcspPtr RevocationCache::answerAbout(const CertificateData& certificate) const {
  const Result<Fd> folder = openCache(location_);
  if (!folder) {
    return nullptr;
  }
  const Result<std::vector<std::uint8_t>> bytes =
      readFileIn(folder->get(), answerName(certificate).c_str(), OcspData::kMaxSize);
  const Result<OcspPtr> answer = bytes ? OcspData::parse(*bytes) : bytes.failure();
  return answer ? *answer : nullptr;
}

void RevocationCache::keep(const CertificateData& certificate, const OcspData& answer) const {
  write(answerName(certificate), answer.basic());
}

void RevocationCache::keep(const std::string& address, const CrlData& crl) const {
  write(nameOf({reinterpret_cast<const std::uint8_t*>(address.data()), address.size()}, kCrlEnding),
        crl.der());
}

void RevocationCache::forget(const CertificateData& certificate) const {
  if (const Result<Fd> folder = openCache(location_)) {
    static_cast<void>(removeFileIn(folder->get(), answerName(certificate).c_str()));
  }
}

void RevocationCache::write(const std::string& name, der::Bytes bytes) const {
  const Result<std::string> path = folderOf(location_);
  const Result<Fd> folder = path ? makeFolder(*path, kFolderMode) : path.failure();
  if (folder) {
    makeRoom(folder->get(), maxFiles_);
  }
  const Result<void> written =
      folder ? writeFileIn(folder->get(), name.c_str(), bytes, kFileMode) : folder.failure();
  lookAgain();
  if (!written) {
    QX_TRACE("revocation: %s cannot be kept in the cache: %08x", name.c_str(), written.error());
  }
}

}  // namespace qx
