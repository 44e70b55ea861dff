#ifndef QX_PLATFORM_OID_INFO_H_
#define QX_PLATFORM_OID_INFO_H_

/* What is known about object identifiers: algorithms, name attributes, usages.
 *
 * Entries belong to the platform, live as long as it is loaded and are never freed.
 */

#include "platform/types.h"

/* Classes of algorithm identifiers: an identifier is class, kind and number. */
#define ALG_CLASS_SIGNATURE 0x2000u
#define ALG_CLASS_MSG_ENCRYPT 0x4000u
#define ALG_CLASS_DATA_ENCRYPT 0x6000u
#define ALG_CLASS_HASH 0x8000u
#define ALG_CLASS_KEY_EXCHANGE 0xA000u

/* Hashes, signatures, key exchanges and ciphers. */
#define CALG_MD2 0x8001u
#define CALG_MD4 0x8002u
#define CALG_MD5 0x8003u
#define CALG_SHA 0x8004u
#define CALG_SHA1 0x8004u
#define CALG_MAC 0x8005u
#define CALG_RSA_SIGN 0x2400u
#define CALG_DSS_SIGN 0x2200u
#define CALG_NO_SIGN 0x2000u
#define CALG_RSA_KEYX 0xA400u
#define CALG_DES 0x6601u
#define CALG_3DES_112 0x6609u
#define CALG_3DES 0x6603u
#define CALG_DESX 0x6604u
#define CALG_RC2 0x6602u
#define CALG_RC4 0x6801u
#define CALG_DH_SF 0xAA01u
#define CALG_DH_EPHEM 0xAA02u
#define CALG_HMAC 0x8009u
#define CALG_AES_128 0x660Eu
#define CALG_AES_192 0x660Fu
#define CALG_AES_256 0x6610u
#define CALG_AES 0x6611u
#define CALG_SHA_256 0x800Cu
#define CALG_SHA_384 0x800Du
#define CALG_SHA_512 0x800Eu
#define CALG_ECDH 0xAA05u
#define CALG_ECDSA 0x2203u
#define CALG_OID_INFO_CNG_ONLY 0xFFFFFFFFu
#define CALG_OID_INFO_PARAMETERS 0xFFFFFFFEu
#define GET_ALG_CLASS(x) ((x) & 0xE000u)
#define GET_ALG_TYPE(x) ((x) & 0x1E00u)
#define GET_ALG_SID(x) ((x) & 0x1FFu)

/* Algorithm identifiers of the GOST family. Those of ciphers and public keys are this platform's own. */
#define CALG_QX_GR3411 0x801Eu           /* GOST R 34.11-94 */
#define CALG_QX_GR3411_2012_256 0x8021u  /* GOST R 34.11-2012, 256 bits */
#define CALG_QX_GR3411_2012_512 0x8022u  /* GOST R 34.11-2012, 512 bits */
#define CALG_QX_GR28147 0x6E01u          /* GOST 28147-89 */
#define CALG_QX_GR3410_2001_SIGN 0x2E01u /* GOST R 34.10-2001 */
#define CALG_QX_GR3410_2001_KEYX 0xAE01u
#define CALG_QX_GR3410_2012_256_SIGN 0x2E02u /* GOST R 34.10-2012, 256 bits */
#define CALG_QX_GR3410_2012_256_KEYX 0xAE02u
#define CALG_QX_GR3410_2012_512_SIGN 0x2E03u /* GOST R 34.10-2012, 512 bits */
#define CALG_QX_GR3410_2012_512_KEYX 0xAE03u

/* Groups of entries. */
#define CRYPT_HASH_ALG_OID_GROUP_ID 0x1u
#define CRYPT_ENCRYPT_ALG_OID_GROUP_ID 0x2u
#define CRYPT_PUBKEY_ALG_OID_GROUP_ID 0x3u
#define CRYPT_SIGN_ALG_OID_GROUP_ID 0x4u
#define CRYPT_RDN_ATTR_OID_GROUP_ID 0x5u
#define CRYPT_EXT_OR_ATTR_OID_GROUP_ID 0x6u
#define CRYPT_ENHKEY_USAGE_OID_GROUP_ID 0x7u
#define CRYPT_POLICY_OID_GROUP_ID 0x8u
#define CRYPT_TEMPLATE_OID_GROUP_ID 0x9u
#define CRYPT_KDF_OID_GROUP_ID 0xAu
#define CRYPT_LAST_OID_GROUP_ID 0xAu
#define CRYPT_FIRST_ALG_OID_GROUP_ID 0x1u
#define CRYPT_LAST_ALG_OID_GROUP_ID 0x4u

