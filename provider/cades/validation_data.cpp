#include "provider/cades/validation_data.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "provider/cades/oids.h"
#include "provider/cades/values.h"

namespace qx {
namespace {

// A stamp may come in an attribute of its own or as one more value of an attribute.
Result<std::vector<TimeStampToken>> readStamps(const Attributes& attributes, std::string_view oid) {
  std::vector<TimeStampToken> stamps;
  for (const Attribute& attribute : attributes) {
    if (attribute.oid != oid) {
      continue;
    }
    if (attribute.values.empty()) {
      return fail(CRYPT_E_ATTRIBUTES_MISSING);
    }
    for (const der::Bytes value : attribute.values) {
      Result<TimeStampToken> stamp = TimeStampToken::read(value);
      if (!stamp) {
        return stamp.failure();
      }
      if (stamps.size() == kMaxStamps) {
        return fail(CRYPT_E_ASN1_LARGE);
      }
      stamps.push_back(*std::move(stamp));
    }
  }
  return stamps;
}

// Of references and values a signature has one attribute of each type.
Result<const Attribute*> onlyAttribute(const Attributes& attributes, std::string_view oid) {
  const auto count = std::ranges::count(attributes, oid, &Attribute::oid);
  return count == 1 ? Result<const Attribute*>(findAttribute(attributes, oid))
                    : fail(count == 0 ? CRYPT_E_ATTRIBUTES_MISSING : CRYPT_E_ASN1_CORRUPT);
}

Result<void> readReferences(const Attributes& attributes, ValidationData& data) {
  const Result<const Attribute*> certificates = onlyAttribute(attributes, oids::kCertificateRefs);
  if (!certificates) {
    return certificates.failure();
  }
  const Result<const Attribute*> revocation = onlyAttribute(attributes, oids::kRevocationRefs);
  if (!revocation) {
    return revocation.failure();
  }
  Result<std::vector<CertificateRef>> certificateRefs = readCertificateRefs(**certificates);
  if (!certificateRefs) {
    return certificateRefs.failure();
  }
  Result<std::vector<RevocationRef>> revocationRefs = readRevocationRefs(**revocation);
  if (!revocationRefs) {
    return revocationRefs.failure();
  }
  std::size_t count = certificateRefs->size();
  for (const RevocationRef& ref : *revocationRefs) {
    count += ref.crls.size() + ref.ocsp.size();
  }
  if (count > kMaxReferences) {
    return fail(CRYPT_E_ASN1_LARGE);
  }
  data.certificateRefs = *std::move(certificateRefs);
  data.revocationRefs = *std::move(revocationRefs);
  return {};
}

template <class Data>
Result<void> parseAll(const std::vector<der::Bytes>& encoded,
                      std::vector<std::shared_ptr<const Data>>& parsed) {
  for (const der::Bytes bytes : encoded) {
    const auto data = parseShared<Data>(bytes);
    if (!data) {
      return data.failure();
    }
    parsed.push_back(*data);
  }
  return {};
}

Result<void> readCertificates(const Attributes& attributes, ValidationData& data) {
  const Result<const Attribute*> attribute = onlyAttribute(attributes, oids::kCertificateValues);
  if (!attribute) {
    return attribute.failure();
  }
  const Result<std::vector<der::Bytes>> values = readCertificateValues(**attribute);
  return values ? parseAll(*values, data.certificates) : values.failure();
}

Result<void> readRevocation(const Attributes& attributes, ValidationData& data) {
  const Result<const Attribute*> attribute = onlyAttribute(attributes, oids::kRevocationValues);
  if (!attribute) {
    return attribute.failure();
  }
  const Result<RevocationValues> values = readRevocationValues(**attribute);
  if (!values) {
    return values.failure();
  }
  const Result<void> crls = parseAll(values->crls, data.crls);
  return crls ? parseAll(values->ocsp, data.ocsp) : crls;
}

bool hasLongAttributes(const Attributes& attributes) {
  constexpr std::string_view kLong[] = {oids::kCertificateRefs,
                                        oids::kRevocationRefs,
                                        oids::kCertificateValues,
                                        oids::kRevocationValues,
                                        oids::kCadesCTimeStamp};
  return std::ranges::any_of(kLong, [&attributes](std::string_view oid) {
    return findAttribute(attributes, oid) != nullptr;
  });
}

Finding readLong(const Attributes& attributes, ValidationData& data) {
  if (data.signatureStamps.empty()) {
    return {CADES_STATUS_SIGNATURE_STAMP, CRYPT_E_ATTRIBUTES_MISSING};
  }
  if (const Result<void> read = readRevocation(attributes, data); !read) {
    return {CADES_STATUS_REVOCATION_VALUES, read.error()};
  }
  for (const auto part : {&readReferences, &readCertificates}) {
    if (const Result<void> read = part(attributes, data); !read) {
      return {CADES_STATUS_REFERENCES, read.error()};
    }
  }
  Result<std::vector<TimeStampToken>> stamps = readStamps(attributes, oids::kCadesCTimeStamp);
  if (!stamps) {
    return {CADES_STATUS_CADES_C_STAMP, stamps.error()};
  }
  data.cadesCStamps = *std::move(stamps);
  return {};
}

}  // namespace

Finding readValidationData(const SignerInfo& signer, ValidationData& data) {
  const Attributes& attributes = signer.unsignedAttributes();
  Result<std::vector<TimeStampToken>> stamps = readStamps(attributes, oids::kSignatureTimeStamp);
  if (!stamps) {
    return {CADES_STATUS_SIGNATURE_STAMP, stamps.error()};
  }
  data.signatureStamps = *std::move(stamps);
  data.isLong = hasLongAttributes(attributes);
  return data.isLong ? readLong(attributes, data) : Finding{};
}

}  // namespace qx
