#include "provider/message/verify.h"

#include <algorithm>
#include <utility>

#include "provider/der/blob.h"
#include "provider/der/writer.h"
#include "provider/message/oids.h"

namespace qx {
namespace {

struct SignedDigest {
  HashAlgorithm hash;
  HashValue digest;
};

// The only value of an attribute; CRYPT_E_ASN1_CORRUPT when there are none or several.
Result<der::Element> onlyValue(const Attribute& attribute, std::uint8_t identifier) {
  if (attribute.values.size() != 1) {
    return fail(CRYPT_E_ASN1_CORRUPT);
  }
  return der::readWhole(attribute.values.front(), identifier);
}

Result<void> checkMessageDigest(const Attributes& attributes, const HashValue& digest) {
  const Attribute* attribute = findAttribute(attributes, oids::kMessageDigest);
  if (attribute == nullptr) {
    return fail(CRYPT_E_AUTH_ATTR_MISSING);
  }
  const Result<der::Element> value = onlyValue(*attribute, der::kOctetString);
  if (!value) {
    return value.failure();
  }
  if (!std::ranges::equal(value->content, digest.bytes())) {
    return fail(CRYPT_E_HASH_VALUE);
  }
  return {};
}

Result<HashAlgorithm> signingHash(const SignerInfo& signer) {
  const HashInfo* hash = hashByOid(signer.hashAlgorithm().oid);
  if (hash == nullptr) {
    return fail(CRYPT_E_UNKNOWN_ALGO);
  }
  return hash->signs ? Result<HashAlgorithm>(hash->algorithm) : fail(NTE_BAD_ALGID);
}

// The digest that the signature has to be over, once everything beneath it is proved.
Result<SignedDigest> signedDigest(const SignerInfo& signer,
                                  std::string_view contentType,
                                  MessageContent& content) {
  const Result<HashAlgorithm> hash = signingHash(signer);
  if (!hash) {
    return hash.failure();
  }
  const Result<HashValue> digest = content.hash(*hash);
  if (!digest) {
    return fail(NTE_BAD_SIGNATURE);
  }
  if (!signer.hasSignedAttributes()) {
    if (contentType != oids::kData) {
      return fail(CRYPT_E_AUTH_ATTR_MISSING);
    }
    // A signature over somebody's attributes, shown as one over content.
    if (content.mayBeAttributes()) {
      return fail(NTE_BAD_SIGNATURE);
    }
    return SignedDigest{.hash = *hash, .digest = *digest};
  }
  const Attributes& attributes = signer.signedAttributes();
  if (const Result<void> same = checkMessageDigest(attributes, *digest); !same) {
    return same.failure();
  }
  // Not every signer says what he signed; who does has to be right.
  const Result<void> type = checkContentType(signer, contentType);
  if (!type && findAttribute(attributes, oids::kContentType) != nullptr) {
    return type.failure();
  }
  // Signed as a SET, whatever tag and length they have in the message (RFC 5652, 5.4).
  Hasher hasher(*hash);
  der::wrap(der::kSet, der::Encoding::borrowed(signer.signedContent()))
      .visit([&hasher](der::Bytes piece) { hasher.update(piece); });
  return SignedDigest{.hash = *hash, .digest = hasher.finish()};
}

}  // namespace

Result<void> checkContentType(const SignerInfo& signer, std::string_view contentType) {
  const Attribute* attribute = findAttribute(signer.signedAttributes(), oids::kContentType);
  if (attribute == nullptr) {
    return fail(CRYPT_E_AUTH_ATTR_MISSING);
  }
  const Result<der::Element> value = onlyValue(*attribute, der::kOid);
  if (!value) {
    return value.failure();
  }
  const Result<std::string> signedType = der::readOid(*value);
  if (!signedType || *signedType != contentType) {
    return fail(NTE_BAD_SIGNATURE);
  }
  return {};
}

Result<void> verifySigner(const SignerInfo& signer,
                          std::string_view contentType,
                          MessageContent& content,
                          const PublicKey& key) {
  const Result<SignedDigest> over = signedDigest(signer, contentType, content);
  if (!over) {
    return over.failure();
  }
  const der::AlgorithmIdentifier& algorithm = signer.signatureAlgorithm();
  return key.verifyDigest({.oid = algorithm.oid, .parameters = algorithm.parameters},
                          over->hash,
                          over->digest.bytes(),
                          signer.signature());
}

Result<void> verifyBareHash(const SignerInfo& signer,
                            std::string_view contentType,
                            MessageContent& content) {
  const Result<SignedDigest> over = signedDigest(signer, contentType, content);
  if (!over) {
    return over.failure();
  }
  const bool good = signer.signatureAlgorithm().oid == oids::kNoSignature &&
                    std::ranges::equal(signer.signature(), over->digest.bytes());
  return good ? Result<void>{} : fail(NTE_BAD_SIGNATURE);
}

Result<PublicKeyPtr> publicKeyOf(const CERT_PUBLIC_KEY_INFO& info) {
  const CRYPT_DATA_BLOB bits{.cbData = info.PublicKey.cbData, .pbData = info.PublicKey.pbData};
  if (bytesOf(bits).empty() || info.Algorithm.pszObjId == nullptr) {
    return fail(CRYPT_E_ASN1_EOD);
  }
  Result<der::Encoding> algorithm =
      der::algorithm(info.Algorithm.pszObjId, bytesOf(info.Algorithm.Parameters));
  if (!algorithm) {
    return algorithm.failure();
  }
  der::Encoding content =
      der::Encoding::owned({static_cast<std::uint8_t>(info.PublicKey.cUnusedBits)});
  content.append(der::Encoding::borrowed(bytesOf(bits)));
  const std::vector<std::uint8_t> spki =
      der::sequence(*std::move(algorithm), der::wrap(der::kBitString, std::move(content))).bytes();
  Result<PublicKeyPtr> key = sharedPublicKey(spki);
  return !key && key.error() == NTE_BAD_PUBLIC_KEY ? fail(CRYPT_E_ASN1_BADTAG) : std::move(key);
}

}  // namespace qx
