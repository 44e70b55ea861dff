#include "provider/store/compare.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "provider/api.h"
#include "provider/der/blob.h"

namespace qx {
namespace {

// Drops the bytes at the high end that only repeat the sign of the one before.
std::span<const BYTE> significant(std::span<const BYTE> integer) {
  while (integer.size() > 1) {
    const bool negative = (integer[integer.size() - 2] & 0x80U) != 0;
    if (integer.back() != (negative ? 0xFF : 0x00)) {
      break;
    }
    integer = integer.first(integer.size() - 1);
  }
  return integer;
}

}  // namespace

bool sameBytes(const CRYPT_INTEGER_BLOB& left, const CRYPT_INTEGER_BLOB& right) {
  return std::ranges::equal(bytesOf(left), bytesOf(right));
}

bool sameInteger(const CRYPT_INTEGER_BLOB& left, const CRYPT_INTEGER_BLOB& right) {
  return std::ranges::equal(significant(bytesOf(left)), significant(bytesOf(right)));
}

bool sameIssuerAndSerial(const CERT_INFO& left, const CERT_INFO& right) {
  return sameInteger(left.SerialNumber, right.SerialNumber) && sameBytes(left.Issuer, right.Issuer);
}

}  // namespace qx

// The comparisons set no last error: FALSE is an answer.

BOOL CertCompareCertificate(DWORD /*dwCertEncodingType*/,
                            PCERT_INFO pCertId1,
                            PCERT_INFO pCertId2) {
  if (pCertId1 == nullptr || pCertId2 == nullptr) {
    return FALSE;
  }
  return qx::sameIssuerAndSerial(*pCertId1, *pCertId2) ? TRUE : FALSE;
}

BOOL CertCompareCertificateName(DWORD /*dwCertEncodingType*/,
                                PCERT_NAME_BLOB pCertName1,
                                PCERT_NAME_BLOB pCertName2) {
  if (pCertName1 == nullptr || pCertName2 == nullptr) {
    return FALSE;
  }
  return qx::sameBytes(*pCertName1, *pCertName2) ? TRUE : FALSE;
}

BOOL CertCompareIntegerBlob(PCRYPT_INTEGER_BLOB pInt1, PCRYPT_INTEGER_BLOB pInt2) {
  if (pInt1 == nullptr || pInt2 == nullptr) {
    return FALSE;
  }
  return qx::sameInteger(*pInt1, *pInt2) ? TRUE : FALSE;
}

PCRYPT_ATTRIBUTE CertFindAttribute(LPCSTR pszObjId, DWORD cAttr, CRYPT_ATTRIBUTE rgAttr[]) {
  if (pszObjId == nullptr || rgAttr == nullptr) {
    return nullptr;
  }
  const std::span attributes(rgAttr, cAttr);
  const auto found = std::ranges::find_if(attributes, [pszObjId](const CRYPT_ATTRIBUTE& attribute) {
    return attribute.pszObjId != nullptr && std::strcmp(attribute.pszObjId, pszObjId) == 0;
  });
  return found == attributes.end() ? nullptr : &*found;
}
