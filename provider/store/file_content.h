#ifndef QX_PROVIDER_STORE_FILE_CONTENT_H_
#define QX_PROVIDER_STORE_FILE_CONTENT_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "provider/result.h"

namespace qx {

/// What the files of a store hold.
enum class FileKind : std::uint8_t { Certificate, Crl };

/// fileKindOf tells it by the ending of the file's name, in any case: .pem, .crt, .cer, .der and .crl.
/// Nothing for other names and for those that begin with a dot.
std::optional<FileKind> fileKindOf(std::string_view name);

/// fileLimit is the size of the longest file that is read: 1 MB for a certificate, 16 MB for a CRL.
std::size_t fileLimit(FileKind kind);

/// derFromFile gives the DER in a file's bytes: the bytes themselves when they begin as a SEQUENCE
/// does, else what the first PEM block with the kind's label holds (RFC 7468; text before it and
/// other blocks are stepped over). CRYPT_E_BAD_ENCODE when there is neither.
Result<std::vector<std::uint8_t>> derFromFile(FileKind kind, std::vector<std::uint8_t> bytes);

}  // namespace qx

#endif
