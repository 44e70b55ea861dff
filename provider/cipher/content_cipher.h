#ifndef QX_PROVIDER_CIPHER_CONTENT_CIPHER_H_
#define QX_PROVIDER_CIPHER_CONTENT_CIPHER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "provider/cipher/gost3412.h"
#include "provider/cipher/stream.h"
#include "provider/der/values.h"
#include "provider/result.h"

namespace qx {

/// GOST 28147-89 as a content encryption algorithm (RFC 4490, 5.1).
inline constexpr std::string_view kGost28147Oid = "1.2.643.2.2.21";

/// Gost28147Parameters is Gost28147-89-Parameters (RFC 4357, 8.1).
struct Gost28147Parameters {
  std::vector<std::uint8_t> iv;  ///< a block
  std::string set;
};

/// readGost28147Parameters: CRYPT_E_ASN1_... for what is none, NTE_BAD_ALGID for an unknown set.
Result<Gost28147Parameters> readGost28147Parameters(der::Bytes encoded);

/// encodeGost28147Parameters: CRYPT_E_OID_FORMAT.
Result<std::vector<std::uint8_t>> encodeGost28147Parameters(const Gost28147Parameters& parameters);

/// ContentAlgorithm is what is known of a content encryption algorithm before there is a key: GOST
/// 28147-89, Magma and Kuznyechik in CTR-ACPKM with and without MAC (R 1323565.1.025-2019), AES in CBC
/// (RFC 3565).
struct ContentAlgorithm {
  enum class Kind : std::uint8_t { Gost28147, Acpkm, AcpkmOmac, AesCbc };

  std::string_view oid;
  std::size_t keySize = 0;  ///< octets
  const char* name = "";    ///< libcrypto's, of AES
  Kind kind{};
  BlockCipher cipher{};  ///< of the two kinds of ACPKM

  bool hasMac() const { return kind == Kind::AcpkmOmac; }
};

/// contentAlgorithm finds one by its OID, or null.
const ContentAlgorithm* contentAlgorithm(std::string_view oid);

/// ContentDecryption decrypts content with the session key, in any number of pieces.
class ContentDecryption {
 public:
  /// open: `key` has the algorithm's keySize, `mac` is the encrypted MAC of an algorithm that has one,
  /// empty for others.
  /// CRYPT_E_ASN1_... for parameters that are none of the algorithm's, NTE_BAD_ALGID for an unknown
  /// set, NTE_BAD_DATA for a MAC of a wrong length or where there is none, NTE_FAIL.
  static Result<ContentDecryption> open(const ContentAlgorithm& algorithm,
                                        der::Bytes parameters,
                                        der::Bytes key,
                                        der::Bytes mac);

  /// update gives the number of octets written to `out`: never more than were given in all.
  Result<std::size_t> update(der::Bytes in, std::uint8_t* out);

  /// finish writes the rest. NTE_BAD_DATA when the padding or the MAC is wrong: then nothing that was
  /// decrypted is worth anything.
  Result<std::size_t> finish(std::uint8_t* out);

 private:
  ContentDecryption(CipherStream stream, std::optional<Omac> omac, der::Bytes mac)
      : stream_(std::move(stream)), omac_(std::move(omac)), mac_(mac.begin(), mac.end()) {}

  static Result<ContentDecryption> openAcpkm(const ContentAlgorithm& algorithm,
                                             der::Bytes parameters,
                                             der::Bytes key,
                                             der::Bytes mac);
  Result<void> checkMac(Omac& omac);

  CipherStream stream_;
  std::optional<Omac> omac_;
  std::vector<std::uint8_t> mac_;
};

}  // namespace qx

#endif
