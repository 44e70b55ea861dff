#include "provider/encode/decoder.h"

#include <cstdint>
#include <string_view>

#include "platform/encode.h"
#include "platform/oid_info.h"

namespace qx {
namespace {

struct Numbered {
  LPCSTR type;
  ValueDecoder decoder;
};

struct Named {
  std::string_view oid;
  ValueDecoder decoder;
};

constexpr Named kNamed[] = {
    {szOID_RSA_signingTime, decodeUtcTime},
    {szOID_SUBJECT_KEY_IDENTIFIER, decodeOctets},
    {"2.5.29.15", decodeBits},
    {"2.5.29.37", decodeUsages},
};

ValueDecoder numbered(LPCSTR type) {
  static const Numbered kNumbered[] = {
      {X509_NAME, decodeName},
      {X509_PUBLIC_KEY_INFO, decodePublicKey},
      {X509_KEY_USAGE, decodeBits},
      {PKCS_UTC_TIME, decodeUtcTime},
      {X509_UNICODE_NAME, decodeWideName},
      {PKCS_ATTRIBUTE, decodeAttribute},
      {X509_OCTET_STRING, decodeOctets},
      {X509_BITS, decodeBits},
      {X509_INTEGER, decodeInteger},
      {X509_MULTI_BYTE_INTEGER, decodeLongInteger},
      {X509_ENUMERATED, decodeEnumerated},
      {X509_CHOICE_OF_TIME, decodeAnyTime},
      {X509_ENHANCED_KEY_USAGE, decodeUsages},
      {X509_MULTI_BYTE_UINT, decodeLongUnsigned},
      {PKCS_ATTRIBUTES, decodeAttributes},
      {X509_OBJECT_IDENTIFIER, decodeOid},
      {X509_ALGORITHM_IDENTIFIER, decodeAlgorithm},
  };
  for (const Numbered& row : kNumbered) {
    if (row.type == type) {
      return row.decoder;
    }
  }
  return nullptr;
}

}  // namespace

ValueDecoder decoderFor(LPCSTR structType) {
  // Below this a pointer is a number: no object lives in the first pages.
  constexpr std::uintptr_t kFirstPointer = 0x10000;
  if (reinterpret_cast<std::uintptr_t>(structType) < kFirstPointer) {
    return numbered(structType);
  }
  for (const Named& row : kNamed) {
    if (row.oid == structType) {
      return row.decoder;
    }
  }
  return nullptr;
}

}  // namespace qx
