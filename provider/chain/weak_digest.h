#ifndef QX_PROVIDER_CHAIN_WEAK_DIGEST_H_
#define QX_PROVIDER_CHAIN_WEAK_DIGEST_H_

#include <openssl/ocsp.h>
#include <openssl/types.h>

namespace qx {

// MD2, MD4 and MD5: two contents with one digest can be made, so a signature over it proves nothing.
// libcrypto's verifier accepts MD5.

bool hasWeakSignature(X509* certificate);
bool hasWeakSignature(const X509_CRL* crl);
bool hasWeakSignature(const OCSP_BASICRESP* answer);

}  // namespace qx

#endif
