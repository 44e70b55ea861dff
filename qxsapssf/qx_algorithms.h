#ifndef QX_QXSAPSSF_QX_ALGORITHMS_H_
#define QX_QXSAPSSF_QX_ALGORITHMS_H_

/* Which hash and signature algorithm fits a public key, by the platform's OID tables.
 *
 * OIDs are dotted strings with a NUL. The entries returned belong to the platform and are never freed.
 * Nothing found, a NULL OID where one is needed, and a lack of memory answer NULL or 0.
 */

#include "platform/oid_info.h"

#ifdef __cplusplus
#define QX_ALGORITHMS_NOEXCEPT noexcept
#else
#define QX_ALGORITHMS_NOEXCEPT
#endif
#define QX_ALGORITHMS_EXPORT __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** The hash that belongs to a GOST public key (R 34.10-2001: 0x801E; R 34.10-2012 with 256 bits:
 * 0x8021, with 512 bits: 0x8022), 0 for any other key. Asks nobody. */
QX_ALGORITHMS_EXPORT ALG_ID QXGetDefaultGostHashAlgId(const char* pubKeyOid) QX_ALGORITHMS_NOEXCEPT;

/** The entry of a public key for a use: keySpec 1 key exchange, 2 signature; NULL for any other. */
QX_ALGORITHMS_EXPORT const CRYPT_OID_INFO* QXCryptGetPublicKeyOIDInfo(
    const char* pubKeyOid, DWORD keySpec) QX_ALGORITHMS_NOEXCEPT;

/** The signature algorithm of a public key with a hash. */
QX_ALGORITHMS_EXPORT const CRYPT_OID_INFO* QXCryptGetSignatureOIDInfo(
    const char* pubKeyOid, const char* hashOid) QX_ALGORITHMS_NOEXCEPT;

/** The signature algorithm of a public key with its GOST hash, or with SHA-1, or the first of that
 * key. */
QX_ALGORITHMS_EXPORT const CRYPT_OID_INFO* QXCryptGetDefaultSignatureOIDInfo(const char* pubKeyOid)
    QX_ALGORITHMS_NOEXCEPT;

/** The hash of QXCryptGetDefaultSignatureOIDInfo. */
QX_ALGORITHMS_EXPORT const CRYPT_OID_INFO* QXCryptGetDefaultHashOIDInfo(const char* pubKeyOid)
    QX_ALGORITHMS_NOEXCEPT;

/** The hash to sign with: the key's GOST hash, else the provider's first hash that makes a signature
 * algorithm with the key. pubKeyOid NULL: the provider's first hash. */
QX_ALGORITHMS_EXPORT ALG_ID QXCryptGetProviderHashAlgId(HCRYPTPROV provider, const char* pubKeyOid)
    QX_ALGORITHMS_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