/* Flags of an entry. */
#define CRYPT_OID_INHIBIT_SIGNATURE_FORMAT_FLAG 0x1u
#define CRYPT_OID_USE_PUBKEY_PARA_FOR_PKCS7_FLAG 0x2u
#define CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG 0x4u
#define CRYPT_OID_PUBKEY_SIGN_ONLY_FLAG 0x80000000u
#define CRYPT_OID_PUBKEY_ENCRYPT_ONLY_FLAG 0x40000000u

/* Kinds of search keys. */
#define CRYPT_OID_INFO_OID_KEY 0x1u
#define CRYPT_OID_INFO_NAME_KEY 0x2u
#define CRYPT_OID_INFO_ALGID_KEY 0x3u
#define CRYPT_OID_INFO_SIGN_KEY 0x4u
#define CRYPT_OID_INFO_CNG_ALGID_KEY 0x5u
#define CRYPT_OID_INFO_CNG_SIGN_KEY 0x6u
#define CRYPT_OID_INFO_OID_KEY_FLAGS_MASK 0xFFFF0000u
#define CRYPT_OID_INFO_PUBKEY_SIGN_KEY_FLAG 0x80000000u
#define CRYPT_OID_INFO_PUBKEY_ENCRYPT_KEY_FLAG 0x40000000u
#define CRYPT_OID_DISABLE_SEARCH_DS_FLAG 0x80000000u
#define CRYPT_OID_INFO_OID_GROUP_BIT_LEN_SHIFT 0x10u
#define CRYPT_OID_INFO_OID_GROUP_BIT_LEN_MASK 0xFFF0000u

/* Object identifiers of RSA Laboratories (1.2.840.113549), OIW, NIST, ANSI and the PKIX group. */
#define szOID_RSA_data "1.2.840.113549.1.7.1"
#define szOID_RSA_signedData "1.2.840.113549.1.7.2"
#define szOID_RSA_envelopedData "1.2.840.113549.1.7.3"
#define szOID_RSA_digestedData "1.2.840.113549.1.7.5"
#define szOID_RSA_emailAddr "1.2.840.113549.1.9.1"
#define szOID_RSA_contentType "1.2.840.113549.1.9.3"
#define szOID_RSA_messageDigest "1.2.840.113549.1.9.4"
#define szOID_RSA_signingTime "1.2.840.113549.1.9.5"
#define szOID_RSA_counterSign "1.2.840.113549.1.9.6"
#define szOID_RSA_RSA "1.2.840.113549.1.1.1"
#define szOID_RSA_MD2RSA "1.2.840.113549.1.1.2"
#define szOID_RSA_MD5RSA "1.2.840.113549.1.1.4"
#define szOID_RSA_SHA1RSA "1.2.840.113549.1.1.5"
#define szOID_RSA_SSA_PSS "1.2.840.113549.1.1.10"
#define szOID_RSA_SHA256RSA "1.2.840.113549.1.1.11"
#define szOID_RSA_SHA384RSA "1.2.840.113549.1.1.12"
#define szOID_RSA_SHA512RSA "1.2.840.113549.1.1.13"
#define szOID_RSA_MD2 "1.2.840.113549.2.2"
#define szOID_RSA_MD4 "1.2.840.113549.2.4"
#define szOID_RSA_MD5 "1.2.840.113549.2.5"
#define szOID_OIWSEC_sha1 "1.3.14.3.2.26"
#define szOID_OIWSEC_sha1RSASign "1.3.14.3.2.29"
#define szOID_NIST_sha256 "2.16.840.1.101.3.4.2.1"
#define szOID_NIST_sha384 "2.16.840.1.101.3.4.2.2"
#define szOID_NIST_sha512 "2.16.840.1.101.3.4.2.3"
#define szOID_NIST_AES128_CBC "2.16.840.1.101.3.4.1.2"
#define szOID_NIST_AES256_CBC "2.16.840.1.101.3.4.1.42"
#define szOID_ECC_PUBLIC_KEY "1.2.840.10045.2.1"
#define szOID_ECDSA_SHA1 "1.2.840.10045.4.1"
#define szOID_ECDSA_SPECIFIED "1.2.840.10045.4.3"
#define szOID_ECDSA_SHA256 "1.2.840.10045.4.3.2"
#define szOID_ECDSA_SHA384 "1.2.840.10045.4.3.3"
#define szOID_ECDSA_SHA512 "1.2.840.10045.4.3.4"
#define szOID_X957_DSA "1.2.840.10040.4.1"
#define szOID_PKIX_NO_SIGNATURE "1.3.6.1.5.5.7.6.2"

