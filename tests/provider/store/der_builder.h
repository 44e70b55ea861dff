#ifndef QX_TESTS_PROVIDER_STORE_DER_BUILDER_H_
#define QX_TESTS_PROVIDER_STORE_DER_BUILDER_H_

#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace qx::test {

using Octets = std::vector<std::uint8_t>;

/// element makes one DER element; join puts several behind one another.
Octets element(std::uint8_t identifier, const Octets& content);
Octets join(std::initializer_list<Octets> parts);
Octets sequence(std::initializer_list<Octets> parts);
Octets text(std::uint8_t identifier, std::string_view content);

/// CertificateParts is a certificate taken to pieces, so that a test can put one in that is wrong.
/// What it is made of says nothing true: no key, no signature.
struct CertificateParts {
  Octets version = element(0xA0, {0x02, 0x01, 0x02});
  Octets serial = {0x02, 0x01, 0x05};
  Octets algorithm = sequence({{0x06, 0x03, 0x2A, 0x03, 0x04}, {0x05, 0x00}});
  Octets issuer = sequence({});
  Octets notBefore = text(0x17, "250101000000Z");
  Octets notAfter = text(0x18, "20510101000000Z");
  Octets subject = sequence({});
  Octets key = element(0x03, {0x00, 0x11, 0x22});
  Octets keyTail;
  Octets uniqueIds;
  Octets extensions;
  Octets tbsTail;
  Octets signature = element(0x03, {0x00, 0x33});
  Octets tail;

  Octets der() const;
};

/// One extension, and the field that holds a list of them.
Octets extension(const Octets& oid, const Octets& fields);
Octets extensionField(const Octets& list);

}  // namespace qx::test

#endif
