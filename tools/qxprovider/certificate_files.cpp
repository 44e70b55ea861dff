#include "tools/qxprovider/certificate_files.h"

#include <cstdint>
#include <string_view>

#include "provider/key/pem.h"
#include "provider/support/wipe.h"
#include "tools/common/error.h"
#include "tools/common/input.h"
#include "tools/qxprovider/failure.h"

namespace qx::admin {
namespace {

using tools::ExitCode;
using tools::ToolError;

constexpr std::string_view kCertificateLabel = "CERTIFICATE";
constexpr std::string_view kCrlLabel = "X509 CRL";
constexpr std::uint8_t kSequence = 0x30;
// Bundles of all authorities in the world have some hundreds.
constexpr std::size_t kMaxBlocks = 10'000;

template <class Data>
void add(std::vector<std::shared_ptr<const Data>>& found, der::Bytes der, const std::string& name) {
  found.push_back(require(Data::parse(der), name));
}

// All of one kind in a file: DER is told by its first byte, PEM by the blocks' label.
template <class Data>
std::vector<std::shared_ptr<const Data>> readAll(const std::string& path, std::string_view label) {
  const tools::Input input(path);
  std::vector<std::shared_ptr<const Data>> found;
  if (!input.bytes().empty() && input.bytes().front() == kSequence) {
    add(found, input.bytes(), input.name());
    return found;
  }
  const std::string_view text(reinterpret_cast<const char*>(input.bytes().data()),
                              input.bytes().size());
  for (const PemBlock& block : require(readPem(text, kMaxBlocks), input.name())) {
    if (block.label == label) {
      add(found, block.der.bytes(), input.name());
    }
  }
  if (found.empty()) {
    throw ToolError(
        ExitCode::Input,
        input.name() + ": holds no " + std::string(label) + " (PEM and DER can be read)");
  }
  return found;
}

}  // namespace

std::vector<std::shared_ptr<const CertificateData>> readCertificates(const std::string& path) {
  return readAll<CertificateData>(path, kCertificateLabel);
}

std::vector<std::shared_ptr<const CrlData>> readCrls(const std::string& path) {
  return readAll<CrlData>(path, kCrlLabel);
}

std::string certificatePem(const CertificateData& certificate) {
  return std::string(appendPem({}, kCertificateLabel, certificate.der()).text());
}

}  // namespace qx::admin
