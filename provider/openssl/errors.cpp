#include "provider/openssl/errors.h"

#include <openssl/asn1.h>
#include <openssl/asn1err.h>
#include <openssl/err.h>
#include <openssl/evperr.h>

namespace qx {
namespace {

struct Mapping {
  int library;
  int reason;
  DWORD code;
};

constexpr Mapping kMappings[] = {
    {ERR_LIB_ASN1, ASN1_R_TOO_LONG, CRYPT_E_ASN1_EOD},
    {ERR_LIB_ASN1, ASN1_R_WRONG_TAG, CRYPT_E_ASN1_BADTAG},
    {ERR_LIB_ASN1, ASN1_R_HEADER_TOO_LONG, CRYPT_E_ASN1_CORRUPT},
    {ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM, NTE_BAD_ALGID},
};

}  // namespace

ErrorQueueGuard::ErrorQueueGuard() {
  ERR_set_mark();
}

ErrorQueueGuard::~ErrorQueueGuard() {
  ERR_pop_to_mark();
}

Failure opensslFailure(DWORD otherwise) {
  const unsigned long error = ERR_peek_last_error();
  if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
    return fail(E_OUTOFMEMORY);
  }
  for (const Mapping& mapping : kMappings) {
    if (ERR_GET_LIB(error) == mapping.library && ERR_GET_REASON(error) == mapping.reason) {
      return fail(mapping.code);
    }
  }
  return fail(otherwise);
}

}  // namespace qx
