#include "provider/store/folder_state.h"

#include <algorithm>
#include <utility>

#include "provider/store/file_content.h"
#include "provider/support/trace.h"

namespace qx {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;
using std::chrono::system_clock;

constexpr seconds kFileCheckInterval{5};
constexpr seconds kUntrustedAge{2};

// FolderReader makes one FolderState.
class FolderReader {
 public:
  FolderReader(const StoreFolder& folder,
               Location location,
               const FolderState* previous,
               const Moment& now)
      : folder_(&folder), location_(location), previous_(previous), now_(now) {}

  Result<std::shared_ptr<const FolderState>> read();

 private:
  void readFile(std::string name, FileKind kind);
  const FileState* known(const std::string& name);
  void fill(FileState& file, FileKind kind, const FileState* before);
  Result<void> fillFromFile(FileState& file, FileKind kind, const FileState* before);
  Result<void> fillCertificate(FileState& file, der::Bytes der, const FileState* before);
  Result<void> fillCrl(FileState& file, der::Bytes der, const FileState* before);
  std::shared_ptr<const StoreSnapshot> makeSnapshot() const;

  const StoreFolder* folder_;
  Location location_;
  const FolderState* previous_;
  Moment now_;
  std::size_t nextKnown_ = 0;
  bool changed_ = false;
  FolderState state_;
};

Result<std::shared_ptr<const FolderState>> FolderReader::read() {
  state_.readAt = now_.steady;
  const Result<FileStamp> stamp = stampOf(folder_->fd.get());
  if (!stamp) {
    return stamp.failure();
  }
  state_.stamp = dated(*stamp, now_.wall);
  Result<std::vector<std::string>> names = namesIn(folder_->fd.get());
  if (!names) {
    return names.failure();
  }
  for (std::string& name : *names) {
    if (const std::optional<FileKind> kind = fileKindOf(name)) {
      readFile(std::move(name), *kind);
    }
  }
  const bool sameAsBefore =
      previous_ != nullptr && !changed_ && previous_->files.size() == state_.files.size();
  state_.snapshot = sameAsBefore ? previous_->snapshot : makeSnapshot();
  return std::make_shared<const FolderState>(std::move(state_));
}

// Both lists are in byte order, so one pass over the known files serves all names.
const FileState* FolderReader::known(const std::string& name) {
  if (previous_ == nullptr) {
    return nullptr;
  }
  const std::vector<FileState>& files = previous_->files;
  while (nextKnown_ < files.size() && files[nextKnown_].name < name) {
    ++nextKnown_;
  }
  const bool found = nextKnown_ < files.size() && files[nextKnown_].name == name;
  return found ? &files[nextKnown_] : nullptr;
}

void FolderReader::readFile(std::string name, FileKind kind) {
  const FileState* before = known(name);
  const Result<FileStamp> stamp = stampIn(folder_->fd.get(), name.c_str());
  if (!stamp) {
    return;  // it went since the names were read
  }
  if (before != nullptr && before->stamp.stillHolds(*stamp)) {
    state_.files.push_back(*before);
    return;
  }
  FileState file{
      .name = std::move(name), .stamp = dated(*stamp, now_.wall), .certificate = {}, .crl = {}};
  fill(file, kind, before);
  changed_ = changed_ || before == nullptr || file.certificate != before->certificate ||
             file.crl != before->crl;
  state_.files.push_back(std::move(file));
}

void FolderReader::fill(FileState& file, FileKind kind, const FileState* before) {
  if (const Result<void> filled = fillFromFile(file, kind, before); !filled) {
    QX_TRACE("%s/%s is left out: %08x",
             folder_->path.c_str(),
             file.name.c_str(),
             static_cast<unsigned>(filled.error()));
  }
}

Result<void> FolderReader::fillFromFile(FileState& file, FileKind kind, const FileState* before) {
  Result<std::vector<std::uint8_t>> bytes =
      readFileIn(folder_->fd.get(), file.name.c_str(), fileLimit(kind));
  if (!bytes) {
    return bytes.failure();
  }
  const Result<std::vector<std::uint8_t>> der = derFromFile(kind, *std::move(bytes));
  if (!der) {
    return der.failure();
  }
  return kind == FileKind::Certificate ? fillCertificate(file, *der, before)
                                       : fillCrl(file, *der, before);
}

// The same bytes stay the same object, which knows what libcrypto made of it.
Result<void> FolderReader::fillCertificate(FileState& file,
                                           der::Bytes der,
                                           const FileState* before) {
  Result<std::shared_ptr<const CertificateData>> data = CertificateData::parse(der);
  if (!data) {
    return data.failure();
  }
  const bool same = before != nullptr && before->certificate != nullptr &&
                    std::ranges::equal(before->certificate->der(), (*data)->der());
  file.certificate = same ? before->certificate : *std::move(data);
  return {};
}

Result<void> FolderReader::fillCrl(FileState& file, der::Bytes der, const FileState* before) {
  Result<std::shared_ptr<const CrlData>> data = CrlData::parse(der);
  if (!data) {
    return data.failure();
  }
  const bool same = before != nullptr && before->crl != nullptr &&
                    std::ranges::equal(before->crl->der(), (*data)->der());
  file.crl = same ? before->crl : *std::move(data);
  return {};
}

std::shared_ptr<const StoreSnapshot> FolderReader::makeSnapshot() const {
  std::vector<StoredCertificate> certificates;
  std::vector<StoredCrl> crls;
  for (const FileState& file : state_.files) {
    if (file.certificate != nullptr) {
      certificates.push_back(
          {.data = file.certificate, .location = location_, .fileName = file.name});
    } else if (file.crl != nullptr) {
      crls.push_back({.data = file.crl, .location = location_, .fileName = file.name});
    }
  }
  return std::make_shared<const StoreSnapshot>(std::move(certificates), std::move(crls));
}

}  // namespace

DatedStamp dated(const FileStamp& stamp, system_clock::time_point now) {
  const system_clock::time_point changed{
      std::chrono::duration_cast<system_clock::duration>(std::chrono::nanoseconds(stamp.changed))};
  return {.stamp = stamp, .trusted = changed + kUntrustedAge <= now};
}

Moment Moment::now() {
  return {.wall = system_clock::now(), .steady = steady_clock::now()};
}

bool FolderState::isFresh(const FileStamp& folder, const Moment& now) const {
  return stamp.stillHolds(folder) && now.steady - readAt < kFileCheckInterval;
}

Result<std::shared_ptr<const FolderState>> readFolder(const StoreFolder& folder,
                                                      Location location,
                                                      const FolderState* previous,
                                                      const Moment& now) {
  return FolderReader(folder, location, previous, now).read();
}

}  // namespace qx
