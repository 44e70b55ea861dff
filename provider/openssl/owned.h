#ifndef QX_PROVIDER_OPENSSL_OWNED_H_
#define QX_PROVIDER_OPENSSL_OWNED_H_

#include <memory>

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/conf.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/ocsp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace qx {

/// The type of an OpenSSL owner follows from the function that frees the object.
template <auto kFree>
struct OpensslFree {
  template <class T>
  void operator()(T* object) const {
    kFree(object);
  }
};

template <class T, auto kFree>
using OpensslOwner = std::unique_ptr<T, OpensslFree<kFree>>;

inline void freeX509Stack(STACK_OF(X509) * stack) {
  sk_X509_pop_free(stack, X509_free);
}

inline void freeCrlStack(STACK_OF(X509_CRL) * stack) {
  sk_X509_CRL_pop_free(stack, X509_CRL_free);
}

// The stack alone: what it holds belongs to somebody else.
inline void freeBorrowedX509Stack(STACK_OF(X509) * stack) {
  sk_X509_free(stack);
}

inline void freeOpensslMemory(void* memory) {
  OPENSSL_free(memory);
}

using BioPtr = OpensslOwner<BIO, BIO_free_all>;
using BigNumPtr = OpensslOwner<BIGNUM, BN_clear_free>;
using EvpPkeyPtr = OpensslOwner<EVP_PKEY, EVP_PKEY_free>;
using EvpPkeyCtxPtr = OpensslOwner<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using EvpMdCtxPtr = OpensslOwner<EVP_MD_CTX, EVP_MD_CTX_free>;
using EvpMdPtr = OpensslOwner<EVP_MD, EVP_MD_free>;
using EvpCipherCtxPtr = OpensslOwner<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using EvpCipherPtr = OpensslOwner<EVP_CIPHER, EVP_CIPHER_free>;
using EvpMacPtr = OpensslOwner<EVP_MAC, EVP_MAC_free>;
using EvpMacCtxPtr = OpensslOwner<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using Asn1IntegerPtr = OpensslOwner<ASN1_INTEGER, ASN1_INTEGER_free>;
using Asn1ObjectPtr = OpensslOwner<ASN1_OBJECT, ASN1_OBJECT_free>;
using Asn1TimePtr = OpensslOwner<ASN1_TIME, ASN1_TIME_free>;
using X509Ptr = OpensslOwner<X509, X509_free>;
using X509NamePtr = OpensslOwner<X509_NAME, X509_NAME_free>;
using X509CrlPtr = OpensslOwner<X509_CRL, X509_CRL_free>;
using X509ReqPtr = OpensslOwner<X509_REQ, X509_REQ_free>;
using X509RevokedPtr = OpensslOwner<X509_REVOKED, X509_REVOKED_free>;
using X509ExtensionPtr = OpensslOwner<X509_EXTENSION, X509_EXTENSION_free>;
using X509PubkeyPtr = OpensslOwner<X509_PUBKEY, X509_PUBKEY_free>;
using X509AlgorPtr = OpensslOwner<X509_ALGOR, X509_ALGOR_free>;
using X509SigPtr = OpensslOwner<X509_SIG, X509_SIG_free>;
using X509StorePtr = OpensslOwner<X509_STORE, X509_STORE_free>;
using X509StoreCtxPtr = OpensslOwner<X509_STORE_CTX, X509_STORE_CTX_free>;
using X509StackPtr = OpensslOwner<STACK_OF(X509), freeX509Stack>;
using CrlStackPtr = OpensslOwner<STACK_OF(X509_CRL), freeCrlStack>;
using X509BorrowedStackPtr = OpensslOwner<STACK_OF(X509), freeBorrowedX509Stack>;
using DistributionPointsPtr = OpensslOwner<CRL_DIST_POINTS, CRL_DIST_POINTS_free>;
using IssuingPointPtr = OpensslOwner<ISSUING_DIST_POINT, ISSUING_DIST_POINT_free>;
using InformationAccessPtr = OpensslOwner<AUTHORITY_INFO_ACCESS, AUTHORITY_INFO_ACCESS_free>;
using OcspRequestPtr = OpensslOwner<OCSP_REQUEST, OCSP_REQUEST_free>;
using OcspCertIdPtr = OpensslOwner<OCSP_CERTID, OCSP_CERTID_free>;
using ExtendedKeyUsagePtr = OpensslOwner<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free>;
using Pkcs8Ptr = OpensslOwner<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using Pkcs12Ptr = OpensslOwner<PKCS12, PKCS12_free>;
using ConfPtr = OpensslOwner<CONF, NCONF_free>;
using OpensslBytes = OpensslOwner<unsigned char, freeOpensslMemory>;

}  // namespace qx

#endif
