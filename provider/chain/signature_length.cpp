#include "provider/chain/signature_length.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

namespace qx {
namespace {

// 0: any.
int lengthFor(int key) {
  switch (key) {
    case NID_id_GostR3410_2001:
    case NID_id_GostR3410_2012_256:
      return 64;
    case NID_id_GostR3410_2012_512:
      return 128;
    default:
      return 0;
  }
}

bool isOfWrongLength(const X509_ALGOR* algorithm, const ASN1_BIT_STRING* signature) {
  int key = NID_undef;
  OBJ_find_sigid_algs(OBJ_obj2nid(algorithm->algorithm), nullptr, &key);
  const int expected = lengthFor(key);
  return expected != 0 && ASN1_STRING_length(signature) != expected;
}

}  // namespace

bool hasSignatureOfWrongLength(const X509* certificate) {
  const ASN1_BIT_STRING* signature = nullptr;
  const X509_ALGOR* algorithm = nullptr;
  X509_get0_signature(&signature, &algorithm, certificate);
  return isOfWrongLength(algorithm, signature);
}

bool hasSignatureOfWrongLength(const X509_CRL* crl) {
  const ASN1_BIT_STRING* signature = nullptr;
  const X509_ALGOR* algorithm = nullptr;
  X509_CRL_get0_signature(crl, &signature, &algorithm);
  return isOfWrongLength(algorithm, signature);
}

bool hasSignatureOfWrongLength(const OCSP_BASICRESP* answer) {
  return isOfWrongLength(OCSP_resp_get0_tbs_sigalg(answer), OCSP_resp_get0_signature(answer));
}

}  // namespace qx
