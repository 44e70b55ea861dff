#include "provider/message/gost_key_transport.h"

#include "provider/der/reader.h"
#include "provider/der/values.h"
#include "provider/der/writer.h"

namespace qx {
namespace {

constexpr std::uint8_t kParametersTag = der::contextConstructed(0);
constexpr std::uint8_t kEphemeralKeyTag = der::contextConstructed(0);

constexpr std::string_view kPlainWrap = "1.2.643.2.2.13.0";
constexpr std::string_view kDiversifiedWrap = "1.2.643.2.2.13.1";

using Octets = std::vector<std::uint8_t>;

// Of one piece: there is no BER within the OCTET STRING that holds these structures.
Result<Octets> nextOctets(der::Reader& reader) {
  const auto string = reader.next(der::kOctetString);
  return string ? Result<Octets>(Octets(string->content.begin(), string->content.end()))
                : string.failure();
}

Result<WrappedKey> nextWrappedKey(der::Reader& outer) {
  const auto sequence = outer.next(der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  auto encrypted = nextOctets(reader);
  if (!encrypted) {
    return encrypted.failure();
  }
  auto mac = nextOctets(reader);
  if (!mac) {
    return mac.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return WrappedKey{.encrypted = *std::move(encrypted), .mac = *std::move(mac)};
}

Result<void> readTransportParameters(der::Bytes content, GostKeyTransport& transport) {
  der::Reader reader(content);
  auto set = der::readOid(reader);
  if (!set) {
    return set.failure();
  }
  const auto key = reader.next(kEphemeralKeyTag);
  if (!key) {
    return key.failure();
  }
  auto ukm = nextOctets(reader);
  if (!ukm) {
    return ukm.failure();
  }
  transport.set = *std::move(set);
  transport.ephemeralKey = der::wrap(der::kSequence, der::Encoding::borrowed(key->content)).bytes();
  transport.ukm = *std::move(ukm);
  return reader.expectEnd();
}

Result<Gost28147Wrap> wrapByOid(std::string_view oid) {
  if (oid == kPlainWrap) {
    return Gost28147Wrap::Plain;
  }
  return oid == kDiversifiedWrap ? Result<Gost28147Wrap>(Gost28147Wrap::Diversified)
                                 : fail(NTE_BAD_ALGID);
}

}  // namespace

Result<WrappedKey> readWrappedKey(der::Bytes encoded) {
  der::Reader reader(encoded);
  auto wrapped = nextWrappedKey(reader);
  if (const auto end = reader.expectEnd(); wrapped && !end) {
    return end.failure();
  }
  return wrapped;
}

Result<GostKeyTransport> readGostKeyTransport(der::Bytes encoded) {
  const auto sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  auto wrapped = nextWrappedKey(reader);
  if (!wrapped) {
    return wrapped.failure();
  }
  const auto parameters = reader.next(kParametersTag);
  if (!parameters) {
    return parameters.failure();
  }
  GostKeyTransport transport;
  transport.wrapped = *std::move(wrapped);
  if (const auto done = readTransportParameters(parameters->content, transport); !done) {
    return done.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return transport;
}

Result<Octets> encodeGostKeyTransport(const GostKeyTransport& transport) {
  auto set = der::oid(transport.set);
  if (!set) {
    return set.failure();
  }
  const auto key = der::readWhole(transport.ephemeralKey, der::kSequence);
  if (!key) {
    return key.failure();
  }
  der::Encoding parameters = *std::move(set);
  parameters.append(der::wrap(kEphemeralKeyTag, der::Encoding::borrowed(key->content)));
  parameters.append(der::octetString(transport.ukm));
  return der::sequence(der::sequence(der::octetString(transport.wrapped.encrypted),
                                     der::octetString(transport.wrapped.mac)),
                       der::wrap(kParametersTag, std::move(parameters)))
      .bytes();
}

Result<ExportedKeyTransport> readExportedKeyTransport(der::Bytes encoded) {
  const auto sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  der::Reader reader(sequence->content);
  auto exported = nextOctets(reader);
  if (!exported) {
    return exported.failure();
  }
  const auto key = reader.next(der::kSequence);
  if (!key) {
    return key.failure();
  }
  auto ukm = nextOctets(reader);
  if (!ukm) {
    return ukm.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return ExportedKeyTransport{.exported = *std::move(exported),
                              .ephemeralKey = {key->whole.begin(), key->whole.end()},
                              .ukm = *std::move(ukm)};
}

Result<KeyWrapParameters> readKeyWrapParameters(der::Bytes encoded) {
  const auto sequence = der::readWhole(encoded, der::kSequence);
  if (!sequence) {
    return sequence.failure();
  }
  const auto algorithm = der::readAlgorithm(*sequence);
  if (!algorithm) {
    return algorithm.failure();
  }
  const auto wrap = wrapByOid(algorithm->oid);
  if (!wrap) {
    return wrap.failure();
  }
  const auto inner = der::readWhole(algorithm->parameters, der::kSequence);
  if (!inner) {
    return inner.failure();
  }
  der::Reader reader(inner->content);
  auto set = der::readOid(reader);
  if (!set) {
    return set.failure();
  }
  auto ukm = reader.atEnd() ? Result<Octets>(Octets()) : nextOctets(reader);
  if (!ukm) {
    return ukm.failure();
  }
  if (const auto end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return KeyWrapParameters{.wrap = *wrap, .set = *std::move(set), .ukm = *std::move(ukm)};
}

}  // namespace qx