QX_PLATFORM_BEGIN

/** What is known about one OID. The entries that functions give out are of the long form
 * (cbSize 64, CRYPT_OID_INFO_LONG).
 *
 * ExtraInfo is an array of DWORDs that may be shorter than the group allows: read it by its cbData.
 * Public keys: [0] flags. Signatures: [0] the public key's ALG_ID, [1] flags, [2] provider type.
 * Encryption: [0] key length in bits. Name attributes: a zero-terminated list of CERT_RDN_ types. */
typedef struct CRYPT_OID_INFO {
  DWORD cbSize;
  LPCSTR pszOID;
  LPCWSTR pwszName;
  DWORD dwGroupId;

  union {
    DWORD dwValue;
    ALG_ID Algid; /* groups 1 to 4; of a signature its hash */
    DWORD dwLength;
  };

  CRYPT_DATA_BLOB ExtraInfo;
} CRYPT_OID_INFO, *PCRYPT_OID_INFO;

typedef const CRYPT_OID_INFO* PCCRYPT_OID_INFO;
QX_PIN_SIZE(CRYPT_OID_INFO, 48);
QX_PIN(CRYPT_OID_INFO, cbSize, 0);
QX_PIN(CRYPT_OID_INFO, pszOID, 8);
QX_PIN(CRYPT_OID_INFO, pwszName, 16);
QX_PIN(CRYPT_OID_INFO, dwGroupId, 24);
QX_PIN(CRYPT_OID_INFO, dwValue, 28);
QX_PIN(CRYPT_OID_INFO, ExtraInfo, 32);
QX_PIN(CRYPT_OID_INFO, Algid, 28);
QX_PIN(CRYPT_OID_INFO, dwLength, 28);

/** The long form of CRYPT_OID_INFO. */
typedef struct CRYPT_OID_INFO_LONG {
  DWORD cbSize;
  LPCSTR pszOID;
  LPCWSTR pwszName;
  DWORD dwGroupId;

  union {
    DWORD dwValue;
    ALG_ID Algid;
    DWORD dwLength;
  };

  CRYPT_DATA_BLOB ExtraInfo;
  LPCWSTR pwszCNGAlgid;
  LPCWSTR pwszCNGExtraAlgid;
} CRYPT_OID_INFO_LONG, *PCRYPT_OID_INFO_LONG;

QX_PIN(CRYPT_OID_INFO_LONG, ExtraInfo, 32);
QX_PIN_SIZE(CRYPT_OID_INFO_LONG, 64);
QX_PIN(CRYPT_OID_INFO_LONG, pwszCNGAlgid, 48);
QX_PIN(CRYPT_OID_INFO_LONG, pwszCNGExtraAlgid, 56);

/** Called with each entry; FALSE ends the walk. */
typedef BOOL (*PFN_CRYPT_ENUM_OID_INFO)(PCCRYPT_OID_INFO pInfo, void* pvArg);

/** Walks the entries of a group (0: all groups in the order of their numbers). TRUE when it came to
 * the end, FALSE when the callback stopped it. dwFlags is 0. */
QX_PLATFORM_API BOOL CryptEnumOIDInfo(DWORD dwGroupId,
                                      DWORD dwFlags,
                                      void* pvArg,
                                      PFN_CRYPT_ENUM_OID_INFO pfnEnumOIDInfo);

/** The first entry that matches, or NULL (no error is promised). pvKey by dwKeyType:
 * CRYPT_OID_INFO_OID_KEY char*; CRYPT_OID_INFO_NAME_KEY wchar_t*, any case;
 * CRYPT_OID_INFO_ALGID_KEY ALG_ID*; CRYPT_OID_INFO_SIGN_KEY ALG_ID[2], hash then public key.
 * dwGroupId 0 searches all groups. */
QX_MUST_USE QX_PLATFORM_API PCCRYPT_OID_INFO CryptFindOIDInfo(DWORD dwKeyType,
                                                              void* pvKey,
                                                              DWORD dwGroupId);

/** The OID of an algorithm, a static string; NULL (last error left alone) when there is none. */
QX_MUST_USE QX_PLATFORM_API LPCSTR CertAlgIdToOID(DWORD dwAlgId);

/** The algorithm of an OID; of a signature OID its hash; 0 when there is none. */
QX_MUST_USE QX_PLATFORM_API DWORD CertOIDToAlgId(LPCSTR pszObjId);

QX_PLATFORM_END

#endif
