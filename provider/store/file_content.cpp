#include "provider/store/file_content.h"

#include <strings.h>

#include <array>
#include <limits>
#include <string>

#include <openssl/evp.h>

#include "provider/der/tag.h"
#include "provider/openssl/owned.h"

namespace qx {
namespace {

using EncodeCtxPtr = OpensslOwner<EVP_ENCODE_CTX, EVP_ENCODE_CTX_free>;

constexpr std::size_t kMegabyte = std::size_t{1} << 20U;

struct Ending {
  std::string_view text;
  FileKind kind;
};

constexpr std::array kEndings{Ending{.text = ".pem", .kind = FileKind::Certificate},
                              Ending{.text = ".crt", .kind = FileKind::Certificate},
                              Ending{.text = ".cer", .kind = FileKind::Certificate},
                              Ending{.text = ".der", .kind = FileKind::Certificate},
                              Ending{.text = ".crl", .kind = FileKind::Crl}};

// What stands between the two lines of the first block with this label; empty when there is none.
std::string_view blockBody(std::string_view text, const std::string& label) {
  const std::string begin = "-----BEGIN " + label + "-----";
  const std::string end = "-----END " + label + "-----";
  const std::size_t start = text.find(begin);
  if (start == std::string_view::npos) {
    return {};
  }
  const std::string_view rest = text.substr(start + begin.size());
  const std::size_t size = rest.find(end);
  return size == std::string_view::npos ? std::string_view{} : rest.substr(0, size);
}

Result<std::vector<std::uint8_t>> decodeBase64(std::string_view text) {
  const EncodeCtxPtr context(EVP_ENCODE_CTX_new());
  if (!context) {
    return fail(E_OUTOFMEMORY);
  }
  if (text.size() > std::numeric_limits<int>::max()) {
    return fail(CRYPT_E_BAD_ENCODE);
  }
  std::vector<std::uint8_t> bytes(text.size());
  int size = 0;
  int rest = 0;
  EVP_DecodeInit(context.get());
  const int decoded = EVP_DecodeUpdate(context.get(),
                                       bytes.data(),
                                       &size,
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
  if (decoded < 0 || EVP_DecodeFinal(context.get(), bytes.data() + size, &rest) < 0) {
    return fail(CRYPT_E_BAD_ENCODE);
  }
  bytes.resize(static_cast<std::size_t>(size) + static_cast<std::size_t>(rest));
  return bytes;
}

}  // namespace

std::optional<FileKind> fileKindOf(std::string_view name) {
  if (name.starts_with('.')) {
    return std::nullopt;
  }
  for (const Ending& ending : kEndings) {
    if (name.size() > ending.text.size() &&
        strncasecmp(name.data() + (name.size() - ending.text.size()),
                    ending.text.data(),
                    ending.text.size()) == 0) {
      return ending.kind;
    }
  }
  return std::nullopt;
}

std::size_t fileLimit(FileKind kind) {
  return kind == FileKind::Certificate ? kMegabyte : 16 * kMegabyte;
}

Result<std::vector<std::uint8_t>> derFromFile(FileKind kind, std::vector<std::uint8_t> bytes) {
  if (!bytes.empty() && bytes.front() == der::kSequence) {
    return bytes;
  }
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::string_view body =
      blockBody(text, kind == FileKind::Certificate ? "CERTIFICATE" : "X509 CRL");
  return body.empty() ? fail(CRYPT_E_BAD_ENCODE) : decodeBase64(body);
}

}  // namespace qx
