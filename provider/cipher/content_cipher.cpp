#include "provider/cipher/content_cipher.h"

#include <algorithm>
#include <iterator>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "provider/cipher/gost28147.h"
#include "provider/cipher/kdf_tree.h"
#include "provider/der/writer.h"
#include "provider/openssl/library_context.h"

namespace qx {
namespace {

using Kind = ContentAlgorithm::Kind;

constexpr ContentAlgorithm kAlgorithms[] = {
    {.oid = kGost28147Oid, .keySize = kGostKeySize, .kind = Kind::Gost28147},
    {.oid = "1.2.643.7.1.1.5.1.1",
     .keySize = kGostKeySize,
     .kind = Kind::Acpkm,
     .cipher = BlockCipher::Magma},
    {.oid = "1.2.643.7.1.1.5.1.2",
     .keySize = kGostKeySize,
     .kind = Kind::AcpkmOmac,
     .cipher = BlockCipher::Magma},
    {.oid = "1.2.643.7.1.1.5.2.1",
     .keySize = kGostKeySize,
     .kind = Kind::Acpkm,
     .cipher = BlockCipher::Kuznyechik},
    {.oid = "1.2.643.7.1.1.5.2.2",
     .keySize = kGostKeySize,
     .kind = Kind::AcpkmOmac,
     .cipher = BlockCipher::Kuznyechik},
    {.oid = "2.16.840.1.101.3.4.1.2", .keySize = 16, .name = "AES-128-CBC", .kind = Kind::AesCbc},
    {.oid = "2.16.840.1.101.3.4.1.22", .keySize = 24, .name = "AES-192-CBC", .kind = Kind::AesCbc},
    {.oid = "2.16.840.1.101.3.4.1.42", .keySize = 32, .name = "AES-256-CBC", .kind = Kind::AesCbc},
};

constexpr std::size_t kAesBlockSize = 16;
constexpr std::size_t kSeedSize = 8;
constexpr std::uint8_t kMacKeyLabel[] = {'k', 'd', 'f', ' ', 't', 'r', 'e', 'e'};

// Small enough that what was decrypted is still near when its MAC is computed.
constexpr std::size_t kCipherPiece = std::size_t{64} << 10U;

/// The one OCTET STRING that a reader stands before, of a given size.
Result<der::Bytes> readFixed(der::Reader& reader, std::size_t size) {
  const auto string = reader.next(der::kOctetString);
  if (!string) {
    return string.failure();
  }
  return string->content.size() == size ? Result<der::Bytes>(string->content)
                                        : fail(CRYPT_E_ASN1_CORRUPT);
}

Result<CipherStream> openGost28147(der::Bytes parameters, der::Bytes key) {
  const auto read = readGost28147Parameters(parameters);
  return read ? gost28147Cfb(read->set, Direction::Decrypt, key, read->iv) : read.failure();
}

Result<CipherStream> openAes(const ContentAlgorithm& algorithm,
                             der::Bytes parameters,
                             der::Bytes key) {
  der::Reader reader(parameters);
  const auto iv = readFixed(reader, kAesBlockSize);
  if (!iv) {
    return iv.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  const EvpCipherPtr cipher(EVP_CIPHER_fetch(libraryContext(), algorithm.name, nullptr));
  return CipherStream::open(cipher.get(), Direction::Decrypt, key, *iv);
}

/// The initial value and, behind it, the seed (GostR3412-15-Encryption-Parameters).
Result<der::Bytes> readUkm(der::Bytes parameters, std::size_t size) {
  const auto sequence = der::readWhole(parameters, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  auto ukm = readFixed(reader, size);
  if (const auto end = reader.expectEnd(); ukm && !end) {
    return end.failure();
  }
  return ukm;
}

}  // namespace

const ContentAlgorithm* contentAlgorithm(std::string_view oid) {
  const auto* found = std::ranges::find(kAlgorithms, oid, &ContentAlgorithm::oid);
  return found == std::end(kAlgorithms) ? nullptr : found;
}

Result<Gost28147Parameters> readGost28147Parameters(der::Bytes encoded) {
  const auto sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  const auto iv = readFixed(reader, kGost28147BlockSize);
  if (!iv) {
    return iv.failure();
  }
  auto set = der::readOid(reader);
  if (!set) {
    return set.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  if (!isGost28147Set(*set)) {
    return fail(NTE_BAD_ALGID);
  }
  return Gost28147Parameters{.iv = {iv->begin(), iv->end()}, .set = *std::move(set)};
}

Result<std::vector<std::uint8_t>> encodeGost28147Parameters(const Gost28147Parameters& parameters) {
  auto set = der::oid(parameters.set);
  if (!set) {
    return set.failure();
  }
  return der::sequence(der::octetString(parameters.iv), *std::move(set)).bytes();
}

Result<ContentDecryption> ContentDecryption::open(const ContentAlgorithm& algorithm,
                                                  der::Bytes parameters,
                                                  der::Bytes key,
                                                  der::Bytes mac) {
  // A MAC beside an algorithm that has none: somebody may have put that algorithm in the place of another.
  if (key.size() != algorithm.keySize || (!mac.empty() && !algorithm.hasMac())) {
    return fail(NTE_BAD_DATA);
  }
  if (algorithm.kind == Kind::Acpkm || algorithm.kind == Kind::AcpkmOmac) {
    return openAcpkm(algorithm, parameters, key, mac);
  }
  auto stream = algorithm.kind == Kind::Gost28147 ? openGost28147(parameters, key)
                                                  : openAes(algorithm, parameters, key);
  if (!stream) {
    return stream.failure();
  }
  return ContentDecryption(*std::move(stream), std::nullopt, {});
}

Result<ContentDecryption> ContentDecryption::openAcpkm(const ContentAlgorithm& algorithm,
                                                       der::Bytes parameters,
                                                       der::Bytes key,
                                                       der::Bytes mac) {
  const std::size_t ivSize = blockSize(algorithm.cipher) / 2;
  const auto ukm = readUkm(parameters, ivSize + kSeedSize);
  if (!ukm) {
    return ukm.failure();
  }
  const der::Bytes iv = ukm->first(ivSize);
  if (!algorithm.hasMac()) {
    auto stream = counterAcpkm(algorithm.cipher, key, iv);
    return stream
               ? Result<ContentDecryption>(ContentDecryption(*std::move(stream), std::nullopt, {}))
               : stream.failure();
  }
  if (mac.size() != blockSize(algorithm.cipher)) {
    return fail(NTE_BAD_DATA);
  }
  const SecretBytes keys = kdfTree(key, kMacKeyLabel, ukm->subspan(ivSize));
  auto stream = counterAcpkm(algorithm.cipher, keys.bytes().first(kGostKeySize), iv);
  auto omac = Omac::open(algorithm.cipher, keys.bytes().subspan(kGostKeySize));
  if (!stream || !omac) {
    return fail(NTE_FAIL);
  }
  return ContentDecryption(*std::move(stream), *std::move(omac), mac);
}

Result<std::size_t> ContentDecryption::update(der::Bytes in, std::uint8_t* out) {
  std::size_t written = 0;
  while (!in.empty()) {
    const der::Bytes step = in.first(std::min(in.size(), kCipherPiece));
    const auto length = stream_.update(step, out + written);
    if (!length) {
      return length;
    }
    if (omac_) {
      if (const auto done = omac_->update({out + written, *length}); !done) {
        return done.failure();
      }
    }
    written += *length;
    in = in.subspan(step.size());
  }
  return written;
}

Result<std::size_t> ContentDecryption::finish(std::uint8_t* out) {
  if (!omac_) {
    return stream_.finish(out);
  }
  const auto checked = checkMac(*omac_);
  return checked ? Result<std::size_t>(0) : checked.failure();
}

// The MAC is encrypted as if it stood behind the content.
Result<void> ContentDecryption::checkMac(Omac& omac) {
  if (const auto done = stream_.update(mac_, mac_.data()); !done) {
    return done.failure();
  }
  const auto computed = omac.finish();
  if (!computed) {
    return computed.failure();
  }
  const bool same = CRYPTO_memcmp(computed->data(), mac_.data(), mac_.size()) == 0;
  return same ? Result<void>{} : fail(NTE_BAD_DATA);
}

}  // namespace qx
