#include "provider/cades/values.h"

#include <set>
#include <string_view>
#include <utility>

#include "provider/cades/attribute_value.h"
#include "provider/cades/oids.h"

namespace qx {
namespace {

constexpr std::uint8_t kCrlValues = der::contextConstructed(0);
constexpr std::uint8_t kOcspValues = der::contextConstructed(1);
constexpr std::uint8_t kOtherValues = der::contextConstructed(2);

// EachOnce collects encoded values and leaves out those that are there already.
class EachOnce {
 public:
  void add(der::Bytes encoded) {
    if (seen_.insert(der::asKey(encoded)).second) {
      list_.append(der::Encoding::borrowed(encoded));
    }
  }

  /// The SEQUENCE OF under its tag; nothing when it is empty.
  der::Encoding tagged(std::uint8_t tag) && {
    return list_.empty() ? der::Encoding() : der::wrap(tag, der::sequence(std::move(list_)));
  }

  der::Encoding list() && { return std::move(list_); }

 private:
  std::set<std::string_view> seen_;
  der::Encoding list_;
};

std::vector<der::Bytes> readValueList(x509::Fields& list) {
  return readEach(list, [](const der::Element& value) { return value.whole; });
}

std::vector<der::Bytes> readTagged(x509::Fields& fields, std::uint8_t tag) {
  std::optional<x509::Fields> list = fields.optionalSequence(tag);
  return list ? readValueList(*list) : std::vector<der::Bytes>();
}

}  // namespace

std::vector<std::uint8_t> encodeCertificateValues(std::span<const CertificatePtr> certificates) {
  EachOnce values;
  for (const CertificatePtr& certificate : certificates) {
    values.add(certificate->der());
  }
  return encodeSequence(oids::kCertificateValues, std::move(values).list());
}

Result<std::vector<der::Bytes>> readCertificateValues(const Attribute& attribute) {
  return readSole(attribute, readValueList);
}

std::vector<std::uint8_t> encodeRevocationValues(std::span<const RevocationEvidence> evidence) {
  EachOnce crls;
  EachOnce answers;
  for (const RevocationEvidence& one : evidence) {
    if (one.crl != nullptr) {
      crls.add(one.crl->der());
    }
    if (one.ocsp != nullptr) {
      answers.add(one.ocsp->basic());
    }
  }
  der::Encoding values = std::move(crls).tagged(kCrlValues);
  values.append(std::move(answers).tagged(kOcspValues));
  return encodeSequence(oids::kRevocationValues, std::move(values));
}

Result<RevocationValues> readRevocationValues(const Attribute& attribute) {
  return readSole(attribute, [](x509::Fields& fields) {
    RevocationValues values;
    values.crls = readTagged(fields, kCrlValues);
    values.ocsp = readTagged(fields, kOcspValues);
    fields.optional(kOtherValues);
    return values;
  });
}

}  // namespace qx
