#include "provider/message/certificate_set.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "provider/message/limits.h"

namespace qx {
namespace {

// The signed part of a SIGNED structure (RFC 5280, 4.1 and 5.1): certificate and CRL alike.
Result<der::Element> signedPart(der::Bytes encoded) {
  const Result<der::Element> whole = der::readWhole(encoded, der::kSequence);
  if (!whole) {
    return whole;
  }
  der::Reader reader(whole->content);
  const Result<der::Element> part = reader.next(der::kSequence);
  if (!part) {
    return part;
  }
  for (const std::uint8_t identifier : {der::kSequence, der::kBitString}) {
    if (const Result<der::Element> field = reader.next(identifier); !field) {
      return field;
    }
  }
  if (const Result<void> end = reader.expectEnd(); !end) {
    return end.failure();
  }
  return part;
}

struct CertificateKey {
  std::string_view issuer;
  std::string_view serial;
  auto operator<=>(const CertificateKey&) const = default;
};

Result<CertificateKey> certificateKey(der::Bytes encoded) {
  const Result<der::Element> part = signedPart(encoded);
  if (!part) {
    return part.failure();
  }
  der::Reader fields(part->content);
  if (const auto version = fields.optional(der::contextConstructed(0)); !version) {
    return version.failure();
  }
  const Result<der::Element> serial = fields.next(der::kInteger);
  if (!serial) {
    return serial.failure();
  }
  if (const Result<der::Element> algorithm = fields.next(der::kSequence); !algorithm) {
    return algorithm.failure();
  }
  const Result<der::Element> issuer = fields.next(der::kSequence);
  if (!issuer) {
    return issuer.failure();
  }
  // Where a certificate has its validity, a CRL has a time.
  if (const Result<der::Element> validity = fields.next(der::kSequence); !validity) {
    return validity.failure();
  }
  return CertificateKey{.issuer = der::asKey(issuer->whole), .serial = der::asKey(serial->content)};
}

Result<void> checkCrl(der::Bytes encoded) {
  const Result<der::Element> part = signedPart(encoded);
  if (!part) {
    return part.failure();
  }
  der::Reader fields(part->content);
  if (const auto version = fields.optional(der::kInteger); !version) {
    return version.failure();
  }
  for (int i = 0; i < 2; ++i) {  // signature algorithm, issuer
    if (const Result<der::Element> field = fields.next(der::kSequence); !field) {
      return field.failure();
    }
  }
  const std::optional<std::uint8_t> time = fields.peek();
  if (time != der::kUtcTime && time != der::kGeneralizedTime) {
    return fail(CRYPT_E_ASN1_BADTAG);
  }
  return {};
}

}  // namespace

Result<void> CertificateSet::check(der::Bytes encoded) const {
  if (kind_ == Kind::Crls) {
    return checkCrl(encoded);
  }
  const Result<CertificateKey> key = certificateKey(encoded);
  return key ? Result<void>{} : key.failure();
}

Result<void> CertificateSet::read(der::Bytes content) {
  for (der::Reader reader(content); !reader.atEnd();) {
    const Result<der::Element> element = reader.next();
    if (!element) {
      return element.failure();
    }
    if (element->is(der::kSequence)) {
      if (const Result<void> good = check(element->whole); !good) {
        return good;
      }
      plain_.push_back(elements_.size());
    } else if (!element->isContext()) {
      return fail(CRYPT_E_ASN1_BADTAG);
    }
    elements_.push_back(der::Slice::borrowed(element->whole));
    if (elements_.size() > kMaxCertificates) {
      return fail(CRYPT_E_ASN1_LARGE);
    }
  }
  return {};
}

Result<void> CertificateSet::add(der::Slice encoded) {
  if (const Result<void> good = check(encoded.bytes()); !good) {
    return good;
  }
  const auto isSame = [&encoded](const der::Slice& element) {
    return std::ranges::equal(element.bytes(), encoded.bytes());
  };
  if (std::ranges::any_of(elements_, isSame)) {
    return {};
  }
  if (elements_.size() == kMaxCertificates) {
    return fail(E_INVALIDARG);
  }
  // Both grow before either is changed: an index without its element would be read.
  plain_.reserve(plain_.size() + 1);
  elements_.push_back(std::move(encoded));
  plain_.push_back(elements_.size() - 1);
  return {};
}

Result<void> CertificateSet::remove(std::size_t index) {
  if (index >= plain_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  const std::size_t position = plain_[index];
  elements_.erase(elements_.begin() + static_cast<std::ptrdiff_t>(position));
  plain_.erase(plain_.begin() + static_cast<std::ptrdiff_t>(index));
  for (std::size_t& later : plain_) {
    later -= later > position ? 1 : 0;
  }
  return {};
}

Result<der::Bytes> CertificateSet::at(std::size_t index) const {
  if (index >= plain_.size()) {
    return fail(CRYPT_E_INVALID_INDEX);
  }
  return elements_[plain_[index]].bytes();
}

bool CertificateSet::isAmbiguous() const {
  if (kind_ == Kind::Crls) {
    return false;
  }
  std::map<CertificateKey, std::string_view> seen;
  return std::ranges::any_of(plain_, [&](std::size_t position) {
    const der::Bytes encoded = elements_[position].bytes();
    const Result<CertificateKey> key = certificateKey(encoded);
    return key && seen.emplace(*key, der::asKey(encoded)).first->second != der::asKey(encoded);
  });
}

bool CertificateSet::isAmbiguousWith(der::Bytes encoded) const {
  const Result<CertificateKey> key = certificateKey(encoded);
  return kind_ == Kind::Certificates && key &&
         std::ranges::any_of(plain_, [&](std::size_t position) {
           const der::Bytes present = elements_[position].bytes();
           return *certificateKey(present) == *key && !std::ranges::equal(present, encoded);
         });
}

der::Encoding CertificateSet::encode() const {
  if (elements_.empty()) {
    return {};
  }
  der::Encoding content;
  for (const der::Slice& element : elements_) {
    content.append(der::Encoding::borrowed(element.bytes()));
  }
  return der::wrap(der::contextConstructed(kind_ == Kind::Certificates ? 0 : 1),
                   std::move(content));
}

}  // namespace qx
