#include "provider/store/store_files.h"

#include <unistd.h>

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "provider/der/blob.h"
#include "provider/name/name_reader.h"
#include "provider/store/file_content.h"
#include "provider/store/folder_store.h"
#include "provider/support/files.h"

namespace qx {
namespace {

constexpr mode_t kFileMode = 0644;  // certificates and CRLs are public
constexpr std::size_t kMaxLabel = 40;

// Writing is refused with one code, whoever refuses.
Failure refused(DWORD code) {
  return fail(code == ERROR_ACCESS_DENIED ? E_ACCESSDENIED : code);
}

std::string hexOf(std::span<const std::uint8_t> octets) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t octet : octets) {
    text += kDigits[octet >> 4U];
    text += kDigits[octet & 0x0FU];
  }
  return text;
}

bool isCommonName(const NameAttribute& attribute) {
  constexpr std::uint8_t kOid[] = {0x55, 0x04, 0x03};
  return std::ranges::equal(attribute.oid, kOid);
}

bool isPlain(wchar_t letter) {
  return (letter >= L'a' && letter <= L'z') || (letter >= L'A' && letter <= L'Z') ||
         (letter >= L'0' && letter <= L'9');
}

// What a person may know a file by: letters and digits of the common name, the rest as one "_".
std::string labelOf(der::Bytes name) {
  std::string label;
  const Result<std::vector<NameAttribute>> attributes = readName(name);
  if (!attributes) {
    return label;
  }
  const auto found = std::ranges::find_if(*attributes, isCommonName);
  const Result<std::wstring> text =
      found == attributes->end() ? Result<std::wstring>(std::wstring()) : valueText(*found);
  for (const wchar_t letter : text ? *text : std::wstring()) {
    if (label.size() == kMaxLabel) {
      break;
    }
    if (isPlain(letter)) {
      label += static_cast<char>(letter);
    } else if (!label.empty() && label.back() != '_') {
      label += '_';
    }
  }
  return label;
}

std::string fileStem(der::Bytes name, std::span<const std::uint8_t> hash) {
  const std::string label = labelOf(name);
  return label.empty() ? hexOf(hash) : label + "-" + hexOf(hash);
}

// Another name is taken for another copy only.
std::string freeName(int folder, const std::string& stem) {
  std::string name = stem + ".cer";
  for (unsigned copy = 2; stampIn(folder, name.c_str()); ++copy) {
    name = stem + "-" + std::to_string(copy) + ".cer";
  }
  return name;
}

struct LockedFolder {
  StoreFolder folder;
  FolderLock lock;
};

Result<LockedFolder> lockFolder(Result<StoreFolder> folder) {
  if (!folder) {
    return refused(folder.error());
  }
  Result<FolderLock> lock = FolderLock::acquire(folder->fd.get());
  if (!lock) {
    return refused(lock.error());
  }
  return LockedFolder{.folder = *std::move(folder), .lock = *std::move(lock)};
}

Result<void> write(const LockedFolder& target, const std::string& name, der::Bytes bytes) {
  const Result<void> written = writeFileIn(target.folder.fd.get(), name.c_str(), bytes, kFileMode);
  return written ? written : refused(written.error());
}

Result<void> removeIn(const LockedFolder& target, const std::string& name) {
  const Result<void> removed = removeFileIn(target.folder.fd.get(), name.c_str());
  return removed ? removed : refused(removed.error());
}

Result<std::vector<std::uint8_t>> readDer(const LockedFolder& target,
                                          const std::string& name,
                                          FileKind kind) {
  Result<std::vector<std::uint8_t>> bytes =
      readFileIn(target.folder.fd.get(), name.c_str(), fileLimit(kind));
  return bytes ? derFromFile(kind, *std::move(bytes)) : bytes;
}

