#ifndef QX_PROVIDER_STORE_X509_FIELDS_H_
#define QX_PROVIDER_STORE_X509_FIELDS_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "provider/der/reader.h"
#include "provider/der/values.h"

namespace qx::x509 {

/// Fields reads the fields of one SEQUENCE from left to right. The first failure is kept in `error`,
/// which all readers of one structure share; whatever is read after it is empty. So the fields are
/// read in a straight line, and the error is looked at once at the end. Indefinite lengths are
/// refused: what was signed has one encoding.
class Fields {
 public:
  Fields(der::Bytes content, DWORD& error) : reader_(content), error_(&error) {}

  der::Element next(std::uint8_t identifier) { return definite(reader_.next(identifier)); }

  der::Element any() { return definite(reader_.next()); }

  std::optional<der::Element> optional(std::uint8_t identifier) {
    return nextIs(identifier) ? std::optional(next(identifier)) : std::nullopt;
  }

  Fields sequence() { return inside(next(der::kSequence)); }

  Fields inside(const der::Element& element) const { return {element.content, *error_}; }

  /// The fields of the SEQUENCE under an explicit tag, which holds nothing else; nothing when the tag is
  /// left out.
  std::optional<Fields> optionalSequence(std::uint8_t tag) {
    const std::optional<der::Element> tagged = optional(tag);
    return tagged ? std::optional(outermost(tagged->content, *error_)) : std::nullopt;
  }

  /// The fields of the SEQUENCE that these bytes are, with nothing behind it.
  static Fields outermost(der::Bytes encoded, DWORD& error) {
    Fields whole(encoded, error);
    const Fields fields = whole.sequence();
    whole.end();
    return fields;
  }

  bool nextIs(std::uint8_t identifier) const { return !failed() && reader_.peek() == identifier; }

  bool more() const { return !failed() && !reader_.atEnd(); }

  void end() { check(reader_.expectEnd()); }

  bool failed() const { return *error_ != ERROR_SUCCESS; }

  void failWith(DWORD code) {
    if (!failed()) {
      *error_ = code;
    }
  }

  template <class T>
  T value(Result<T> result) {
    if (!result) {
      failWith(result.error());
    }
    return failed() ? T{} : *std::move(result);
  }

 private:
  der::Element definite(const Result<der::Element>& element) {
    if (element && element->indefinite) {
      failWith(CRYPT_E_ASN1_CORRUPT);
    }
    return value(element);
  }

  void check(const Result<void>& result) {
    if (!result) {
      failWith(result.error());
    }
  }

  der::Reader reader_;
  DWORD* error_;
};

/// One extension as it stands in a certificate or CRL: `value` is what the OCTET STRING holds.
struct ParsedExtension {
  std::string oid;
  bool critical = false;
  der::Bytes value;
};

/// Fields that certificates and CRLs share (RFC 5280). Times are in UTC.
der::AlgorithmIdentifier readAlgorithm(Fields& fields);
FILETIME readTime(Fields& fields);
der::BitString readBits(Fields& fields);

/// Extensions under the context tag `tag`, none when they are left out.
std::vector<ParsedExtension> readExtensions(Fields& fields, unsigned tag);

}  // namespace qx::x509

#endif
