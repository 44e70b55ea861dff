#ifndef QX_TESTS_PROVIDER_NAME_DER_NAME_H_
#define QX_TESTS_PROVIDER_NAME_DER_NAME_H_

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace qx::test {

/// encodedElement is one DER element of fewer than 128 octets.
std::string encodedElement(int identifier, std::string_view content);

/// DerName is an encoded name, made attribute by attribute. It is written by hand because libcrypto
/// refuses to write the values that are no valid text.
class DerName {
 public:
  struct Attribute {
    const char* oid;
    int type;  ///< tag of the value, V_ASN1_...
    std::string_view octets;
    bool sameRdn = false;  ///< joins the attribute before
  };

  DerName(std::initializer_list<Attribute> attributes);

  const std::vector<std::uint8_t>& der() const { return der_; }

 private:
  std::vector<std::uint8_t> der_;
};

}  // namespace qx::test

#endif
