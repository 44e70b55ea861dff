#include "provider/chain/weak_digest.h"

#include <openssl/objects.h>
#include <openssl/x509.h>

namespace qx {
namespace {

bool isWeak(int digest) {
  return digest == NID_md2 || digest == NID_md4 || digest == NID_md5 || digest == NID_md5_sha1;
}

bool isWeakSignature(int algorithm) {
  int digest = NID_undef;
  return OBJ_find_sigid_algs(algorithm, &digest, nullptr) == 1 && isWeak(digest);
}

}  // namespace

// For RSA-PSS the digest stands in the parameters, which libcrypto reads for us.
bool hasWeakSignature(X509* certificate) {
  int digest = NID_undef;
  return X509_get_signature_info(certificate, &digest, nullptr, nullptr, nullptr) == 1 &&
         isWeak(digest);
}

bool hasWeakSignature(const X509_CRL* crl) {
  return isWeakSignature(X509_CRL_get_signature_nid(crl));
}

bool hasWeakSignature(const OCSP_BASICRESP* answer) {
  return isWeakSignature(OBJ_obj2nid(OCSP_resp_get0_tbs_sigalg(answer)->algorithm));
}

}  // namespace qx