bool holds(const LockedFolder& target, const std::string& name, const Thumbprint& sha1) {
  const Result<std::vector<std::uint8_t>> der = readDer(target, name, FileKind::Certificate);
  if (!der) {
    return false;
  }
  const Result<std::shared_ptr<const CertificateData>> data = CertificateData::parse(*der);
  return data && (*data)->sha1() == sha1;
}

bool holdsNewer(const LockedFolder& target, const std::string& name, const CrlData& crl) {
  const Result<std::vector<std::uint8_t>> der = readDer(target, name, FileKind::Crl);
  if (!der) {
    return false;
  }
  const Result<std::shared_ptr<const CrlData>> present = CrlData::parse(*der);
  return present && (*present)->thisUpdate() > crl.thisUpdate();
}

}  // namespace

Result<void> mayChange(const StoreName& store) {
  const bool rootOnly = store.location() == Location::LocalMachine && store.isTrust();
  return rootOnly && geteuid() != 0 ? fail(E_ACCESSDENIED) : Result<void>();
}

Result<void> makeStore(const StoreName& store) {
  if (const Result<void> allowed = mayChange(store); !allowed) {
    return allowed;
  }
  const Result<StoreFolder> folder = store.openOrMake();
  return folder ? Result<void>() : refused(folder.error());
}

Result<std::string> addCertificateFile(const StoreName& store,
                                       const CertificateData& certificate,
                                       IfPresent ifPresent) {
  if (const Result<void> allowed = mayChange(store); !allowed) {
    return allowed.failure();
  }
  const Result<LockedFolder> target = lockFolder(store.openOrMake());
  if (!target) {
    return target.failure();
  }
  const Result<std::shared_ptr<const StoreSnapshot>> present = ownSnapshot(store);
  if (!present) {
    return refused(present.error());
  }
  const std::vector<std::size_t> same = (*present)->find(certificate.sha1());
  if (!same.empty() && ifPresent == IfPresent::Refuse) {
    return fail(CRYPT_E_EXISTS);
  }
  if (!same.empty() && ifPresent == IfPresent::Keep) {
    return (*present)->certificates()[same.front()].fileName;
  }
  std::string name = freeName(target->folder.fd.get(),
                              fileStem(bytesOf(certificate.info().Subject), certificate.sha1()));
  if (const Result<void> written = write(*target, name, certificate.der()); !written) {
    return written.failure();
  }
  return name;
}

Result<void> removeCertificateFile(const StoreName& store,
                                   const std::string& fileName,
                                   const Thumbprint& sha1) {
  if (const Result<void> allowed = mayChange(store); !allowed) {
    return allowed;
  }
  const Result<LockedFolder> target = lockFolder(store.open());
  if (!target) {
    return target.error() == ERROR_FILE_NOT_FOUND ? Result<void>() : target.failure();
  }
  return holds(*target, fileName, sha1) ? removeIn(*target, fileName) : Result<void>();
}

Result<std::string> addCrlFile(const StoreName& store, const CrlData& crl) {
  if (const Result<void> allowed = mayChange(store); !allowed) {
    return allowed.failure();
  }
  const Result<LockedFolder> target = lockFolder(store.openOrMake());
  if (!target) {
    return target.failure();
  }
  std::string name = fileStem(crl.issuer(), crl.subject()) + ".crl";
  if (holdsNewer(*target, name, crl)) {
    return fail(CRYPT_E_EXISTS);
  }
  if (const Result<void> written = write(*target, name, crl.der()); !written) {
    return written.failure();
  }
  return name;
}

Result<void> removeCrlFile(const StoreName& store, const std::string& fileName) {
  if (fileKindOf(fileName) != FileKind::Crl) {
    return fail(ERROR_INVALID_NAME);
  }
  if (const Result<void> allowed = mayChange(store); !allowed) {
    return allowed;
  }
  const Result<LockedFolder> target = lockFolder(store.open());
  return target ? removeIn(*target, fileName) : target.failure();
}

}  // namespace qx
