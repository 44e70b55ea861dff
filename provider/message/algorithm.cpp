#include "provider/message/algorithm.h"

#include <algorithm>
#include <iterator>

#include "provider/der/blob.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

struct EcdsaName {
  HashAlgorithm hash;
  std::string_view oid;
};

constexpr EcdsaName kEcdsaNames[] = {
    {HashAlgorithm::Sha1, "1.2.840.10045.4.1"},
    {HashAlgorithm::Sha256, "1.2.840.10045.4.3.2"},
    {HashAlgorithm::Sha384, "1.2.840.10045.4.3.3"},
    {HashAlgorithm::Sha512, "1.2.840.10045.4.3.4"},
};

bool areNull(der::Bytes parameters) {
  return std::ranges::equal(parameters, der::kNullParameters);
}

// Hashes have no parameters, written as absent or NULL; R 34.11-94 may name its set. Nothing of this is
// signed, so anything else would go unnoticed.
bool areHashParameters(const der::AlgorithmIdentifier& algorithm) {
  const der::Bytes parameters = algorithm.parameters;
  return parameters.empty() || areNull(parameters) || parameters.front() == der::kOid;
}

// A signature algorithm of GOST names the hash and has no parameters (RFC 4491, 2.2; RFC 9215, 2). With
// NULL it would be the public key's name with one bit changed, which nothing else would show.
constexpr std::string_view kGostSignatures[] = {
    "1.2.643.2.2.3", "1.2.643.7.1.1.3.2", "1.2.643.7.1.1.3.3"};

// GOST keys and RSASSA-PSS have parameters in a SEQUENCE, the others none.
bool areSignatureParameters(const der::AlgorithmIdentifier& algorithm) {
  const der::Bytes parameters = algorithm.parameters;
  if (std::ranges::find(kGostSignatures, algorithm.oid) != std::end(kGostSignatures)) {
    return parameters.empty();
  }
  return parameters.empty() || areNull(parameters) || parameters.front() == der::kSequence;
}

using Check = bool (*)(const der::AlgorithmIdentifier&);

Result<der::AlgorithmIdentifier> readAlgorithm(der::Reader& reader, Check isGood) {
  Result<der::AlgorithmIdentifier> algorithm = der::readAlgorithm(reader);
  if (algorithm && !isGood(*algorithm)) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return algorithm;
}

}  // namespace

Result<der::AlgorithmIdentifier> readHashAlgorithm(der::Reader& reader) {
  return readAlgorithm(reader, areHashParameters);
}

Result<der::AlgorithmIdentifier> readSignatureAlgorithm(der::Reader& reader) {
  return readAlgorithm(reader, areSignatureParameters);
}

bool areParameters(der::Bytes parameters) {
  return parameters.empty() || isOneElement(parameters);
}

CRYPT_ALGORITHM_IDENTIFIER layOutAlgorithm(const der::AlgorithmIdentifier& algorithm,
                                           OnePiece& piece) {
  return {.pszObjId = piece.text(algorithm.oid), .Parameters = piece.blob(algorithm.parameters)};
}

Result<void> putAlgorithm(const der::AlgorithmIdentifier& algorithm, ParamOutput& output) {
  return output.putRecord<CRYPT_ALGORITHM_IDENTIFIER>(
      [&](CRYPT_ALGORITHM_IDENTIFIER& record, OnePiece& piece) {
        record = layOutAlgorithm(algorithm, piece);
      });
}

Result<der::Encoding> encodeAlgorithm(std::string_view oid, der::Bytes parameters) {
  const bool ecdsa = std::ranges::find(kEcdsaNames, oid, &EcdsaName::oid) != std::end(kEcdsaNames);
  const bool bare = parameters.empty() && !ecdsa;
  return der::algorithm(oid, bare ? der::Bytes(der::kNullParameters) : parameters);
}

Result<der::Encoding> encodeSignatureAlgorithm(std::string_view publicKeyOid, HashAlgorithm hash) {
  if (publicKeyOid.empty()) {
    return der::sequence(der::wrap(der::kOid, {}), der::null());
  }
  if (publicKeyOid != oids::kEcPublicKey) {
    return encodeAlgorithm(publicKeyOid, {});
  }
  const auto* name = std::ranges::find(kEcdsaNames, hash, &EcdsaName::hash);
  if (name == std::end(kEcdsaNames)) {
    return fail(NTE_BAD_ALGID);
  }
  return encodeAlgorithm(name->oid, {});
}

}  // namespace qx
