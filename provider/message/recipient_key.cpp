#include "provider/message/recipient_key.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "provider/cipher/kexp15.h"
#include "provider/cipher/key_agreement.h"
#include "provider/der/writer.h"
#include "provider/message/gost_key_transport.h"
#include "provider/message/known_certificate.h"
#include "provider/openssl/random.h"

namespace qx {
namespace {

/// Public keys of GOST (RFC 4491, RFC 9215), agreement with them (RFC 4490, 4.1.1) and its successors:
/// wrapping by GOST 28147-89, whose form shows the rest.
constexpr std::string_view kGostAlgorithms[] = {"1.2.643.2.2.19",
                                                "1.2.643.2.2.98",
                                                "1.2.643.2.2.96",
                                                "1.2.643.7.1.1.1.1",
                                                "1.2.643.7.1.1.1.2",
                                                "1.2.643.7.1.1.6.1",
                                                "1.2.643.7.1.1.6.2"};

struct ExportAlgorithm {
  std::string_view oid;
  BlockCipher cipher;
};

constexpr ExportAlgorithm kExportAlgorithms[] = {
    {.oid = "1.2.643.7.1.1.7.1.1", .cipher = BlockCipher::Magma},
    {.oid = "1.2.643.7.1.1.7.2.1", .cipher = BlockCipher::Kuznyechik},
};

/// In the UKM of KEG the initial value of KExp15 stands behind what the agreement takes.
constexpr std::size_t kExportIvOffset = 24;

std::string_view wrappingSet(KeyType type) {
  return type == KeyType::Gost2001 ? kGost28147SetA : kGost28147SetZ;
}

Result<std::vector<std::uint8_t>> encryptKeyGost(const PublicKey& recipient, der::Bytes session) {
  GostKeyTransport transport;
  transport.set = wrappingSet(recipient.type());
  transport.ukm.resize(kVkoUkmSize);
  if (const auto done = fillRandom(transport.ukm); !done) {
    return done.failure();
  }
  auto agreed = ephemeralVko(recipient, transport.ukm);
  if (!agreed) {
    return agreed.failure();
  }
  auto wrapped = wrapKey(
      Gost28147Wrap::Diversified, transport.set, agreed->key.bytes(), transport.ukm, session);
  if (!wrapped) {
    return wrapped.failure();
  }
  transport.wrapped = *std::move(wrapped);
  transport.ephemeralKey = std::move(agreed->spki);
  return encodeGostKeyTransport(transport);
}

Result<PublicKey> readOtherKey(der::Bytes spki) {
  auto key = PublicKey::parse(spki);
  return key ? std::move(key) : fail(NTE_BAD_DATA);
}

/// The originator's public key as it stands in the message. Without parameters it is on the
/// recipient's curve (RFC 5652, 6.2.2).
Result<PublicKey> readOriginatorKey(der::Bytes content, const PrivateKey& own) {
  der::Reader reader(content);
  const auto algorithm = reader.next(der::kSequence);
  const auto read = algorithm ? der::readAlgorithm(*algorithm) : algorithm.failure();
  if (!read) {
    return read.failure();
  }
  const auto ownAlgorithm = spkiAlgorithm(own.spki());
  if (!ownAlgorithm) {
    return ownAlgorithm.failure();
  }
  const bool isBare = read->parameters.empty() || read->parameters.front() == der::kNull;
  const der::Bytes named = isBare ? *ownAlgorithm : algorithm->whole;
  return readOtherKey(
      der::sequence(der::Encoding::borrowed(named), der::Encoding::borrowed(reader.rest()))
          .bytes());
}

Result<PublicKey> originatorOf(const KeyAgreement& agreement, const PrivateKey& own) {
  if (!agreement.originatorKey.empty()) {
    return readOriginatorKey(agreement.originatorKey, own);
  }
  const auto certificate = knownCertificate(agreement.originator, {"Addressbook", "My"});
  return certificate != nullptr ? readOtherKey(certificate->spki()) : fail(CRYPT_E_NOT_FOUND);
}

Result<SecretBytes> unwrapAgreed(const PrivateKey& key,
                                 const PublicKey& other,
                                 const KeyWrapParameters& parameters,
                                 const WrappedKey& wrapped) {
  const auto agreed = vko(key, other, parameters.ukm);
  return agreed
             ? unwrapKey(parameters.wrap, parameters.set, agreed->bytes(), parameters.ukm, wrapped)
             : agreed.failure();
}

Result<SecretBytes> recoverTransported(const Recipient& recipient, const PrivateKey& key) {
  const auto transport = readGostKeyTransport(recipient.encryptedKey);
  if (!transport) {
    return transport.failure();
  }
  const auto ephemeral = readOtherKey(transport->ephemeralKey);
  if (!ephemeral) {
    return ephemeral.failure();
  }
  return unwrapAgreed(
      key,
      *ephemeral,
      {.wrap = Gost28147Wrap::Diversified, .set = transport->set, .ukm = transport->ukm},
      transport->wrapped);
}

Result<SecretBytes> recoverAgreed(const Recipient& recipient,
                                  const KeyAgreement& agreement,
                                  const PrivateKey& key) {
  auto parameters = readKeyWrapParameters(recipient.algorithm.parameters);
  if (!parameters) {
    return parameters.failure();
  }
  if (agreement.ukm) {
    auto ukm = der::readOctets(*agreement.ukm);
    if (!ukm) {
      return ukm.failure();
    }
    parameters->ukm = *std::move(ukm);
  }
  const auto wrapped = readWrappedKey(recipient.encryptedKey);
  if (!wrapped) {
    return wrapped.failure();
  }
  const auto originator = originatorOf(agreement, key);
  return originator ? unwrapAgreed(key, *originator, *parameters, *wrapped) : originator.failure();
}

Result<SecretBytes> importAgreed(BlockCipher cipher,
                                 const PrivateKey& key,
                                 const PublicKey& other,
                                 der::Bytes ukm,
                                 der::Bytes exported) {
  const auto keys = keg(key, other, ukm);
  return keys ? importKey(cipher,
                          keys->bytes(),
                          ukm.subspan(kExportIvOffset, blockSize(cipher) / 2),
                          exported)
              : keys.failure();
}

Result<SecretBytes> importFromAgreement(BlockCipher cipher,
                                        const Recipient& recipient,
                                        const KeyAgreement& agreement,
                                        const PrivateKey& key) {
  const auto ukm = agreement.ukm ? der::readOctets(*agreement.ukm) : fail(NTE_BAD_DATA);
  const auto originator = ukm ? originatorOf(agreement, key) : ukm.failure();
  return originator ? importAgreed(cipher, key, *originator, *ukm, recipient.encryptedKey)
                    : originator.failure();
}

Result<SecretBytes> recoverExported(BlockCipher cipher,
                                    const Recipient& recipient,
                                    const PrivateKey& key) {
  if (recipient.agreement) {
    return importFromAgreement(cipher, recipient, *recipient.agreement, key);
  }
  const auto transport = readExportedKeyTransport(recipient.encryptedKey);
  if (!transport) {
    return transport.failure();
  }
  const auto ephemeral = readOtherKey(transport->ephemeralKey);
  return ephemeral ? importAgreed(cipher, key, *ephemeral, transport->ukm, transport->exported)
                   : ephemeral.failure();
}

Result<SecretBytes> recoverGost(const Recipient& recipient, const PrivateKey& key) {
  const std::string_view oid = recipient.algorithm.oid;
  const auto* exporting = std::ranges::find(kExportAlgorithms, oid, &ExportAlgorithm::oid);
  if (exporting != std::end(kExportAlgorithms)) {
    return recoverExported(exporting->cipher, recipient, key);
  }
  if (std::ranges::find(kGostAlgorithms, oid) == std::end(kGostAlgorithms)) {
    return fail(NTE_BAD_ALGID);
  }
  return recipient.agreement ? recoverAgreed(recipient, *recipient.agreement, key)
                             : recoverTransported(recipient, key);
}

}  // namespace

Result<std::vector<std::uint8_t>> encryptKeyFor(const PublicKey& recipient, der::Bytes session) {
  switch (recipient.type()) {
    case KeyType::Rsa:
      return encryptKeyRsa(recipient, session);
    case KeyType::Ec:
      return fail(NTE_BAD_ALGID);
    default:
      return encryptKeyGost(recipient, session);
  }
}

Result<TransportedKey> recoverKey(const Recipient& recipient,
                                  const PrivateKey& key,
                                  std::size_t length) {
  if (recipient.algorithm.oid == keyTypeInfo(KeyType::Rsa).oid && !recipient.agreement) {
    return decryptKeyRsa(key, recipient.encryptedKey, length);
  }
  auto recovered = recoverGost(recipient, key);
  if (!recovered) {
    return recovered.failure();
  }
  if (recovered->size() != length) {
    return fail(NTE_BAD_DATA);
  }
  return TransportedKey{.key = *std::move(recovered), .isGood = true};
}

}  // namespace qx
