#include "provider/hash/hash.h"

#include "provider/hash/libcrypto_hash.h"
#include "provider/hash/nettle_hash.h"

namespace qx {
namespace {

using MakeState = std::unique_ptr<HashState> (*)();

struct HashRow {
  HashInfo info;
  MakeState make = nullptr;
};

// Which library does which algorithm. The rows stand in the order of HashAlgorithm. The engine's own
// R 34.11-94 is not among them: it hashes the empty message wrongly.
// clang-format off
constexpr HashRow kHashRows[] = {
    {{HashAlgorithm::Md2,         "1.2.840.113549.2.2",     0x8001, 16, false}, nettleMd2},
    {{HashAlgorithm::Md5,         "1.2.840.113549.2.5",     0x8003, 16, false}, libcryptoMd5},
    {{HashAlgorithm::Sha1,        "1.3.14.3.2.26",          0x8004, 20, true},  libcryptoSha1},
    {{HashAlgorithm::Sha256,      "2.16.840.1.101.3.4.2.1", 0x800C, 32, true},  libcryptoSha256},
    {{HashAlgorithm::Sha384,      "2.16.840.1.101.3.4.2.2", 0x800D, 48, true},  libcryptoSha384},
    {{HashAlgorithm::Sha512,      "2.16.840.1.101.3.4.2.3", 0x800E, 64, true},  libcryptoSha512},
    {{HashAlgorithm::Gost94,      "1.2.643.2.2.9",          0x801E, 32, true},  nettleGost94},
    {{HashAlgorithm::Streebog256, "1.2.643.7.1.1.2.2",      0x8021, 32, true},  nettleStreebog256},
    {{HashAlgorithm::Streebog512, "1.2.643.7.1.1.2.3",      0x8022, 64, true},  nettleStreebog512},
};

struct SignatureOid {
  std::string_view oid;
  HashAlgorithm hash;
};

constexpr SignatureOid kSignatureOids[] = {
    {"1.2.840.113549.1.1.2",  HashAlgorithm::Md2},
    {"1.2.840.113549.1.1.4",  HashAlgorithm::Md5},
    {"1.2.840.113549.1.1.5",  HashAlgorithm::Sha1},
    {"1.3.14.3.2.29",         HashAlgorithm::Sha1},
    {"1.2.840.113549.1.1.11", HashAlgorithm::Sha256},
    {"1.2.840.113549.1.1.12", HashAlgorithm::Sha384},
    {"1.2.840.113549.1.1.13", HashAlgorithm::Sha512},
    {"1.2.840.10045.4.1",     HashAlgorithm::Sha1},
    {"1.2.840.10045.4.3.2",   HashAlgorithm::Sha256},
    {"1.2.840.10045.4.3.3",   HashAlgorithm::Sha384},
    {"1.2.840.10045.4.3.4",   HashAlgorithm::Sha512},
    {"1.2.643.2.2.3",         HashAlgorithm::Gost94},
    {"1.2.643.7.1.1.3.2",     HashAlgorithm::Streebog256},
    {"1.2.643.7.1.1.3.3",     HashAlgorithm::Streebog512},
};
// clang-format on

const HashRow& rowOf(HashAlgorithm algorithm) {
  return kHashRows[static_cast<std::size_t>(algorithm)];
}

}  // namespace

const HashInfo& hashInfo(HashAlgorithm algorithm) {
  return rowOf(algorithm).info;
}

const HashInfo* hashByOid(std::string_view dotted) {
  for (const HashRow& row : kHashRows) {
    if (row.info.oid == dotted) {
      return &row.info;
    }
  }
  for (const SignatureOid& signature : kSignatureOids) {
    if (signature.oid == dotted) {
      return &hashInfo(signature.hash);
    }
  }
  return nullptr;
}

Hasher::Hasher(HashAlgorithm algorithm)
    : length_(hashInfo(algorithm).length), state_(rowOf(algorithm).make()) {}

HashValue Hasher::finish() {
  HashValue value(length_);
  state_->finish(value.data());
  return value;
}

HashValue hashOf(HashAlgorithm algorithm, der::Bytes bytes) {
  Hasher hasher(algorithm);
  hasher.update(bytes);
  return hasher.finish();
}

}  // namespace qx
