#include "tests/provider/store/der_builder.h"

namespace qx::test {

Octets element(std::uint8_t identifier, const Octets& content) {
  Octets out{identifier};
  if (content.size() < 0x80) {
    out.push_back(static_cast<std::uint8_t>(content.size()));
  } else {
    out.push_back(0x82);
    out.push_back(static_cast<std::uint8_t>(content.size() >> 8U));
    out.push_back(static_cast<std::uint8_t>(content.size()));
  }
  out.insert(out.end(), content.begin(), content.end());
  return out;
}

Octets join(std::initializer_list<Octets> parts) {
  Octets out;
  for (const Octets& part : parts) {
    out.insert(out.end(), part.begin(), part.end());
  }
  return out;
}

Octets sequence(std::initializer_list<Octets> parts) {
  return element(0x30, join(parts));
}

Octets text(std::uint8_t identifier, std::string_view content) {
  return element(identifier, {content.begin(), content.end()});
}

Octets CertificateParts::der() const {
  const Octets spki = sequence({algorithm, key, keyTail});
  const Octets tbs = sequence({version,
                               serial,
                               algorithm,
                               issuer,
                               sequence({notBefore, notAfter}),
                               subject,
                               spki,
                               uniqueIds,
                               extensions,
                               tbsTail});
  return sequence({tbs, algorithm, signature, tail});
}

Octets extension(const Octets& oid, const Octets& fields) {
  return sequence({element(0x06, oid), fields});
}

Octets extensionField(const Octets& list) {
  return element(0xA3, element(0x30, list));
}

}  // namespace qx::test
